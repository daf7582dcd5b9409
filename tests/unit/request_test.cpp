// Requests: the document's bytes, what stands around it, and what every request does first.
#include "protocol/request.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

#include "bed/ip_tool.hpp"
#include "client_bed.hpp"
#include "descriptors.hpp"

namespace {

using namespace std::string_literals;

std::string document(const RequestRecord& record) {
    return Json_print(Protocol_client_buildRequest(record).get()).get();
}

RequestRecord recordOf(const char* cmd, std::span<const DeviceId> devices) {
    RequestRecord record{};
    record.cmd.set(cmd);
    record.hostid.set(kHostIdentity);
    record.deviceCount = static_cast<std::int32_t>(devices.size());
    record.devices = devices.data();
    return record;
}

TEST(BuildRequest, the_document_is_exact_to_the_byte) {
    const std::array devices{deviceId("All")};
    EXPECT_EQ(document(recordOf("config get device", devices)),
              R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
              R"("device":[{"id":"All"}]}})");
}

TEST(BuildRequest, devices_stand_in_the_order_of_the_list) {
    const std::array devices{deviceId("tx02"), deviceId(""), deviceId("tx01")};
    EXPECT_EQ(document(recordOf("x", devices)),
              R"({"request":{"cmd":"x","hostid":"001122aabbcc",)"
              R"("device":[{"id":"tx02"},{"id":""},{"id":"tx01"}]}})");
}

TEST(BuildRequest, only_the_counted_entries_are_listed) {
    const std::array devices{deviceId("tx01"), deviceId("tx02")};
    RequestRecord record = recordOf("x", devices);
    record.deviceCount = 1;
    EXPECT_EQ(document(record),
              R"({"request":{"cmd":"x","hostid":"001122aabbcc","device":[{"id":"tx01"}]}})");
}

TEST(BuildRequest, a_count_of_zero_or_less_gives_an_empty_array) {
    const std::array devices{deviceId("tx01")};
    RequestRecord record = recordOf("x", devices);
    for (const std::int32_t count : {0, -1, INT32_MIN}) {
        record.deviceCount = count;
        EXPECT_EQ(document(record),
                  R"({"request":{"cmd":"x","hostid":"001122aabbcc","device":[]}})");
    }
    record.devices = nullptr;
    EXPECT_EQ(document(record), R"({"request":{"cmd":"x","hostid":"001122aabbcc","device":[]}})");
}

TEST(BuildRequest, an_entry_without_terminator_is_read_as_32_characters) {
    std::array devices{deviceId(""), deviceId("next")};
    devices[0].bytes.fill('i');
    EXPECT_EQ(document(recordOf("x", devices)),
              R"({"request":{"cmd":"x","hostid":"001122aabbcc","device":[{"id":")" +
                  std::string(32, 'i') + R"("},{"id":"next"}]}})");
}

TEST(BuildRequest, texts_are_escaped) {
    const std::array devices{deviceId("a\"b\\c")};
    EXPECT_EQ(document(recordOf("x\n", devices)),
              R"({"request":{"cmd":"x\n","hostid":"001122aabbcc","device":[{"id":"a\"b\\c"}]}})");
}

class StartRequest : public testing::Test {
  protected:
    static constexpr const char* kPlain =
        R"({"request":{"cmd":"matrix get","hostid":"001122aabbcc","device":[{"id":"rx01"}]}})";

    Request request() const { return {.cmd = "matrix get", .devices = devices_}; }

    Outcome start(const Request& request) {
        return runRequest([&] {
            started_ = Protocol_client_startRequest(bed_->client, request, record_);
            return 0;
        });
    }

    void expectNothingHeard() {
        // What was sent before this would be heard before it.
        bed_->client->state = kStateReady;
        const Outcome marker = runRequest([&] {
            RequestRecord record;
            const Request plain{.cmd = "marker", .devices = {}};
            return static_cast<std::int32_t>(
                Protocol_client_startRequest(bed_->client, plain, record));
        });
        EXPECT_EQ(marker.output + marker.errors, "");
        EXPECT_EQ(bed_->device.receive().text,
                  R"({"request":{"cmd":"marker","hostid":"001122aabbcc","device":[]}})");
    }

