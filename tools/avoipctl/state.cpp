#include "avoipctl/state.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

constexpr std::string_view kDevicesFile = "devices";

// More than a network holds; a bound, so that the file cannot grow for ever.
constexpr std::size_t kDevicesMax = 4096;

std::filesystem::path stateFolder() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && state[0] == '/') {
        return std::filesystem::path(state) / "avoipctl";
    }
    const char* const home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') {
        return std::filesystem::path(home) / ".local/state/avoipctl";
    }
    return {};
}

bool isIdentity(const std::string& text) {
    return Arguments_problem(
               {.name = "", .kind = ArgumentKind::kIdentity, .summary = "", .example = ""}, text)
        .empty();
}

/// What is kept of lists of devices. In the file, a line for each: what was listed, as
/// "listed KIND", and the devices, as "KIND IDENTITY", each with "alias ALIAS" behind it where it
/// has one.
struct Memory {
    std::set<DeviceKind> listed;
    Fleet fleet;
    std::string last;  ///< the device of the line before
};

constexpr std::pair<DeviceKind, std::string_view> kKinds[] = {
    {DeviceKind::kAny, "device"},
    {DeviceKind::kEncoder, "encoder"},
    {DeviceKind::kDecoder, "decoder"},
};

std::string_view nameOf(DeviceKind kind) {
    return std::ranges::find(kKinds, kind, &std::pair<DeviceKind, std::string_view>::first)->second;
}

void readLine(Memory& memory, std::string_view line) {
    const std::string_view word = line.substr(0, line.find(' '));
    const std::string rest(line.substr(std::min(word.size() + 1, line.size())));
    for (const auto& [kind, name] : kKinds) {
        if (word == name && isIdentity(rest)) {
            memory.fleet[rest] = {.kind = kind};
            memory.last = rest;
        } else if (word == "listed" && rest == name) {
            memory.listed.insert(kind);
        }
    }
    if (word == "alias" && !memory.last.empty()) {
        memory.fleet[memory.last].alias = rest;
    }
}

Memory recall() {
    Memory memory;
    const std::filesystem::path path = State_file(kDevicesFile);
    if (path.empty()) {
        return memory;
    }
    std::ifstream file(path);
    for (std::string line; memory.fleet.size() < kDevicesMax && std::getline(file, line);) {
        readLine(memory, line);
    }
    return memory;
}

}  // namespace

std::filesystem::path State_file(std::string_view name) {
    const std::filesystem::path folder = stateFolder();
    std::error_code error;
    if (folder.empty()) {
        return {};
    }
    std::filesystem::create_directories(folder, error);
    return error ? std::filesystem::path() : folder / name;
}

std::vector<std::string> State_identities() {
    std::vector<std::string> identities;
    for (const auto& [identity, facts] : recall().fleet) {
        identities.push_back(identity);
    }
    return identities;
}

std::vector<std::string> State_aliases() {
    std::map<std::string, int> counts;
    for (const auto& [identity, facts] : recall().fleet) {
        ++counts[facts.alias];
    }
    std::vector<std::string> aliases;
    for (const auto& [alias, count] : counts) {
        if (!alias.empty() && count == 1 && alias.find('\'') == std::string::npos &&
            Printable_text(alias) == alias) {
            aliases.push_back(alias);
        }
    }
    return aliases;
}

bool State_isListed(std::string_view identity) {
    return Fleet_find(recall().fleet, identity) != nullptr;
}

void State_remember(const Command& listing, const Answer& answer) {
    Memory memory = recall();
    Fleet_learn(memory.fleet, listing, answer);
    memory.listed.insert(listing.lists);
    const std::filesystem::path path = State_file(kDevicesFile);
    if (path.empty()) {
        return;
    }
    std::ofstream file(path);
    for (const DeviceKind kind : memory.listed) {
        file << "listed " << nameOf(kind) << '\n';
    }
    for (const auto& [identity, facts] : memory.fleet) {
        if (isIdentity(identity)) {
            file << nameOf(facts.kind) << ' ' << identity << '\n';
            if (!facts.alias.empty() && facts.alias.find_first_of("\r\n") == std::string::npos) {
                file << "alias " << facts.alias << '\n';
            }
        }
    }
}

bool State_isMissing(const Argument& argument, std::string_view value) {
    if (argument.kind != ArgumentKind::kIdentity && argument.kind != ArgumentKind::kLastIdentity) {
        return false;
    }
    const Memory memory = recall();
    const bool listed =
        memory.listed.contains(DeviceKind::kAny) ||
        (argument.device != DeviceKind::kAny && memory.listed.contains(argument.device)) ||
        (memory.listed.contains(DeviceKind::kEncoder) &&
         memory.listed.contains(DeviceKind::kDecoder));
    return listed && Fleet_find(memory.fleet, value) == nullptr;
}

}  // namespace avoip::ctl
