#include "avoipctl/state.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "avoipctl/arguments.hpp"

namespace avoip::ctl {
namespace {

constexpr std::string_view kIdentitiesFile = "devices";

// More than a network holds; a bound, so that the file cannot grow for ever.
constexpr std::size_t kIdentitiesMax = 4096;

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

/// Sorted, each once.
void tidy(std::vector<std::string>& identities) {
    std::ranges::sort(identities);
    identities.erase(std::unique(identities.begin(), identities.end()), identities.end());
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
    const std::filesystem::path path = State_file(kIdentitiesFile);
    if (path.empty()) {
        return identities;
    }
    std::ifstream file(path);
    for (std::string line; identities.size() < kIdentitiesMax && std::getline(file, line);) {
        if (isIdentity(line)) {
            identities.push_back(line);
        }
    }
    tidy(identities);
    return identities;
}

void State_remember(std::span<const std::string> identities, bool replace) {
    std::vector<std::string> all;
    if (!replace) {
        all = State_identities();
    }
    std::ranges::copy_if(identities, std::back_inserter(all), isIdentity);
    tidy(all);
    const std::filesystem::path path = State_file(kIdentitiesFile);
    if (path.empty()) {
        return;
    }
    std::ofstream file(path);
    for (const std::string& identity : all) {
        file << identity << '\n';
    }
}

}  // namespace avoip::ctl
