// The four update commands as the front end, the devices and an operator at the daemon's output see
// them.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "update_bed.hpp"

namespace {

using namespace std::chrono_literals;

constexpr const char* kAllEncoders = "update all encoders";
constexpr const char* kAllDecoders = "update all decoders";
constexpr const char* kOneEncoder = "update device encoder";
constexpr const char* kOneDecoder = "update device decoder";

constexpr const char* kRefused =
    "getsockopt SO_ERROR=111 errno:115 Operation now in progress\nConnect error\n";
constexpr const char* kTimedOut =
    "connect timeout. error:115 Operation now in progress\nConnect error\n";

const FoundDevice kFirst{"one", "10.77.1.1"};
const FoundDevice kSecond{"two", "10.77.1.2"};
const FoundDevice kThird{"three", "10.77.1.3"};
const std::vector<FoundDevice> kThree{kFirst, kSecond, kThird};

// Two chunks for encoders and decoders alike.
const bed::ImageFileOptions kImageForBoth{.name = "TX and RX", .size = 5000};

std::string discoveryRequest(const std::string& group) {
    return R"({"request":{"cmd":"config get device","hostid":"001122aabbcc","device":[{"id":")" +
           group + R"("}]}})";
}

class Update : public testing::Test {
  protected:
    std::string lineFor(const std::string& cmd) const { return cmd + " " + image_.path() + "!"; }

    /// Lets the device take the whole image and does not reply.
    void expectUpload(const bed::UploadPort& port) const {
        EXPECT_EQ(port.accept().receiveAll(), stream_);
    }

    /// The same, with the reply that is waited for.
    void expectUploadWithReply(const bed::UploadPort& port, const std::string& reply) {
        bed::Upload upload = port.accept();
        EXPECT_EQ(upload.receive(stream_.size()), stream_);
        EXPECT_TRUE(upload.hasHeardNothing());
        EXPECT_FALSE(bed_.segment.hasAnswer());
        upload.send(reply);
        EXPECT_EQ(upload.receiveAll(), "");
    }

    UpdateBed bed_;
    const bed::ImageFile image_{kImageForBoth};
    const std::string stream_ = bed::chunkStream("AD", image_.payload());
};

using UpdateAll = Update;
using UpdateOne = Update;

// "update all encoders" or "update all decoders" where both do the same.
class UpdateAllOf : public Update, public testing::WithParamInterface<const char*> {
  protected:
    const std::string cmd_ = GetParam();
    const std::string group_ = cmd_ == kAllEncoders ? "All_TX" : "All_RX";
    const std::string line_ = lineFor(cmd_);
};

TEST_P(UpdateAllOf, without_a_device_succeeds_after_a_second_of_silence) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bed_.start(line_, {}), discoveryRequest(group_));
    EXPECT_EQ(bed_.answer(), success(cmd_));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
    bed_.awaitSaid(line_, "");
}

TEST_P(UpdateAllOf, serves_one_after_the_other_and_waits_for_the_last) {
    std::vector<bed::UploadPort> ports;
    for (const FoundDevice& device : kThree) {
        ports.push_back(bed_.openPort(device.address));
    }
    EXPECT_EQ(bed_.start(line_, kThree), discoveryRequest(group_));
    expectUpload(ports[0]);
    expectUpload(ports[1]);
    expectUploadWithReply(ports[2], "update ok");
    EXPECT_EQ(bed_.answer(), success(cmd_));
    bed_.awaitSaid(line_, numLine(0, kFirst, 0) + image_.description() + numLine(1, kSecond, 0) +
                              image_.description() + numLine(2, kThird, 1) + image_.description() +
                              "read update ok\n");
    EXPECT_EQ(bed_.timesOpen(image_.path()), 0);
}

TEST_P(UpdateAllOf, fails_when_discovery_fails) {
    bed_.namespaces.removeAddress();
    EXPECT_EQ(bed_.segment.ask(bed_.console, line_), failure(cmd_));
    bed_.awaitSaid(line_,
                   "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n"
                   "Protocol_client_getDevice err!\n");
}

INSTANTIATE_TEST_SUITE_P(Kinds, UpdateAllOf, testing::Values(kAllEncoders, kAllDecoders),
                         [](const auto& each) {
                             return each.index == 0 ? "encoders" : "decoders";
                         });

TEST_F(UpdateAll, encoders_goes_on_after_one_that_fails) {
    const std::string line = lineFor(kAllEncoders);
    const bed::UploadPort first = bed_.openPort(kFirst.address);
    const bed::UploadPort third = bed_.openPort(kThird.address);
    bed_.start(line, kThree);
    expectUpload(first);
    expectUploadWithReply(third, "ok");
    EXPECT_EQ(bed_.answer(), success(kAllEncoders));
    bed_.awaitSaid(line, numLine(0, kFirst, 0) + image_.description() + numLine(1, kSecond, 0) +
                             image_.description() + kRefused + "update err!\n" +
                             numLine(2, kThird, 1) + image_.description() + "read ok\n");
    EXPECT_EQ(bed_.timesOpen(image_.path()), 1);
}

