#include "lib/health/health_reader.hpp"

#include <fstream>
#include <iterator>
#include <limits>

#include "lib/base/json.hpp"
#include "lib/health/state_folder.hpp"

namespace avoip {

namespace {

std::optional<std::time_t> timeOf(const std::string& text) {
    std::tm parts{};
    const char* const end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return end == nullptr || *end != '\0' ? std::nullopt : std::optional(::timegm(&parts));
}

/// A count; nothing for what is none.
std::optional<int> countOf(std::optional<double> number) {
    const bool fits = number && *number >= 0 && *number <= std::numeric_limits<int>::max();
    return fits ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

}  // namespace

std::optional<Health> Health_read(std::string_view text) {
    const Json root = Json_parse(text);
    const auto state = Health_stateNamed(Json_text(root.get(), "state").value_or(""));
    const auto reason = Json_text(root.get(), "reason");
    const auto since = timeOf(Json_text(root.get(), "since").value_or(""));
    const auto restarts = countOf(Json_number(root.get(), "restarts"));
    const auto daemon = countOf(Json_number(root.get(), "daemon_pid"));
    if (!state || !reason || !since || !restarts || !daemon) {
        return std::nullopt;
    }
    return Health{*state, *reason, *since, *restarts, *daemon};
}

std::optional<Health> Health_readFolder(const std::string& folder) {
    if (StateFolder_keeper(folder) == 0) {
        return std::nullopt;
    }
    std::ifstream file(folder + "/" + kStateFile);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    return Health_read(text);
}

}  // namespace avoip