    std::optional<ClientBed> bed_{std::in_place};
    const std::array<DeviceId, 1> devices_{deviceId("rx01")};
    RequestRecord record_{};
    Started started_ = Started::kFailed;
};

TEST_F(StartRequest, one_datagram_goes_to_the_group_from_the_port_above_its_own) {
    const Outcome outcome = start(request());
    EXPECT_EQ(started_, Started::kSent);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    const bed::Datagram heard = bed_->device.receive();
    EXPECT_EQ(heard.text, kPlain);
    EXPECT_EQ(heard.address, bed::kControlAddress);
    EXPECT_EQ(heard.port, bed::kReplyPort);
    expectNothingHeard();
}

TEST_F(StartRequest, the_record_tells_what_was_sent) {
    start(request());
    EXPECT_EQ(record_.cmd.view(), "matrix get");
    EXPECT_EQ(record_.hostid.view(), kHostIdentity);
    EXPECT_EQ(record_.deviceCount, 1);
    EXPECT_EQ(record_.devices, devices_.data());
}

TEST_F(StartRequest, the_current_address_is_refreshed) {
    EXPECT_EQ(bed_->client->currentAddress.view(), "");
    start(request());
    EXPECT_EQ(bed_->client->currentAddress.view(), bed::kControlAddress);
    bed::ip(
        "addr del 10.77.0.1/16 dev eth0.2\n"
        "addr add 10.78.123.234/16 dev eth0.2\n"
        "route replace 224.0.0.0/4 dev eth0.2");
    start(request());
    EXPECT_EQ(bed_->client->currentAddress.view(), "10.78.123.234");
}

TEST_F(StartRequest, own_members_stand_beside_the_request_and_after_it) {
    Request extended = request();
    extended.addMembers = [](cJSON* root) {
        Json_addText(Json_addObject(root, "rxsource"), "txid", "tx01");
        Json_addText(root, "data", "SGVsbG8=");
    };
    start(extended);
    EXPECT_EQ(bed_->device.receive().text,
              R"({"request":{"cmd":"matrix get","hostid":"001122aabbcc","device":[{"id":"rx01"}]},)"
              R"("rxsource":{"txid":"tx01"},"data":"SGVsbG8="})");
}

TEST_F(StartRequest, trailer_bytes_follow_the_document_as_they_are) {
    Request extended = request();
    const std::string trailer = "\r\n\0\xFF\x80!\0"s;
    extended.trailer = trailer;
    start(extended);
    EXPECT_EQ(bed_->device.receive().text, kPlain + trailer);
}

TEST_F(StartRequest, a_traced_request_prints_its_document_as_one_line) {
    Request traced = request();
    traced.traced = true;
    traced.trailer = "not printed";
    EXPECT_EQ(start(traced).output, std::string(kPlain) + "\n");
    EXPECT_EQ(started_, Started::kSent);
}

TEST_F(StartRequest, a_traced_request_is_printed_before_its_send_fails) {
    Request traced = request();
    traced.traced = true;
    bed_->namespaces.removeMulticastRoute();
    const Outcome outcome = start(traced);
    EXPECT_EQ(outcome.output, std::string(kPlain) + "\npEthName(eth0.2) sendPacket err!\n");
    EXPECT_EQ(outcome.errors, "sendto(): Network is unreachable\n");
    EXPECT_EQ(started_, Started::kFailed);
}

TEST_F(StartRequest, the_host_identity_is_the_one_given_at_creation_cut_to_31_characters) {
    ProtocolClient* other = nullptr;
    const std::string identity = "1234567890123456789012345678901234567890";
    ASSERT_EQ(
        Protocol_client_create(&other, "eth0.2", "Control", identity.c_str(), bed::kGroup, 9002),
        0);
    RequestRecord record;
    EXPECT_EQ(Protocol_client_startRequest(other, request(), record), Started::kSent);
    EXPECT_EQ(record.hostid.view(), identity.substr(0, 31));
    Protocol_client_destroy(other);
}