TEST_F(UpdateAll, encoders_fails_when_the_last_one_fails) {
    const std::string line = lineFor(kAllEncoders);
    const bed::UploadPort first = bed_.openPort(kFirst.address);
    const bed::UploadPort second = bed_.openPort(kSecond.address);
    bed_.start(line, kThree);
    expectUpload(first);
    expectUpload(second);
    EXPECT_EQ(bed_.answer(), failure(kAllEncoders));
    bed_.awaitSaid(line, numLine(0, kFirst, 0) + image_.description() + numLine(1, kSecond, 0) +
                             image_.description() + numLine(2, kThird, 1) + image_.description() +
                             kRefused + "update err!\n");
}

TEST_F(UpdateAll, decoders_ends_with_one_that_is_unreachable) {
    const FoundDevice unreachable{"two", "10.99.0.1"};
    const std::string line = lineFor(kAllDecoders);
    const bed::UploadPort first = bed_.openPort(kFirst.address);
    const bed::UploadPort third = bed_.openPort(kThird.address);
    bed_.start(line, {kFirst, unreachable, kThird});
    expectUpload(first);
    EXPECT_EQ(bed_.answer(), failure(kAllDecoders));
    EXPECT_FALSE(third.hasConnection());
    bed_.awaitSaid(line, numLine(0, kFirst, 0) + image_.description() + numLine(1, unreachable, 0) +
                             image_.description() + kTimedOut + "Main_update_encoder err!\n");
    EXPECT_EQ(bed_.timesOpen(image_.path()), 1);
}

TEST_F(UpdateAll, encoders_tries_an_image_that_is_none_on_every_device) {
    const bed::ImageFile image({.magic = "none"});
    const std::string line = std::string(kAllEncoders) + " " + image.path() + "!";
    bed_.start(line, kThree);
    EXPECT_EQ(bed_.answer(), failure(kAllEncoders));
    const std::string failed = "Image magic err!\nupdate err!\n";
    bed_.awaitSaid(line, numLine(0, kFirst, 0) + failed + numLine(1, kSecond, 0) + failed +
                             numLine(2, kThird, 1) + failed);
    EXPECT_EQ(bed_.timesOpen(image.path()), 3);
}

TEST_F(UpdateAll, decoders_tries_an_image_for_encoders_on_the_first_device) {
    const bed::ImageFile image({.name = "TX only"});
    const std::string line = std::string(kAllDecoders) + " " + image.path() + "!";
    bed_.start(line, kThree);
    EXPECT_EQ(bed_.answer(), failure(kAllDecoders));
    bed_.awaitSaid(line, numLine(0, kFirst, 0) + image.description() +
                             "Firmware upgrade is not an encoder!\nMain_update_encoder err!\n");
    EXPECT_EQ(bed_.timesOpen(image.path()), 1);
}

TEST_F(UpdateAll, encoders_goes_on_after_one_whose_address_is_none) {
    const FoundDevice nowhere{"one", "10.77.1"};
    const std::string line = lineFor(kAllEncoders);
    const bed::UploadPort second = bed_.openPort(kSecond.address);
    bed_.start(line, {nowhere, kSecond});
    expectUploadWithReply(second, "ok");
    EXPECT_EQ(bed_.answer(), success(kAllEncoders));
    bed_.awaitSaid(line, numLine(0, nowhere, 0) + image_.description() +
                             "ip:10.77.1 inet_pton error:0 Success\nConnect error\nupdate err!\n" +
                             numLine(1, kSecond, 1) + image_.description() + "read ok\n");
}

TEST_F(UpdateAll, takes_a_path_with_blanks) {
    const std::string path = image_.path() + " with  blanks";
    std::filesystem::rename(image_.path(), path);
    const bed::UploadPort port = bed_.openPort(kFirst.address);
    bed_.start(std::string(kAllEncoders) + " " + path + "!", {kFirst});
    bed::Upload upload = port.accept();
    EXPECT_EQ(upload.receive(stream_.size()).size(), stream_.size());
    upload.end();
    EXPECT_EQ(bed_.answer(), success(kAllEncoders));
    std::filesystem::rename(path, image_.path());
}

TEST_F(UpdateAll, without_a_path_opens_nothing) {
    const std::string line = std::string(kAllEncoders) + "!";
    bed_.start(line, {kFirst});
    EXPECT_EQ(bed_.answer(), failure(kAllEncoders));
    bed_.awaitSaid(line, numLine(0, kFirst, 1) + " open failed...\nupdate err!\n");
}

TEST_F(UpdateAll, cuts_a_path_to_127_characters) {
    const std::string path = "/" + std::string(200, 'p');
    const std::string line = std::string(kAllDecoders) + " " + path + "!";
    bed_.start(line, {kFirst});
    EXPECT_EQ(bed_.answer(), failure(kAllDecoders));
    bed_.awaitSaid(line, numLine(0, kFirst, 1) + path.substr(0, 127) +
                             " open failed...\nMain_update_encoder err!\n");
}

