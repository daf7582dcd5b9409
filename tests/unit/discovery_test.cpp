// Discovery: what is gathered, in which order, and when it ends.
#include "protocol/discovery.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "bed/device_reply.hpp"
#include "client_bed.hpp"
#include "lib/base/descriptor.hpp"

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

// Upper bounds are far above what is expected: the machine may be loaded.
constexpr auto kSoon = 15s;
constexpr std::uint32_t kUnwritten = 4711;

class Discovery : public testing::Test {
  protected:
    Outcome discover(
        std::int32_t timeout_ms, const std::function<void()>& talk = [] {}) {
        return runRequest(
            [&] {
                return Protocol_client_getDevice(bed_.client, &group_, 1, timeout_ms, records_,
                                                 &count_);
            },
            talk);
    }

    /// Discovers while the devices answer with `replies`, then fall silent.
    Outcome discoverAmong(const Texts& replies) {
        return discover(1000, [&] {
            bed_.device.receive();
            bed_.device.replyAll(replies);
        });
    }

    /// Whether discovery has left nothing in the socket for the next request.
    bool nothingIsLeft() const {
        char byte = 0;
        return ::recv(bed_.client->socket.peek(), &byte, 1, MSG_DONTWAIT) < 0 && errno == EAGAIN;
    }

    /// The identities of the records in order, once all their fields have been found right.
    Texts found() const {
        Texts ids;
        for (std::uint32_t i = 0; i < count_; ++i) {
            const DeviceRecord& record = records_.at(i);
            const std::array<std::string_view, 9> fields{
                record.deviceid.view(), record.alias.view(),      record.devtype.view(),
                record.devaddr.view(),  record.devnetmask.view(), record.devgateway.view(),
                record.devmac.view(),   record.status.view(),     record.version.view()};
            for (std::size_t field = 0; field < fields.size(); ++field) {
                EXPECT_EQ(fields.at(field),
                          bed::deviceValue(fields[0], bed::kDeviceKeys.at(field)));
            }
            ids.emplace_back(fields[0]);
        }
        return ids;
    }

    ClientBed bed_;
    DeviceId group_ = deviceId("All");
    std::vector<DeviceRecord> records_{kDeviceRecordsMax};
    std::uint32_t count_ = kUnwritten;
};

TEST_F(Discovery, the_request_names_the_group) {
    for (const char* group : {"All", "All_TX", "All_RX"}) {
        group_ = deviceId(group);
        const Outcome outcome = discover(0);
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(bed_.device.receive().text,
                  R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
                  R"("device":[{"id":")" +
                      std::string(group) + R"("}]}})");
    }
}

TEST_F(Discovery, the_callers_count_of_identities_is_used) {
    const std::array groups{deviceId("tx01"), deviceId("rx01")};
    const std::string begin = R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)";
    const std::vector<std::pair<std::int32_t, std::string>> cases{
        {2, R"("device":[{"id":"tx01"},{"id":"rx01"}]}})"},
        {1, R"("device":[{"id":"tx01"}]}})"},
        {0, R"("device":[]}})"},
        {-3, R"("device":[]}})"}};
    for (const auto& [count, end] : cases) {
        EXPECT_EQ(
            Protocol_client_getDevice(bed_.client, groups.data(), count, 0, records_, &count_), 0);
        EXPECT_EQ(bed_.device.receive().text, begin + end);
    }
}

TEST_F(Discovery, without_devices_it_finds_none_after_one_time_out) {
    const Outcome outcome = discover(500);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(count_, 0U);
    EXPECT_GE(outcome.took, 500ms);
    EXPECT_LT(outcome.took, kSoon);
}

TEST_F(Discovery, time_outs_beyond_a_second_are_kept_as_well) {
    const Outcome outcome = discover(1100);
    EXPECT_GE(outcome.took, 1100ms);
    EXPECT_LT(outcome.took, kSoon);
}

TEST_F(Discovery, records_stand_in_the_order_of_the_replies) {
    const Outcome outcome =
        discoverAmong({bed::deviceReply("c"), bed::deviceReply("a"), bed::deviceReply("b")});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(found(), (Texts{"c", "a", "b"}));
}

TEST_F(Discovery, of_three_devices_one_that_answers_twice_is_found_twice) {
    discoverAmong({bed::deviceReply("a"), bed::deviceReply("b"), bed::deviceReply("a"),
                   bed::deviceReply("c")});
    EXPECT_EQ(count_, 4U);
    EXPECT_EQ(found(), (Texts{"a", "b", "a", "c"}));
}

TEST_F(Discovery, whatever_answers_is_taken_for_what_was_asked_for) {
    group_ = deviceId("All_TX");
    discoverAmong({bed::replyText(bed::kDiscoveryCmd, "success", kHostIdentity, "somebody else",
                                  bed::deviceMember("a decoder"))});
    EXPECT_EQ(found(), (Texts{"a decoder"}));
}

TEST_F(Discovery, what_does_not_match_is_skipped_and_does_not_end_it) {
    const Outcome outcome = discoverAmong(
        {bed::deviceReply("a"), bed::deviceReply("b", "failure"), bed::deviceReply("c", ""),
         bed::deviceReply("d", "success", "001122aabbcd"), bed::deviceReply("e", "success", ""),
         bed::deviceReply("f", "success", kHostIdentity, "config get devices"), "hello", "{}",
         bed::deviceReply("g")});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, "cJSON_Parse err!\nget ack err!\n");
    EXPECT_EQ(found(), (Texts{"a", "g"}));
}

