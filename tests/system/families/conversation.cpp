#include "system/families/conversation.hpp"

namespace families {

std::string request(std::string_view cmd, std::string_view device, std::string_view members) {
    std::string text = R"({"request":{"cmd":")";
    text.append(cmd).append(R"(","hostid":")").append(kHostid);
    text.append(R"(","device":[{"id":")").append(device).append(R"("}]})");
    if (!members.empty()) {
        text.append(",").append(members);
    }
    return text + "}";
}

std::string reply(std::string_view cmd, std::string_view data) {
    return bed::replyText(cmd, "success", kHostid, "anyone", data);
}

Conversation::Conversation() {
    session_.daemon.awaitOutput("Server: listening for client requests....\n");
    printed_ = session_.daemon.output().all();
}

void Conversation::expect(const Exchange& exchange) {
    SCOPED_TRACE(exchange.line);
    session_.segment.clear();
    session_.console.send(exchange.line);
    for (const std::string& datagram : exchange.heard) {
        EXPECT_EQ(session_.device.receive().text, datagram);
    }
    for (const std::string& text : exchange.replies) {
        session_.device.reply(text);
    }
    EXPECT_EQ(session_.segment.awaitAnswer(), exchange.answer);
    EXPECT_TRUE(session_.device.hasHeardNothing());
    printed_ += "pBuffData " + exchange.line + "\n" + exchange.printed;
    session_.daemon.output().awaitWhole(printed_);
}

void Conversation::expectRefused(const std::string& line, std::string_view failureName) {
    expect({.line = line, .answer = failure(failureName)});
}

void Conversation::TearDown() {
    // The next datagram is that of the next command: none came between.
    expect({.line = "device showme fence!",
            .heard = {request("device showme", "fence")},
            .answer = success("device showme")});
    EXPECT_EQ(session_.daemon.errors().all(), "");
}

}  // namespace families
