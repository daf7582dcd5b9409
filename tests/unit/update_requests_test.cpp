// The two requests that carry update data inside the device protocol: their bytes and what their
// replies make of them.
#include "commands/update.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bed/device.hpp"
#include "client_bed.hpp"

namespace {

using namespace std::chrono_literals;

constexpr const char* kUnreadable = "no JSON";

std::string document(const std::string& cmd, const std::string& members) {
    return R"({"request":{"cmd":")" + cmd +
           R"(","hostid":"001122aabbcc","device":[{"id":"tx01"}]})" + members + "}";
}

std::string replyTo(const std::string& cmd) {
    return bed::replyText(cmd, "success", kHostIdentity, "tx01");
}

struct Exchange {
    std::string heard;
    Outcome outcome;
};

class UpdateRequest : public testing::Test {
  protected:
    std::int32_t updateTx(std::string_view data = "data") {
        return Protocol_client_updateTx(bed_.client, device_, 7, data.data(),
                                        static_cast<std::int32_t>(data.size()));
    }
    std::int32_t updateRx(const char* data = "data", std::int32_t length = 4) {
        return Protocol_client_updateRx(bed_.client, device_, 7, data, length);
    }

    /// The request with a device that hears it and sends these replies.
    Outcome talkTx(const std::vector<std::string>& replies) {
        return runRequest([this] { return updateTx(); }, [&] { replyAll(replies); });
    }
    Outcome talkRx(const std::vector<std::string>& replies) {
        return runRequest([this] { return updateRx(); }, [&] { replyAll(replies); });
    }

    /// The request with a device that acknowledges it.
    Exchange acknowledge(const std::string& cmd, const std::function<std::int32_t()>& request) {
        Exchange exchange;
        exchange.outcome = runRequest(request, [&] {
            exchange.heard = bed_.device.receive().text;
            bed_.device.reply(replyTo(cmd));
        });
        return exchange;
    }

    ClientBed bed_;
    const DeviceId device_ = deviceId("tx01");

  private:
    void replyAll(const std::vector<std::string>& replies) {
        bed_.device.receive();
        for (const std::string& reply : replies) {
            bed_.device.reply(reply);
        }
    }
};

using UpdateTx = UpdateRequest;
using UpdateRx = UpdateRequest;

void expectFailure(const Outcome& outcome, const std::string& output) {
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.errors, "");
}

