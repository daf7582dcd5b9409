// The device protocol as data, held against what daemon and devices were recorded to send.
#include "lib/wire/wire.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "bed/transcript.hpp"
#include "lib/base/json.hpp"

namespace avoip {
namespace {

using Keys = std::vector<std::string>;

/// The datagrams in the transcripts of whole sessions, by their direction.
struct Datagrams {
    std::vector<std::string> requests;
    std::vector<std::string> replies;
};

Datagrams recorded() {
    Datagrams all;
    for (const std::string& name : bed::sessionNames()) {
        for (const bed::Recorded& record : bed::records(name)) {
            for (const std::string& datagram : record.cable) {
                const bool request = datagram.starts_with("-> ");
                (request ? all.requests : all.replies)
                    .push_back(datagram.substr(datagram.find('{')));
            }
        }
    }
    return all;
}

Keys keys(const cJSON* object) {
    Keys found;
    for (const cJSON* member : Json_items(object)) {
        found.emplace_back(Json_key(member));
    }
    return found;
}

Keys texts(std::span<const std::string_view> names) {
    return {names.begin(), names.end()};
}

/// Expects the members of a document, behind its first one, to be those of the request: its record
/// where `carriesRecord`, and these texts.
void expectMembers(const cJSON* root, std::string first, const WireRequest& request,
                   bool carriesRecord, std::span<const std::string_view> textKeys) {
    Keys expected{std::move(first)};
    if (carriesRecord) {
        expected.emplace_back(request.record.key);
        EXPECT_EQ(keys(Json_find(root, request.record.key)), texts(request.record.fields))
            << request.cmd;
    }
    expected.insert(expected.end(), textKeys.begin(), textKeys.end());
    EXPECT_EQ(keys(root), expected) << request.cmd;
}

bool isGroup(std::string_view id) {
    return id == "All" || id == "All_TX" || id == "All_RX";
}

// What the protocol has and no command sends.
constexpr std::string_view kWithoutCommand[] = {"ir data", "update tx", "update rx"};

TEST(LibWire, every_recorded_request_is_described) {
    std::set<std::string> addressed;
    std::set<std::string> used;
    for (const std::string& text : recorded().requests) {
        const Json root = Json_parse(text);
        const cJSON* const envelope = Json_find(root.get(), "request");
        const WireRequest* const request = Wire_find(Json_text(envelope, "cmd").value_or(""));
        ASSERT_NE(request, nullptr) << text;
        used.emplace(request->cmd);
        EXPECT_EQ(keys(envelope), (Keys{"cmd", "hostid", "device"}));
        expectMembers(root.get(), "request", *request, request->act == WireAct::kSets,
                      request->texts);
        for (const cJSON* entry : Json_items(Json_find(envelope, "device"))) {
            const std::string id = Json_text(entry, "id").value_or("");
            addressed.insert(std::string(request->cmd) + " " + id);
            if (isGroup(id) && request->exchange != WireExchange::kOneWay) {
                EXPECT_EQ(std::ranges::count(request->groups, id), 1) << text;
            }
        }
    }
    for (const WireRequest& request : Wire_requests()) {
        const bool hasCommand = std::ranges::count(kWithoutCommand, request.cmd) == 0;
        EXPECT_TRUE(used.contains(std::string(request.cmd)) || !hasCommand) << request.cmd;
        for (const std::string_view group : request.groups) {
            const std::string use = std::string(request.cmd) + " " + std::string(group);
            EXPECT_TRUE(addressed.contains(use)) << use;
        }
    }
}

TEST(LibWire, every_recorded_reply_is_described) {
    std::set<std::string> used;
    for (const std::string& text : recorded().replies) {
        const Json root = Json_parse(text);
        const cJSON* const ack = Json_find(root.get(), "ack");
        EXPECT_EQ(keys(ack), texts(kAckFields));
        const WireRequest* const request = Wire_find(Json_text(ack, "cmd").value_or(""));
        ASSERT_NE(request, nullptr) << text;
        used.emplace(request->cmd);
        EXPECT_EQ(request->act, WireAct::kReads) << text;
        expectMembers(root.get(), "ack", *request, true, {});
    }
    for (const WireRequest& request : Wire_requests()) {
        EXPECT_EQ(used.contains(std::string(request.cmd)), request.act == WireAct::kReads)
            << request.cmd;
    }
}

TEST(LibWire, only_what_is_replied_to_is_waited_for) {
    for (const WireRequest& request : Wire_requests()) {
        const bool replied = request.act == WireAct::kReads || request.act == WireAct::kUploads;
        EXPECT_EQ(request.exchange != WireExchange::kOneWay, replied) << request.cmd;
        EXPECT_EQ(request.exchange == WireExchange::kCollecting,
                  request.cmd == "config get device");
    }
}

TEST(LibWire, a_request_has_a_record_or_texts_or_is_an_order) {
    for (const WireRequest& request : Wire_requests()) {
        const bool hasRecord = !request.record.key.empty();
        EXPECT_EQ(hasRecord, !request.record.fields.empty()) << request.cmd;
        EXPECT_EQ(hasRecord, request.act == WireAct::kReads || request.act == WireAct::kSets ||
                                 request.act == WireAct::kClears)
            << request.cmd;
        EXPECT_FALSE(hasRecord && !request.texts.empty()) << request.cmd;
    }
}

TEST(LibWire, every_request_is_found_by_its_cmd_alone) {
    std::set<std::string_view> seen;
    for (const WireRequest& request : Wire_requests()) {
        EXPECT_TRUE(seen.insert(request.cmd).second) << request.cmd;
        EXPECT_EQ(Wire_find(request.cmd), &request);
    }
    EXPECT_EQ(Wire_find("matrix"), nullptr);
    EXPECT_EQ(Wire_find("Matrix get"), nullptr);
    EXPECT_EQ(Wire_find(""), nullptr);
}

}  // namespace
}  // namespace avoip
