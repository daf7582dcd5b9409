// The generic data request, which serial data and IR data share.
#include "kit/data_request.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client_bed.hpp"
#include "commands/ir.hpp"
#include "commands/serial.hpp"

namespace {

const std::vector<unsigned char> kHello = {'H', 'e', 'l', 'l', 'o'};

class DataRequest : public testing::Test {
  protected:
    std::int32_t sendData(const char* cmd) {
        return Protocol_client_sendData(client_, rx01_, cmd, kHello.data(), kHello.size());
    }
    std::int32_t sendSerial(const std::vector<unsigned char>& data) {
        return Protocol_client_serial_sendData(client_, rx01_, data.data(), data.size());
    }
    std::int32_t sendIr(const std::vector<unsigned char>& data) {
        return Protocol_client_ir_sendData(client_, rx01_, data.data(), data.size());
    }

    static std::string request(const std::string& cmd, const std::string& data) {
        return R"({"request":{"cmd":")" + cmd +
               R"(","hostid":"001122aabbcc","device":[{"id":"rx01"}]},"data":")" + data + "\"}";
    }

    ClientBed bed_;
    ProtocolClient* client_ = bed_.client;
    bed::Device& device_ = bed_.device;
    const DeviceId rx01_ = deviceId("rx01");
};

TEST_F(DataRequest, carries_the_bytes_as_base64_under_the_name_it_is_given) {
    EXPECT_EQ(sendData("any data"), 0);
    EXPECT_EQ(device_.receive().text, request("any data", "SGVsbG8="));
    EXPECT_EQ(sendSerial(kHello), 0);
    EXPECT_EQ(device_.receive().text, request("serial data", "SGVsbG8="));
    EXPECT_EQ(sendIr(kHello), 0);
    EXPECT_EQ(device_.receive().text, request("ir data", "SGVsbG8="));
}

TEST_F(DataRequest, may_carry_nothing) {
    EXPECT_EQ(sendIr({}), 0);
    EXPECT_EQ(device_.receive().text, request("ir data", ""));
}

TEST_F(DataRequest, cuts_its_name_to_31_characters) {
    const std::string name(40, 'n');
    EXPECT_EQ(sendData(name.c_str()), 0);
    EXPECT_EQ(device_.receive().text, request(name.substr(0, 31), "SGVsbG8="));
}

TEST_F(DataRequest, carries_1122_bytes_and_refuses_more) {
    const std::vector<unsigned char> most(1122, 0xFF);
    EXPECT_EQ(sendIr(most), 0);
    EXPECT_EQ(device_.receive().text, request("ir data", std::string(1496, '/')));

    const std::vector<unsigned char> tooMany(1123, 0xFF);
    const Outcome outcome = runRequest([&] { return sendIr(tooMany); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "1123 bytes of data are too many: at most 1122\n");
    EXPECT_TRUE(device_.hasHeardNothing());
}

TEST_F(DataRequest, follows_the_clients_state_first_whatever_the_size) {
    const std::vector<unsigned char> tooMany(1123, 0xFF);
    for (const std::vector<unsigned char>& data : {kHello, tooMany}) {
        client_->state = kStateSkipping;
        const Outcome skipped = runRequest([&] { return sendIr(data); });
        EXPECT_EQ(skipped.result, 0);
        EXPECT_EQ(skipped.output, "");
        client_->state = 5;
        const Outcome refused = runRequest([&] { return sendIr(data); });
        EXPECT_EQ(refused.result, -1);
        EXPECT_EQ(refused.output, "client state(5) err!\n");
    }
    EXPECT_TRUE(device_.hasHeardNothing());
}

TEST_F(DataRequest, without_a_client_fails_without_a_word_whatever_the_size) {
    client_ = nullptr;
    const std::vector<unsigned char> tooMany(1123, 0xFF);
    const Outcome outcome = runRequest([&] { return sendSerial(tooMany); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "");
}

}  // namespace
