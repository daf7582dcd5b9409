// A fleet without a network, for unit tests: told what is heard, asked what it answers.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "avoipsim/fleet.hpp"

namespace avoip::sim {

inline const Clock::time_point kStart{std::chrono::hours(1)};

inline std::string requestText(const std::string& cmd, const std::string& devices,
                               const std::string& data = "") {
    return R"({"request":{"cmd":")" + cmd + R"(","hostid":"001122aabbcc","device":[)" + devices +
           "]}" + (data.empty() ? "" : "," + data) + "}";
}

inline std::string device(const std::string& id) {
    return R"({"id":")" + id + R"("})";
}

inline std::string ack(const std::string& cmd, const std::string& id) {
    return R"({"ack":{"cmd":")" + cmd + R"(","status":"success","hostid":"001122aabbcc",)" +
           R"("deviceid":")" + id + R"("})";
}

class AvoipsimFleet : public testing::Test {
  protected:
    AvoipsimFleet() { fleet.log.file.reset(std::tmpfile()); }

    void make(int encoders, int decoders) {
        fleet.options.encoders = encoders;
        fleet.options.decoders = decoders;
        std::string problem;
        ASSERT_TRUE(Fleet_make(fleet, problem)) << problem;
    }

    std::vector<Reply> hear(const std::string& datagram, Clock::time_point now = kStart) {
        return Fleet_hear(fleet, datagram, "10.77.0.1", now);
    }

    /// The identities, in order, of the devices that reply.
    std::vector<std::string> answering(const std::string& datagram,
                                       Clock::time_point now = kStart) {
        std::vector<std::string> ids;
        for (const Reply& reply : hear(datagram, now)) {
            const Json root = Json_parse(reply.text);
            const cJSON* object = Json_find(root.get(), "ack");
            ids.push_back(Json_text(object, "deviceid").value_or("?"));
        }
        return ids;
    }

    /// The one reply to a request to one device; empty where there is none.
    std::string ask(const std::string& cmd, const std::string& id, const std::string& data = "") {
        const std::vector<Reply> replies = hear(requestText(cmd, device(id), data));
        EXPECT_LE(replies.size(), 1U);
        return replies.empty() ? "" : replies.front().text;
    }

    /// A request that must have no reply.
    void tell(const std::string& cmd, const std::string& id, const std::string& data = "") {
        EXPECT_EQ(ask(cmd, id, data), "") << cmd;
    }

    std::string logText() {
        std::string text;
        std::rewind(fleet.log.file.get());
        for (int byte = 0; (byte = std::fgetc(fleet.log.file.get())) != EOF;) {
            text += static_cast<char>(byte);
        }
        return text;
    }

    std::vector<Json> logLines() {
        std::vector<Json> lines;
        std::istringstream text(logText());
        for (std::string line; std::getline(text, line);) {
            lines.push_back(Json_parse(line));
        }
        return lines;
    }

    Fleet fleet;
};

}  // namespace avoip::sim