TEST_F(StartRequest, in_state_4_requests_are_carried_out) {
    bed_->client->state = kStateAlsoReady;
    start(request());
    EXPECT_EQ(started_, Started::kSent);
    EXPECT_EQ(bed_->device.receive().text, kPlain);
}

TEST_F(StartRequest, in_state_3_requests_are_skipped) {
    bed_->client->state = kStateSkipping;
    const Outcome outcome = start(request());
    EXPECT_EQ(started_, Started::kSkipped);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(bed_->client->currentAddress.view(), "");
    expectNothingHeard();
}

TEST_F(StartRequest, in_state_3_not_even_the_interface_is_looked_at) {
    bed_->client->state = kStateSkipping;
    bed_->namespaces.removeAddress();
    EXPECT_EQ(start(request()).output, "");
    EXPECT_EQ(started_, Started::kSkipped);
}

TEST_F(StartRequest, in_any_other_state_requests_fail) {
    for (const std::int32_t state : {5, 1, 0, -1, INT32_MAX, INT32_MIN}) {
        bed_->client->state = state;
        const Outcome outcome = start(request());
        EXPECT_EQ(started_, Started::kFailed);
        EXPECT_EQ(outcome.output, "client state(" + std::to_string(state) + ") err!\n");
        EXPECT_EQ(outcome.errors, "");
    }
    expectNothingHeard();
}

TEST_F(StartRequest, without_a_client_requests_fail_silently) {
    RequestRecord record;
    const Outcome outcome = runRequest([&] {
        return static_cast<std::int32_t>(Protocol_client_startRequest(nullptr, request(), record));
    });
    EXPECT_EQ(static_cast<Started>(outcome.result), Started::kFailed);
    EXPECT_EQ(outcome.output + outcome.errors, "");
}

TEST_F(StartRequest, without_an_address_nothing_is_sent) {
    bed_->namespaces.removeAddress();
    const Outcome outcome = start(request());
    EXPECT_EQ(started_, Started::kFailed);
    EXPECT_EQ(outcome.output, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
    EXPECT_EQ(outcome.errors, "");
    bed_->namespaces.addAddress();
    expectNothingHeard();
}

TEST_F(StartRequest, through_an_interface_that_is_down_nothing_is_sent_and_nothing_leaks) {
    const int before = openDescriptors();
    bed::ip("link set eth0.2 down");
    for (const bool hasAddress : {true, false}) {
        if (!hasAddress) {
            bed_->namespaces.removeAddress();
        }
        const Outcome outcome = start(request());
        EXPECT_EQ(started_, Started::kFailed);
        EXPECT_EQ(outcome.output, "pEthName(eth0.2) get ip err!\n");
        EXPECT_EQ(outcome.errors, "");
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(StartRequest, an_absent_interface_is_one_without_an_address) {
    bed::ip("link del eth0.2");
    const Outcome outcome = start(request());
    EXPECT_EQ(started_, Started::kFailed);
    EXPECT_EQ(outcome.output, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
}

TEST_F(StartRequest, a_failed_send_is_reported) {
    bed_->namespaces.removeMulticastRoute();
    const Outcome outcome = start(request());
    EXPECT_EQ(started_, Started::kFailed);
    EXPECT_EQ(outcome.output, "pEthName(eth0.2) sendPacket err!\n");
    EXPECT_EQ(outcome.errors, "sendto(): Network is unreachable\n");
}

TEST_F(StartRequest, a_document_and_trailer_too_long_for_a_datagram_cannot_be_sent) {
    Request extended = request();
    const std::string trailer(70000, 'x');
    extended.trailer = trailer;
    const Outcome outcome = start(extended);
    EXPECT_EQ(started_, Started::kFailed);
    EXPECT_EQ(outcome.errors, "sendto(): Message too long\n");
}

TEST_F(StartRequest, a_failed_address_query_keeps_the_address_read_before) {
    start(request());
    bed_->namespaces.removeAddress();
    start(request());
    EXPECT_EQ(bed_->client->currentAddress.view(), bed::kControlAddress);
}

}  // namespace
