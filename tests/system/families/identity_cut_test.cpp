// Identities that are too long for their field and patterns too: which comes first, the cut at 31
// characters or the expansion.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bed/session.hpp"

namespace {

/// A command line around the identity.
struct Line {
    const char* before;
    const char* behind = "!";
};

const std::vector<Line> kCutFirst = {
    {"config get rx edid "},  {"config set tx edid ", " 00!"},
    {"matrix get "},          {"matrix set tx01 "},
    {"matrix clear "},        {"serial get params "},
    {"serial matrix get "},   {"serial set params ", " 1 2 3 4!"},
    {"serial matrix clear "}, {"serial matrix set tx01 "},
    {"ir matrix get "},       {"serial data ", " 00!"},
    {"ir matrix clear "},     {"ir matrix set tx01 "},
    {"vw remove "},           {"vw set 1 2 3 4 5 6 7 8 TX-01 "},
    {"device showme "},       {"device reboot "},
    {"device factory "},
};

const std::vector<Line> kExpandedFirst = {
    {"config set device alias ", " name!"},
    {"config remove device alias "},
    {"config get tx params "},
    {"config set tx params ", " H264 1080p 30 CBR 4000 hdmi aac 48000 128!"},
    {"config get rx params "},
    {"config set rx params ", " 50 50 50 50 1!"},
    {"config get net params "},
    {"config set net params ", " 1 1 10.0.0.9 255.0.0.0 10.0.0.254!"},
};

/// Expects each line, with `typed` for its identity, to be sent to `device`. Each goes over a
/// connection of its own: some wait for a reply, which never comes.
void expectAddressed(const std::vector<Line>& lines, const std::string& typed,
                     const std::string& device) {
    bed::Session session;
    for (const auto& [before, behind] : lines) {
        bed::Console console;
        console.send(before + typed + behind);
        const std::string heard = session.device.receive().text;
        EXPECT_NE(heard.find(R"("device":[{"id":")" + device + R"("}])"), std::string::npos)
            << before << "has sent " << heard;
        if (heard.find("serial matrix set") != std::string::npos) {
            session.device.receive();  // for the other end
        }
    }
}

TEST(LongPattern, is_cut_before_it_is_expanded_where_its_field_has_room_for_31_characters) {
    expectAddressed(kCutFirst, std::string(40, '%'), std::string(15, '%'));
    expectAddressed(kCutFirst, std::string(30, 'a') + "%%bcd", std::string(30, 'a'));
}

TEST(LongPattern, is_expanded_before_it_is_cut_where_the_identity_is_held_whole) {
    expectAddressed(kExpandedFirst, std::string(40, '%'), std::string(20, '%'));
    expectAddressed(kExpandedFirst, std::string(30, 'a') + "%%bcd", std::string(30, 'a') + "%");
}

}  // namespace
