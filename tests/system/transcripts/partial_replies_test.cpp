// What each command makes of a reply that lacks something, as tests/transcripts/partial holds it.
// With AVOIP_REBUILD_TRANSCRIPTS in the environment it is written instead.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bed/device.hpp"
#include "bed/transcript.hpp"
#include "lib/base/json.hpp"
#include "system/transcripts/play.hpp"

namespace {

/// A line, and the reply to the one request that it sends.
struct Asked {
    std::string line;
    std::string reply;
};

/// The recorded lines that wait for the reply of one device, one for each kind of request.
std::vector<Asked> questions() {
    std::vector<Asked> questions;
    std::set<std::string> cmds{"config get device"};
    for (const bed::Recorded& record : bed::allRecords()) {
        if (record.cable.size() != 2 || !record.cable.back().starts_with("<- ")) {
            continue;
        }
        const std::string& datagram = record.cable.back();
        const std::string reply = datagram.substr(datagram.find('{'));
        const avoip::Json root = avoip::Json_parse(reply);
        const cJSON* const ack = avoip::Json_find(root.get(), "ack");
        if (cmds.insert(avoip::Json_text(ack, "cmd").value_or("")).second) {
            questions.push_back({record.line, reply});
        }
    }
    return questions;
}

/// The reply without its data, and then without each member of its data.
std::vector<std::string> partsOf(const std::string& reply) {
    std::vector<std::string> parts;
    const avoip::Json whole = avoip::Json_parse(reply);
    for (const cJSON* object : avoip::Json_items(whole.get())) {
        const std::string key(avoip::Json_key(object));
        if (key == "ack") {
            continue;
        }
        const avoip::Json without = avoip::Json_parse(reply);
        avoip::Json_remove(without.get(), avoip::Json_find(without.get(), key));
        parts.push_back(avoip::Json_print(without.get()));
        for (const cJSON* member : avoip::Json_items(object)) {
            const avoip::Json part = avoip::Json_parse(reply);
            cJSON* const data = avoip::Json_find(part.get(), key);
            avoip::Json_remove(data, avoip::Json_find(data, avoip::Json_key(member)));
            parts.push_back(avoip::Json_print(part.get()));
        }
    }
    return parts;
}

TEST(PartialReplies, lead_to_what_is_written) {
    Play play;
    bed::Device device(play.namespaces());
    std::string text = "# What is asked of one device, with replies that lack something.\n";
    for (const Asked& asked : questions()) {
        for (const std::string& part : partsOf(asked.reply)) {
            const std::jthread answering([&] {
                device.receive();
                device.reply(part);
            });
            text += "\n" + bed::textOf(play.exchange(asked.line));
        }
    }
    bed::expectTranscript("partial/replies", text);
}

}  // namespace