TEST_F(Discovery, a_reply_that_lacks_something_is_reported_and_skipped) {
    Texts replies;
    std::string output;
    for (const std::string_view key : bed::kDeviceKeys) {
        replies.push_back(bed::replyText(bed::kDiscoveryCmd, "success", kHostIdentity, "x",
                                         bed::deviceMember("x", key)));
        output.append("get ").append(key).append(" err!\n");
    }
    replies.push_back(bed::replyText(bed::kDiscoveryCmd, "success", kHostIdentity, "x"));
    output += "get device err!\n";
    replies.push_back(bed::deviceReply("whole"));
    const Outcome outcome = discoverAmong(replies);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(found(), (Texts{"whole"}));
}

TEST_F(Discovery, it_keeps_the_first_1024_records_and_leaves_none_in_the_socket) {
    Texts replies;
    for (std::size_t i = 0; i < kDeviceRecordsMax + 20; ++i) {
        replies.push_back(bed::deviceReply("d" + std::to_string(i)));
    }
    const Outcome outcome = discoverAmong(replies);
    EXPECT_EQ(outcome.result, 0);
    ASSERT_EQ(count_, 1024U);
    const Texts ids = found();
    EXPECT_EQ(ids.front(), "d0");
    EXPECT_EQ(ids.back(), "d1023");
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(Discovery, without_room_it_goes_on_reading_until_the_silence) {
    // Exactly as large as it says, so that one record more would be noticed.
    records_ = std::vector<DeviceRecord>(2);
    records_.shrink_to_fit();
    const Outcome outcome = discover(1000, [&] {
        bed_.device.receive();
        bed_.device.replyAll(
            Texts{bed::deviceReply("a"), "hello", bed::deviceReply("b"), bed::deviceReply("c")});
        // Sent when those have been read.
        bed_.device.replyAll(Texts{bed::deviceReply("late")});
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, "cJSON_Parse err!\n");
    EXPECT_EQ(found(), (Texts{"a", "b"}));
    EXPECT_GE(outcome.took, 1000ms);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(Discovery, a_reply_that_finds_no_room_is_read_all_the_same) {
    records_.clear();
    const Outcome outcome = discoverAmong({bed::deviceReply("a"), R"({"ack":{}})"});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, "get cmd err!\n");
    EXPECT_EQ(count_, 0U);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(Discovery, a_zero_time_out_takes_what_is_there) {
    bed_.device.replyAll(Texts{bed::deviceReply("a"), bed::deviceReply("b")});
    EXPECT_EQ(discover(0).result, 0);
    EXPECT_EQ(found(), (Texts{"a", "b"}));
}

TEST_F(Discovery, a_negative_time_out_is_a_wait_that_fails) {
    bed_.device.reply(bed::deviceReply("a"));
    const Outcome outcome = discover(-1);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(count_, 0U);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_LT(outcome.took, kSoon);
}

TEST_F(Discovery, an_empty_datagram_counts_as_the_one_before_it) {
    discoverAmong({bed::deviceReply("a"), "", bed::deviceReply("b"), ""});
    EXPECT_EQ(found(), (Texts{"a", "a", "b", "b"}));
}

TEST_F(Discovery, a_failed_receive_is_reported_and_ends_it_with_success) {
    const avoip::Descriptor file(::open("/proc/self/exe", O_RDONLY));
    // Where the socket was, something that can be read from but not received from.
    const Outcome outcome = discover(10'000, [&] {
        bed_.device.receive();
        ::dup2(file.get(), bed_.client->socket.peek());
        bed_.device.reply("wakes a wait that has begun");
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
              "devsearch_client_discover recvfrom(): Socket operation on non-socket\n");
    EXPECT_EQ(count_, 0U);
    EXPECT_LT(outcome.took, 10s);
}

TEST_F(Discovery, in_state_3_the_count_is_left_as_it_was) {
    bed_.client->state = 3;
    EXPECT_EQ(discover(500).result, 0);
    EXPECT_EQ(count_, kUnwritten);
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(Discovery, when_it_cannot_send_the_count_is_left_as_it_was) {
    bed_.client->state = 5;
    EXPECT_EQ(discover(500).output, "client state(5) err!\n");
    bed_.client->state = 2;
    bed_.namespaces.removeAddress();
    EXPECT_EQ(discover(500).output, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
    bed_.namespaces.addAddress();
    bed_.namespaces.removeMulticastRoute();
    const Outcome outcome = discover(500);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "pEthName(eth0.2) sendPacket err!\n");
    EXPECT_EQ(outcome.errors, "sendto(): Network is unreachable\n");
    EXPECT_EQ(count_, kUnwritten);
}

TEST_F(Discovery, each_call_begins_anew) {
    discoverAmong({bed::deviceReply("a"), bed::deviceReply("b")});
    discoverAmong({bed::deviceReply("c")});
    EXPECT_EQ(found(), (Texts{"c"}));
}

}  // namespace
