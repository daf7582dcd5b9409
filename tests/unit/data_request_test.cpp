// The generic data request, which serial data and IR data share.
#include "kit/data_request.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client_bed.hpp"
#include "commands/ir.hpp"
#include "commands/serial.hpp"

namespace {

class DataRequest : public testing::Test {
  protected:
    static std::string request(const std::string& cmd, const std::string& data) {
        return R"({"request":{"cmd":")" + cmd +
               R"(","hostid":"001122aabbcc","device":[{"id":"rx01"}]},"data":")" + data + "\"}";
    }

    ClientBed bed_;
    ProtocolClient* client_ = bed_.client;
    bed::Device& device_ = bed_.device;
    const DeviceId rx01_ = deviceId("rx01");
};

const std::vector<unsigned char> kHello = {'H', 'e', 'l', 'l', 'o'};

TEST_F(DataRequest, carries_the_bytes_as_base64_under_the_name_it_is_given) {
    EXPECT_EQ(Protocol_client_sendData(client_, rx01_, "any data", kHello), 0);
    EXPECT_EQ(device_.receive().text, request("any data", "SGVsbG8="));
    EXPECT_EQ(Protocol_client_serial_sendData(client_, rx01_, kHello), 0);
    EXPECT_EQ(device_.receive().text, request("serial data", "SGVsbG8="));
    EXPECT_EQ(Protocol_client_ir_sendData(client_, rx01_, kHello), 0);
    EXPECT_EQ(device_.receive().text, request("ir data", "SGVsbG8="));
}

TEST_F(DataRequest, may_carry_nothing) {
    EXPECT_EQ(Protocol_client_ir_sendData(client_, rx01_, {}), 0);
    EXPECT_EQ(device_.receive().text, request("ir data", ""));
}

TEST_F(DataRequest, cuts_its_name_to_31_characters) {
    const std::string name(40, 'n');
    EXPECT_EQ(Protocol_client_sendData(client_, rx01_, name.c_str(), kHello), 0);
    EXPECT_EQ(device_.receive().text, request(name.substr(0, 31), "SGVsbG8="));
}

TEST_F(DataRequest, carries_1122_bytes_and_refuses_more) {
    const std::vector<unsigned char> most(1122, 0xFF);
    EXPECT_EQ(Protocol_client_ir_sendData(client_, rx01_, most), 0);
    EXPECT_EQ(device_.receive().text, request("ir data", std::string(1496, '/')));

    const std::vector<unsigned char> tooMany(1123, 0xFF);
    const Outcome outcome =
        runRequest([&] { return Protocol_client_ir_sendData(client_, rx01_, tooMany); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "1123 bytes of data are too many: at most 1122\n");
    EXPECT_TRUE(device_.hasHeardNothing());
}

TEST_F(DataRequest, follows_the_clients_state) {
    client_->state = kStateSkipping;
    EXPECT_EQ(Protocol_client_ir_sendData(client_, rx01_, kHello), 0);
    client_->state = 5;
    const Outcome outcome =
        runRequest([&] { return Protocol_client_ir_sendData(client_, rx01_, kHello); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "client state(5) err!\n");
    EXPECT_TRUE(device_.hasHeardNothing());
}

}  // namespace
