#include "avoipguard/sees/process.hpp"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "avoipguard/escape.hpp"
#include "lib/frontend/avoip_frontend.h"

namespace avoip::guard {

namespace {

namespace fs = std::filesystem;

std::string pathOf(pid_t pid, const char* name) {
    return "/proc/" + std::to_string(pid) + "/" + name;
}

/// The number that a text is; 0 for what is none.
template <typename Number>
Number numberIn(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : 0;
}

/// The names in a folder whose entries come and go while it is read; what was read until something
/// went wrong.
std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        names.push_back(entry->path().filename());
    }
    return names;
}

/// The inode in a link such as "socket:[4711]"; 0 in another one.
std::uint64_t socketIn(std::string_view link) {
    constexpr std::string_view kBegin = "socket:[";
    return link.starts_with(kBegin) && link.ends_with(']')
               ? numberIn<std::uint64_t>(
                     link.substr(kBegin.size(), link.size() - kBegin.size() - 1))
               : 0;
}

std::string firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::string userName(std::uint32_t user) {
    // cppcheck-suppress getpwuidCalled ; this program has one thread
    const passwd* const entry = ::getpwuid(user);
    return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

bool holds(pid_t pid, std::uint64_t inode) {
    return std::ranges::any_of(Process_descriptors(pid), [&](const OpenDescriptor& descriptor) {
        return descriptor.socket == inode;
    });
}

/// The first process that has the socket open; 0 when none can be seen.
pid_t holderOf(std::uint64_t inode) {
    if (inode != 0) {
        for (const std::string& name : namesIn("/proc")) {
            const auto pid = numberIn<pid_t>(name);
            if (pid > 0 && holds(pid, inode)) {
                return pid;
            }
        }
    }
    return 0;
}

}  // namespace

bool Process_isStopped(pid_t pid) {
    const std::string line = firstLine(pathOf(pid, "stat"));
    // The state stands behind the name, which may hold anything, ")" too.
    const std::size_t nameEnd = line.rfind(") ");
    const char state = nameEnd == std::string::npos ? '\0' : line[nameEnd + 2];
    return state == 'T' || state == 't';
}

std::vector<pid_t> Process_threads(pid_t pid) {
    std::vector<pid_t> threads;
    // The system lists them in this order.
    for (const std::string& name : namesIn(pathOf(pid, "task"))) {
        threads.push_back(numberIn<pid_t>(name));
    }
    return threads;
}

bool Process_hasThread(pid_t pid, pid_t thread) {
    return ::access((pathOf(pid, "task/") + std::to_string(thread)).c_str(), F_OK) == 0;
}

std::vector<OpenDescriptor> Process_descriptors(pid_t pid) {
    const std::string folder = pathOf(pid, "fd");
    std::vector<OpenDescriptor> found;
    for (const std::string& name : namesIn(folder)) {
        std::error_code error;
        const fs::path link = fs::read_symlink(folder + "/" + name, error);
        found.push_back({numberIn<int>(name), error ? 0 : socketIn(link.native())});
    }
    return found;
}

MemorySeen Process_memory(pid_t pid) {
    std::ifstream file(pathOf(pid, "statm"));
    std::size_t size = 0;
    std::size_t resident = 0;
    std::size_t shared = 0;
    std::size_t text = 0;
    std::size_t library = 0;
    std::size_t data = 0;
    file >> size >> resident >> shared >> text >> library >> data;
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return {size * page, data * page, (resident - std::min(shared, resident)) * page};
}

MappingsSeen Process_mappings(pid_t pid) {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "/SYSV%08x", unsigned{AVOIP_SEGMENT_KEY});
    MappingsSeen seen;
    std::ifstream file(pathOf(pid, "maps"));
    for (std::string line; std::getline(file, line);) {
        ++seen.count;
        int identifier = 0;
        // A segment's identifier stands where a file's inode does.
        if (line.find(name.data()) != std::string::npos &&
            std::sscanf(line.c_str(), "%*s %*s %*s %*s %d", &identifier) == 1) {
            seen.segments.push_back(identifier);
        }
    }
    return seen;
}

std::string Process_title(pid_t pid) {
    return "process " + std::to_string(pid) + " (" + Escape_line(firstLine(pathOf(pid, "comm"))) +
           ")";
}

const std::string& SocketOwner_find(SocketOwner& known, std::uint64_t inode, std::uint32_t user) {
    if (known.inode != inode || known.title.empty()) {
        const pid_t pid = holderOf(inode);
        known = {inode, pid > 0 ? Process_title(pid) : "a process of user " + userName(user)};
    }
    return known.title;
}

}  // namespace avoip::guard
