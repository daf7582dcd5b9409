// Commands that wait for one reply: which datagram decides, and what it must hold.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "bed/session.hpp"

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

constexpr std::string_view kHost = "001122aabbcc";
constexpr std::string_view kTx = "config get tx params";
constexpr std::string_view kRx = "config get rx params";
constexpr std::string_view kSerial = "serial get params";

/// An object with these keys, each with the value "v-" and the key; without the key `missing`.
std::string object(std::string_view name, const std::vector<std::string_view>& keys,
                   std::string_view missing = {}) {
    std::string members;
    for (const std::string_view key : keys) {
        if (key != missing) {
            members.append(members.empty() ? "\"" : ",\"").append(key).append("\":\"v-");
            members.append(key).append("\"");
        }
    }
    return "\"" + std::string(name) + "\":{" + members + "}";
}

const std::vector<std::string_view> kTxKeys{
    "deviceid",     "alias",          "enctype",    "encres",     "fps",
    "ratecontrol",  "bitrate",        "audioinput", "audiocodec", "audiofreq",
    "audiobitrate", "videoresstatus", "hdcpstatus"};
const std::vector<std::string_view> kRxKeys{
    "deviceid",   "alias",       "luma",           "contrast",  "hue",
    "saturation", "videoformat", "videoresstatus", "hdcpstatus"};

std::string txReply(std::string_view status = "success", std::string_view hostid = kHost,
                    std::string_view cmd = kTx) {
    return bed::replyText(cmd, status, hostid, "tx01", object("txparams", kTxKeys));
}

constexpr const char* kTxAnswer =
    R"({"ack":{"cmd":"config get tx params","status":"success"},"txparamsinfo":[{)"
    R"("alias":"v-alias","deviceid":"v-deviceid","enctype":"v-enctype","encres":"v-encres",)"
    R"("fps":"v-fps","ratecontrol":"v-ratecontrol","bitrate":"v-bitrate",)"
    R"("audioinput":"v-audioinput","audiocodec":"v-audiocodec","audiofreq":"v-audiofreq",)"
    R"("audiobitrate":"v-audiobitrate","videoresstatus":"v-videoresstatus",)"
    R"("hdcpstatus":"v-hdcpstatus"}]})";

class SingleReplyCommand : public testing::Test {
  protected:
    SingleReplyCommand() {
        session_.daemon.awaitOutput("Server: listening for client requests....\n");
        printed_ = session_.daemon.output().all();
    }

    std::string ask(std::string_view command, const Texts& replies) {
        session_.segment.clear();
        session_.console.send(std::string(command) + " tx01!");
        heard_ = session_.device.receive().text;
        for (const std::string& text : replies) {
            session_.device.reply(text);
        }
        return session_.segment.awaitAnswer();
    }

    void expectPrinted(std::string_view command, std::string_view lines) {
        printed_.append("pBuffData ").append(command).append(" tx01!\n").append(lines);
        session_.daemon.output().awaitWhole(printed_);
        EXPECT_EQ(session_.daemon.errors().all(), "");
    }

    static std::string failure(std::string_view command) {
        return R"({"ack":{"cmd":")" + std::string(command) + R"(","status":"failure"}})";
    }

    bed::Session session_;
    std::string heard_;
    std::string printed_;
};

TEST_F(SingleReplyCommand, a_matching_reply_is_the_answer) {
    EXPECT_EQ(ask(kTx, {txReply()}), kTxAnswer);
    EXPECT_EQ(heard_, R"({"request":{"cmd":"config get tx params","hostid":"001122aabbcc",)"
                      R"("device":[{"id":"tx01"}]}})");
    expectPrinted(kTx, "");
}

TEST_F(SingleReplyCommand, the_first_readable_ack_decides_though_a_match_follows) {
    for (const std::string& foreign :
         {txReply("success", kHost, "config get rx params"), txReply("failure"), txReply(""),
          txReply("success", "001122aabbcd"), txReply("success", "")}) {
        EXPECT_EQ(ask(kTx, {foreign, txReply()}), failure(kTx)) << foreign;
        expectPrinted(kTx, "Protocol_client_getEncodeParams err!\n");
        // The match stayed unread; the next command takes it.
        EXPECT_EQ(ask(kTx, {}), kTxAnswer);
        expectPrinted(kTx, "");
    }
}

