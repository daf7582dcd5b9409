#include "avoipctl/help.hpp"

#include <algorithm>
#include <string_view>
#include <vector>

#include "avoipctl/line.hpp"
#include "avoipctl/table.hpp"

namespace avoip::ctl {
namespace {

/// Subcommands that stand in one line; the group is named where it begins.
struct HelpLine {
    std::string_view group;
    std::string_view names;
    std::string_view about;
};

constexpr HelpLine kLines[] = {
    {"Look", "devices encoders decoders", "lists; --columns, --watch"},
    {"", "routes", "all; save FILE, load FILE, --watch"},
    {"", "health report", "how the daemon is; for a bug report"},
    {"Route", "matrix", "video: get, set, set-all, clear"},
    {"", "serial-matrix ir-matrix", "serial ports and IR: the same"},
    {"Walls", "wall", "grid, show, set, remove"},
    {"Set up", "alias", "names of devices: set, remove"},
    {"", "encoder decoder net serial", "get, set; set ID --NAME VALUE for one"},
    {"", "edid", "screens, encoders: get, set, set-all"},
    {"Care", "image", "what a firmware image is"},
    {"", "update", "ID... IMAGE, encoder, all-encoders, ..."},
    {"", "device", "showme, reboot, reboot-all, factory"},
    {"Else", "send", "any text of the console"},
};

bool contains(std::span<const std::string> names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text.append(text.empty() ? "" : ", ").append(word);
    }
    return text;
}

}  // namespace

std::string Help_screen(std::span<const std::string> names) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> left(names.begin(), names.end());
    for (const HelpLine& line : kLines) {
        std::vector<std::string> words = Line_words(line.names);
        std::erase_if(words, [&](const std::string& word) { return !contains(names, word); });
        std::erase_if(left, [&](const std::string& name) { return contains(words, name); });
        if (!words.empty()) {
            rows.push_back({std::string(line.group), joined(words), std::string(line.about)});
        }
    }
    if (!left.empty()) {
        rows.push_back({"More", joined(left), ""});
    }
    return "avoipctl talks to avoipd, the control daemon of an AV-over-IP system.\n"
           "Without a subcommand it is a prompt; \"avoipctl SUBCOMMAND --help\" says more.\n\n" +
           Table_print({}, rows) +
           "\nID is an identity or an alias. Options: --json, --timeout S, --host H, --port N,\n"
           "--version; --verify asks a change back; --yes where every device is concerned.\n"
           "--help-all says everything, with the exit statuses.\n";
}

}  // namespace avoip::ctl