// "update device encoder" or "update device decoder": both do the same.
class UpdateOneOf : public Update, public testing::WithParamInterface<const char*> {
  protected:
    std::string lineFor(const std::string& id) const {
        return cmd_ + " " + id + " " + image_.path() + "!";
    }

    const std::string cmd_ = GetParam();
    const std::string group_ = cmd_ == kOneEncoder ? "All_TX" : "All_RX";
};

TEST_P(UpdateOneOf, serves_the_device_and_waits_for_it) {
    const std::string line = lineFor("two");
    const bed::UploadPort first = bed_.openPort(kFirst.address);
    const bed::UploadPort second = bed_.openPort(kSecond.address);
    const bed::UploadPort third = bed_.openPort(kThird.address);
    EXPECT_EQ(bed_.start(line, kThree), discoveryRequest(group_));
    expectUploadWithReply(second, "ok");
    EXPECT_EQ(bed_.answer(), success(cmd_));
    bed_.awaitSaid(line, image_.description() + "read ok\n");
    EXPECT_FALSE(first.hasConnection());
    EXPECT_FALSE(third.hasConnection());
    EXPECT_EQ(bed_.timesOpen(image_.path()), 0);
}

TEST_P(UpdateOneOf, serves_the_first_of_two_devices_with_the_same_identity) {
    const std::string line = lineFor("same");
    const bed::UploadPort first = bed_.openPort(kFirst.address);
    const bed::UploadPort second = bed_.openPort(kSecond.address);
    bed_.start(line, {kThird, {"same", kFirst.address}, {"same", kSecond.address}});
    expectUploadWithReply(first, "ok");
    EXPECT_EQ(bed_.answer(), success(cmd_));
    bed_.awaitSaid(line, image_.description() + "read ok\n");
    EXPECT_FALSE(second.hasConnection());
}

TEST_P(UpdateOneOf, fails_without_a_word_for_a_device_that_is_not_found) {
    const std::string line = lineFor("two");
    bed_.start(line, {kFirst, {"TWO", kSecond.address}, {"tw", kSecond.address}, {"two2", ""}});
    EXPECT_EQ(bed_.answer(), failure(cmd_));
    bed_.awaitSaid(line, "");
}

TEST_P(UpdateOneOf, fails_when_no_device_answers) {
    const std::string line = lineFor("two");
    bed_.start(line, {});
    EXPECT_EQ(bed_.answer(), failure(cmd_));
    bed_.awaitSaid(line, "");
}

TEST_P(UpdateOneOf, fails_when_the_upload_fails) {
    const std::string line = lineFor("one");
    bed_.start(line, {kFirst});
    EXPECT_EQ(bed_.answer(), failure(cmd_));
    bed_.awaitSaid(line, image_.description() + kRefused + "Main_update_encoder err!\n");
    EXPECT_EQ(bed_.timesOpen(image_.path()), 1);
}

TEST_P(UpdateOneOf, fails_when_discovery_fails) {
    bed_.namespaces.removeAddress();
    const std::string line = lineFor("one");
    EXPECT_EQ(bed_.segment.ask(bed_.console, line), failure(cmd_));
    bed_.awaitSaid(line,
                   "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n"
                   "Protocol_client_getDevice err!\n");
}

INSTANTIATE_TEST_SUITE_P(Kinds, UpdateOneOf, testing::Values(kOneEncoder, kOneDecoder),
                         [](const auto& each) { return each.index == 0 ? "encoder" : "decoder"; });

TEST_F(UpdateOne, takes_a_path_with_blanks_behind_the_identity) {
    const std::string line = std::string(kOneDecoder) + "  one   /no such/image !";
    bed_.start(line, {kFirst});
    EXPECT_EQ(bed_.answer(), failure(kOneDecoder));
    bed_.awaitSaid(line, "/no such/image  open failed...\nMain_update_encoder err!\n");
}

TEST_F(UpdateOne, finds_no_device_for_a_longer_identity) {
    const std::string id(31, 'i');
    const std::string line = std::string(kOneEncoder) + " " + id + "i /none!";
    bed_.start(line, {{id, kFirst.address}});
    EXPECT_EQ(bed_.answer(), failure(kOneEncoder));
    bed_.awaitSaid(line, "");
}

TEST_F(UpdateOne, takes_an_identity_of_31_characters) {
    const std::string id(31, 'i');
    const std::string line = std::string(kOneEncoder) + " " + id + " /none!";
    bed_.start(line, {{id.substr(1), ""}, {id, kFirst.address}});
    EXPECT_EQ(bed_.answer(), failure(kOneEncoder));
    bed_.awaitSaid(line, "/none open failed...\nMain_update_encoder err!\n");
}

}  // namespace