TEST_F(SingleReplyCommand, unreadable_datagrams_are_skipped) {
    EXPECT_EQ(ask(kTx, {"hello", "{}",
                        R"({"ack":{"cmd":"config get tx params","status":"success",)"
                        R"("hostid":"001122aabbcc"}})",
                        txReply()}),
              kTxAnswer);
    expectPrinted(kTx, "cJSON_Parse err!\nget ack err!\nget deviceid err!\n");
}

TEST_F(SingleReplyCommand, without_a_reply_it_fails_after_three_seconds) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(kTx, {}), failure(kTx));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 3s);
    expectPrinted(kTx, "Protocol_client_getEncodeParams err!\n");
}

TEST_F(SingleReplyCommand, a_missing_key_fails_it_with_the_keys_line) {
    EXPECT_EQ(ask(kTx, {bed::replyText(kTx, "success", kHost, "tx01",
                                       object("txparams", kTxKeys, "fps"))}),
              failure(kTx));
    expectPrinted(kTx, "get deviceid err!\nProtocol_client_getEncodeParams err!\n");

    EXPECT_EQ(ask(kRx, {bed::replyText(kRx, "success", kHost, "tx01",
                                       object("rxparams", kRxKeys, "hue"))}),
              failure(kRx));
    expectPrinted(kRx, "get hue err!\nProtocol_client_getDecodeParams err!\n");

    EXPECT_EQ(ask(kRx, {bed::replyText(kRx, "success", kHost, "tx01",
                                       object("rxparams", kRxKeys, "hdcpstatus"))}),
              failure(kRx));
    expectPrinted(kRx, "get deviceid err!\nProtocol_client_getDecodeParams err!\n");
}

TEST_F(SingleReplyCommand, a_missing_object_is_reported_as_the_device) {
    const std::string reply = bed::replyText(kSerial, "success", kHost, "tx01");
    EXPECT_EQ(ask(kSerial, {reply}), failure(kSerial));
    expectPrinted(kSerial, R"({"request":{"cmd":"serial get params","hostid":"001122aabbcc",)"
                           R"("device":[{"id":"tx01"}]}})"
                           "\nrecv buf: " +
                               reply +
                               "\nget device err!\nProtocol_client_serial_getParams err!\n");
}

TEST_F(SingleReplyCommand, keys_match_in_any_case_and_long_values_are_cut) {
    std::string reply = txReply();
    for (const auto& [from, to] :
         {std::pair<std::string_view, std::string_view>{"\"ack\"", "\"ACK\""},
          {"\"cmd\"", "\"Cmd\""},
          {"\"txparams\"", "\"TxParams\""},
          {"\"fps\"", "\"FPS\""},
          {"v-encres", "1234567890123456789012345678901234567890"}}) {
        reply.replace(reply.find(from), from.size(), to);
    }
    std::string expected = kTxAnswer;
    expected.replace(expected.find("v-encres"), 8, "1234567890123456789012345678901");
    EXPECT_EQ(ask(kTx, {reply}), expected);
}

TEST_F(SingleReplyCommand, a_reply_to_another_connections_request_fails_it) {
    bed::Console second;
    session_.segment.clear();
    session_.console.send("config get tx params tx01!");
    session_.device.receive();
    second.send("config set rx params rx01 1 2 3 4 1!");
    // That device confirms what nobody waits for.
    session_.device.receive();
    EXPECT_NE(session_.segment.awaitAnswer().find("success"), std::string::npos);
    session_.segment.clear();
    session_.device.reply(bed::replyText("config set rx params", "success", kHost, "rx01"));
    EXPECT_EQ(session_.segment.awaitAnswer(), failure(kTx));
}

TEST_F(SingleReplyCommand, a_listing_command_skips_what_another_connection_waits_for) {
    bed::Console second;
    session_.segment.clear();
    session_.console.send("config get tx params tx01!");
    second.send("config get encoders!");
    session_.device.receive();
    session_.device.receive();
    // Whoever reads it: the one takes it for its answer, or the other skips it and it is lost.
    session_.device.reply(txReply());
    session_.console.send("first done!");
    second.send("second done!");
    session_.daemon.awaitOutput("done!\n");
    session_.daemon.awaitOutput("done!\n");
    EXPECT_TRUE(session_.daemon.isRunning());
    EXPECT_EQ(session_.daemon.errors().all(), "");
}

}  // namespace
