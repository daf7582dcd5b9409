// The commands that list devices, as a conversation between console, daemon, devices and segment.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "bed/device_reply.hpp"
#include "bed/session.hpp"

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

constexpr std::string_view kListening = "Server: listening for client requests....\n";

/// The answer's object for the device `id`.
std::string listed(std::string_view id) {
    std::string members = R"({"hostid":")" + std::string(id) + '"';
    for (const char* key : {"devtype", "alias", "devaddr", "devnetmask", "devgateway", "devmac",
                            "status", "version"}) {
        members.append(",\"")
            .append(key)
            .append("\":\"")
            .append(bed::deviceValue(id, key))
            .append("\"");
    }
    return members + '}';
}

std::string answerOf(std::string_view cmd, const Texts& ids) {
    std::string list;
    for (const std::string& id : ids) {
        list.append(list.empty() ? "" : ",").append(listed(id));
    }
    return R"({"ack":{"cmd":")" + std::string(cmd) + R"(","status":"success"},"devicelist":[)" +
           list + "]}";
}

class Inventory : public testing::Test {
  protected:
    /// Sends the command; the devices answer its request with `replies`.
    std::string ask(std::string_view line, const Texts& replies) {
        session_.segment.clear();
        // The first ones stand there already when the daemon asks, so that it never meets half a
        // second of silence before them, however slow the machine is.
        const std::span all(replies);
        const std::size_t atOnce = std::min<std::size_t>(all.size(), 32);
        for (const std::string& text : all.first(atOnce)) {
            session_.device.reply(text);
        }
        session_.console.send(line);
        request_ = session_.device.receive().text;
        session_.device.replyAll(all.subspan(atOnce));
        return session_.segment.awaitAnswer();
    }

    std::string askForDevices(const Texts& replies) { return ask("config get devices!", replies); }

    void expectPrinted(std::string_view lines) {
        const std::string end =
            std::string(kListening) + "pBuffData config get devices!\n" + std::string(lines);
        session_.daemon.awaitOutput(end);
        EXPECT_TRUE(session_.daemon.output().all().ends_with(end)) << "there is more";
        EXPECT_EQ(session_.daemon.errors().all(), "");
    }

    bed::Session session_;
    std::string request_;
};

TEST_F(Inventory, each_command_asks_its_group_and_lists_whatever_answers) {
    const std::vector<std::pair<std::string, std::string>> commands{
        {"config get devices", "All"},
        {"config get encoders", "All_TX"},
        {"config get decoders", "All_RX"}};
    for (const auto& [command, group] : commands) {
        const std::string answer =
            ask(command + "!",
                {bed::deviceReply("rx09"), bed::deviceReply("tx01"), bed::deviceReply("rx02")});
        EXPECT_EQ(request_, R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
                            R"("device":[{"id":")" +
                                group + R"("}]}})");
        EXPECT_EQ(answer, answerOf(command, {"rx09", "tx01", "rx02"}));
    }
    EXPECT_TRUE(session_.device.hasHeardNothing()) << "one request each";
}

TEST_F(Inventory, without_devices_the_list_is_empty_after_half_a_second) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(askForDevices({}),
              R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[]})");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 500ms);
    expectPrinted("");
}

TEST_F(Inventory, a_device_that_answers_twice_is_listed_twice) {
    EXPECT_EQ(askForDevices({bed::deviceReply("a"), bed::deviceReply("b"), bed::deviceReply("a"),
                             bed::deviceReply("c")}),
              answerOf("config get devices", {"a", "b", "a", "c"}));
    expectPrinted("");
}

TEST_F(Inventory, replies_to_other_requests_and_failed_ones_are_not_listed) {
    EXPECT_EQ(askForDevices({bed::deviceReply("a", "failure"),
                             bed::deviceReply("b", "success", "ffffffffffff"),
                             bed::deviceReply("c", "success", "001122aabbcc", "config get devices"),
                             bed::deviceReply("d")}),
              answerOf("config get devices", {"d"}));
    expectPrinted("");
}

TEST_F(Inventory, unreadable_datagrams_are_reported_and_skipped) {
    Texts replies{"hello", R"({"device":{}})", R"({"ack":{"status":"success"}})"};
    replies.emplace_back(R"({"ack":{"cmd":"config get device"}})");
    replies.emplace_back(R"({"ack":{"cmd":"config get device","status":"success"}})");
    replies.emplace_back(R"({"ack":{"cmd":"","status":"success","hostid":"001122aabbcc"}})");
    replies.push_back(bed::deviceReply("a"));
    EXPECT_EQ(askForDevices(replies), answerOf("config get devices", {"a"}));
    expectPrinted(
        "cJSON_Parse err!\n"
        "get ack err!\n"
        "get cmd err!\n"
        "get status err!\n"
        "get hostid err!\n"
        "get deviceid err!\n");
}

