#include "gateway/metrics/process.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace avoip::gw {
namespace {

/// The numbers of /proc/self/stat behind the program's name: from the third field, the state, on.
std::istringstream statFields() {
    std::ifstream file("/proc/self/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const std::size_t name = text.rfind(')');
    return std::istringstream(name == std::string::npos ? "" : text.substr(name + 1));
}

/// The seconds since 1970 at which the system started.
double bootTime() {
    std::ifstream file("/proc/stat");
    for (std::string word; file >> word;) {
        double seconds = 0;
        if (word == "btime" && file >> seconds) {
            return seconds;
        }
    }
    return 0;
}

double openDescriptors() {
    std::error_code error;
    double count = 0;
    for (std::filesystem::directory_iterator at("/proc/self/fd", error), end; !error && at != end;
         at.increment(error)) {
        ++count;
    }
    // The one that the counting itself has open is none of ours.
    return count > 0 ? count - 1 : 0;
}

}  // namespace

ProcessFacts Process_read() {
    // Of the fields behind the name: user and system time, start time, sizes.
    constexpr int kUserTime = 11;
    constexpr int kSystemTime = 12;
    constexpr int kStartTime = 19;
    constexpr int kVirtualSize = 20;
    constexpr int kResidentPages = 21;
    ProcessFacts facts;
    const auto ticks = static_cast<double>(::sysconf(_SC_CLK_TCK));
    std::istringstream fields = statFields();
    std::string field;
    for (int at = 0; fields >> field && at <= kResidentPages; ++at) {
        const double value = std::strtod(field.c_str(), nullptr);
        if (at == kUserTime || at == kSystemTime) {
            facts.cpu_s += value / ticks;
        } else if (at == kStartTime) {
            facts.startTime_s = bootTime() + value / ticks;
        } else if (at == kVirtualSize) {
            facts.virtual_bytes = value;
        } else if (at == kResidentPages) {
            facts.resident_bytes = value * static_cast<double>(::sysconf(_SC_PAGESIZE));
        }
    }
    facts.openDescriptors = openDescriptors();
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        facts.maxDescriptors = static_cast<double>(limit.rlim_cur);
    }
    return facts;
}

}  // namespace avoip::gw