void expectSuccess(const Outcome& outcome, const std::string& output) {
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(UpdateTx, is_the_document_a_line_end_and_the_raw_bytes) {
    const std::string data("\0raw \"bytes\" \xFF\r\n\0", 17);
    const Exchange exchange = acknowledge("update tx", [&] { return updateTx(data); });
    EXPECT_EQ(exchange.heard,
              document("update tx", R"(,"count":"7","length":"17")") + "\r\n" + data);
    expectSuccess(exchange.outcome, "");
}

TEST_F(UpdateTx, may_carry_no_bytes) {
    const Exchange exchange = acknowledge("update tx", [&] { return updateTx(""); });
    EXPECT_EQ(exchange.heard, document("update tx", R"(,"count":"7","length":"0")") + "\r\n");
}

TEST_F(UpdateTx, passes_negative_numbers_on_and_carries_no_bytes_then) {
    const Exchange exchange = acknowledge("update tx", [&] {
        return Protocol_client_updateTx(bed_.client, device_, -2147483647 - 1, "data", -1);
    });
    EXPECT_EQ(exchange.heard,
              document("update tx", R"(,"count":"-2147483648","length":"-1")") + "\r\n");
}

TEST_F(UpdateTx, sends_as_many_bytes_as_it_says) {
    const Exchange exchange = acknowledge("update tx", [&] {
        return Protocol_client_updateTx(bed_.client, device_, 7, "data and more", 4);
    });
    EXPECT_EQ(exchange.heard, document("update tx", R"(,"count":"7","length":"4")") + "\r\ndata");
}

TEST_F(UpdateTx, fills_a_datagram_of_1500_bytes_and_no_more) {
    const std::size_t frame = document("update tx", R"(,"count":"7","length":"1234")").size() + 2;
    const std::string data(1500 - frame, 'd');
    const Exchange exchange = acknowledge("update tx", [&] { return updateTx(data); });
    expectSuccess(exchange.outcome, "");
    EXPECT_EQ(exchange.heard.size(), 1500U);
    expectFailure(runRequest([&] { return updateTx(data + "d"); }),
                  "update tx: a datagram of 1501 bytes is too long: at most 1500\n");
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(UpdateTx, passes_over_datagrams_that_cannot_be_read) {
    expectSuccess(talkTx({kUnreadable, R"({"ack":{"cmd":"update tx"}})", replyTo("update tx")}),
                  "cJSON_Parse err!\nget status err!\n");
}

TEST_F(UpdateTx, is_given_a_second) {
    const Outcome outcome = talkTx({});
    expectFailure(outcome, "");
    EXPECT_GE(outcome.took, 1s);
}

TEST_F(UpdateRx, is_the_document_alone_with_the_data_in_it) {
    const Exchange exchange = acknowledge("update rx", [&] { return updateRx("a \"b\"", 99); });
    EXPECT_EQ(exchange.heard,
              document("update rx", R"(,"count":"7","length":"99","data":"a \"b\"")"));
    expectSuccess(exchange.outcome, "");
}

TEST_F(UpdateRx, passes_negative_numbers_on) {
    const Exchange exchange = acknowledge("update rx", [&] {
        return Protocol_client_updateRx(bed_.client, device_, -2147483647 - 1, "", -1);
    });
    EXPECT_EQ(exchange.heard,
              document("update rx", R"(,"count":"-2147483648","length":"-1","data":"")"));
}

TEST_F(UpdateRx, may_be_longer_than_1500_bytes) {
    const std::string data(5000, 'd');
    const Exchange exchange = acknowledge("update rx", [&] { return updateRx(data.c_str()); });
    expectSuccess(exchange.outcome, "");
    EXPECT_EQ(exchange.heard,
              document("update rx", R"(,"count":"7","length":"4","data":")" + data + '"'));
}

TEST_F(UpdateRx, ends_at_a_datagram_that_cannot_be_read) {
    expectFailure(talkRx({kUnreadable, replyTo("update rx")}), "cJSON_Parse err!\n");
}

TEST_F(UpdateRx, ends_at_a_datagram_without_a_whole_ack) {
    expectFailure(talkRx({"{}", replyTo("update rx")}), "get ack err!\n");
}

TEST_F(UpdateRx, is_given_a_second) {
    const Outcome outcome = talkRx({});
    expectFailure(outcome, "");
    EXPECT_GE(outcome.took, 1s);
}

// An ack that ends either request, although the right one comes after it.
class UpdateAck : public UpdateRequest, public testing::WithParamInterface<const char*> {
  protected:
    static std::string decidingAck(const std::string& cmd) {
        const std::string what = GetParam();
        return bed::replyText(what == "cmd" ? "update" : cmd,
                              what == "status" ? "failure" : "success",
                              what == "hostid" ? "001122aabbcd" : kHostIdentity, "tx01");
    }
};

TEST_P(UpdateAck, that_is_foreign_or_failed_ends_the_request) {
    expectFailure(talkTx({decidingAck("update tx"), replyTo("update tx")}), "");
}

TEST_P(UpdateAck, that_is_foreign_or_failed_ends_the_other_request) {
    expectFailure(talkRx({decidingAck("update rx"), replyTo("update rx")}), "");
}

INSTANTIATE_TEST_SUITE_P(By, UpdateAck, testing::Values("cmd", "status", "hostid"),
                         [](const auto& each) { return each.param; });

TEST_F(UpdateRequest, takes_the_ack_of_any_device) {
    const std::string reply = bed::replyText("update tx", "success", kHostIdentity, "other");
    expectSuccess(talkTx({reply}), "");
}

// Both requests, each of which must end in the same way.
class UpdateEither : public UpdateRequest {
  protected:
    void expectBoth(std::int32_t result, const std::string& output) {
        for (const Outcome& outcome : {runRequest([this] { return updateTx(); }),
                                       runRequest([this] { return updateRx(); })}) {
            EXPECT_EQ(outcome.result, result);
            EXPECT_EQ(outcome.output, output);
        }
        EXPECT_TRUE(bed_.device.hasHeardNothing());
    }
};

TEST_F(UpdateEither, succeeds_at_once_while_the_client_skips_requests) {
    bed_.client->state = 3;
    expectBoth(0, "");
}

TEST_F(UpdateEither, fails_in_any_other_state) {
    bed_.client->state = 5;
    expectBoth(-1, "client state(5) err!\n");
}

TEST_F(UpdateEither, fails_without_an_address) {
    bed_.namespaces.removeAddress();
    expectBoth(-1, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
}

TEST_F(UpdateEither, fails_when_it_cannot_be_sent) {
    bed_.namespaces.removeMulticastRoute();
    expectBoth(-1, "pEthName(eth0.2) sendPacket err!\n");
}

}  // namespace