TEST_F(Inventory, a_record_that_lacks_something_is_reported_and_skipped) {
    Texts replies;
    std::string printed;
    for (const std::string_view key : bed::kDeviceKeys) {
        replies.push_back(bed::replyText(bed::kDiscoveryCmd, "success", "001122aabbcc", "x",
                                         bed::deviceMember("x", key)));
        printed.append("get ").append(key).append(" err!\n");
    }
    replies.push_back(bed::replyText(bed::kDiscoveryCmd, "success", "001122aabbcc", "x"));
    replies.push_back(bed::deviceReply("whole"));
    EXPECT_EQ(askForDevices(replies), answerOf("config get devices", {"whole"}));
    expectPrinted(printed + "get device err!\n");
}

TEST_F(Inventory, values_are_cut_to_31_characters_and_those_of_other_types_are_empty) {
    const std::string value = "1234567890123456789012345678901234567890";
    const std::string member = R"("DEVICE":{"version":"1","VERSION":"2","Status":"offline",)"
                               R"("devmac":5,"devgateway":null,"devnetmask":true,"devaddr":{},)"
                               R"("devtype":[],"alias":")" +
                               value + R"(","deviceid":"say \"hi\""})";
    EXPECT_EQ(
        askForDevices({bed::replyText(bed::kDiscoveryCmd, "success", "001122aabbcc", "x", member)}),
        R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[{)"
        R"("hostid":"say \"hi\"","devtype":"","alias":")" +
            value.substr(0, 31) +
            R"(","devaddr":"","devnetmask":"","devgateway":"","devmac":"","status":"offline",)"
            R"("version":"1"}]})");
}

TEST_F(Inventory, it_lists_1024_devices_and_no_more) {
    Texts replies;
    Texts ids;
    for (int i = 0; i < 1100; ++i) {
        const std::string id = "d" + std::to_string(i);
        replies.push_back(bed::deviceReply(id));
        if (i < 1024) {
            ids.push_back(id);
        }
    }
    EXPECT_EQ(askForDevices(replies), answerOf("config get devices", ids));
}

TEST_F(Inventory, replies_that_find_no_room_are_not_left_to_the_next_command) {
    Texts replies;
    for (int i = 0; i < 1400; ++i) {
        replies.push_back(bed::deviceReply("d" + std::to_string(i)));
    }
    askForDevices(replies);
    session_.segment.clear();
    session_.console.send("matrix get rx01!");
    session_.device.receive();
    session_.device.reply(bed::replyText("matrix get", "success", "001122aabbcc", "rx01",
                                         R"("rxsource":{"rxid":"rx01","txid":"tx03"})"));
    EXPECT_EQ(session_.segment.awaitAnswer(), R"({"ack":{"cmd":"matrix get","status":"success"},)"
                                              R"("rxsource":[{"rxid":"rx01","txid":"tx03"}]})");
}

TEST_F(Inventory, records_full_to_the_brim_are_answered_whole) {
    Texts replies;
    std::string list;
    const std::string value(31, 'v');
    for (int i = 0; i < 1024; ++i) {
        std::string members;
        for (const std::string_view key : bed::kDeviceKeys) {
            members.append(members.empty() ? "\"" : ",\"").append(key).append("\":\"");
            members.append(value).append("\"");
        }
        replies.push_back(bed::replyText(bed::kDiscoveryCmd, "success", "001122aabbcc", "x",
                                         "\"device\":{" + members + "}"));
    }
    const std::string answer = askForDevices(replies);
    std::size_t values = 0;
    for (std::size_t at = answer.find(value); at != std::string::npos;
         at = answer.find(value, at + value.size())) {
        ++values;
    }
    EXPECT_EQ(values, 1024U * 9U);
    EXPECT_TRUE(answer.ends_with(value + "\"}]}"));
}

TEST_F(Inventory, the_line_must_be_the_command_exactly) {
    for (const char* line : {"config get devices !", "config get device!", "config get devicesx!",
                             "config get Devices!", "config  get devices!"}) {
        EXPECT_EQ(session_.segment.ask(session_.console, line),
                  R"({"ack":{"cmd":")" + std::string(line) + R"(","status":"failure"}})");
    }
    askForDevices({});
    EXPECT_TRUE(session_.device.hasHeardNothing()) << "only the last line reached the devices";
}

TEST_F(Inventory, a_line_without_its_mark_is_no_command) {
    // Without a mark a line is complete when 4,095 bytes have come.
    const std::string line = "config get devices" + std::string(4095 - 18, '\n');
    EXPECT_EQ(session_.segment.ask(session_.console, line),
              R"({"ack":{"cmd":"config get devices","status":"failure"}})");
    EXPECT_TRUE(session_.device.hasHeardNothing());
}

}  // namespace
