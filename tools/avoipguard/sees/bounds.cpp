#include "avoipguard/sees/bounds.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

namespace avoip::guard {

namespace {

/// Linux's own, for where it cannot be read.
constexpr std::size_t kUsualMappings = 65530;

std::size_t limitOf(pid_t child, __rlimit_resource resource) {
    rlimit limit{};
    if (::prlimit(child, resource, nullptr, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return kBoundless;
    }
    return static_cast<std::size_t>(std::min<rlim_t>(limit.rlim_cur, kBoundless));
}

/// The number that a file begins with; `otherwise` for a file that cannot be read or begins with
/// none, as "max" does.
std::size_t numberIn(const std::string& path, std::size_t otherwise) {
    std::ifstream file(path);
    std::size_t number = 0;
    return file >> number ? number : otherwise;
}

/// Where a program's addresses end. The stack stands near the end, and the end at a whole gibibyte:
/// 3 GiB for a 32-bit program under most systems.
std::size_t addressSpace() {
    constexpr std::uintptr_t kGiB = std::uintptr_t{1} << 30U;
    const int onStack = 0;
    const std::uintptr_t gibibytes = reinterpret_cast<std::uintptr_t>(&onStack) / kGiB + 1;
    return gibibytes > kBoundless / kGiB ? kBoundless : gibibytes * kGiB;
}

std::size_t availableMemory() {
    std::ifstream file("/proc/meminfo");
    std::string name;
    for (std::size_t kib = 0; file >> name >> kib; file.ignore(64, '\n')) {
        if (name == "MemAvailable:") {
            return kib * 1024;
        }
    }
    return kBoundless;
}

/// What the control group of this process, which is its child's too, leaves of its memory.
std::size_t availableToGroup() {
    std::ifstream file("/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("0::")) {
            const std::string folder = "/sys/fs/cgroup" + line.substr(3);
            const std::size_t most = numberIn(folder + "/memory.max", kBoundless);
            const std::size_t used = numberIn(folder + "/memory.current", 0);
            return most == kBoundless ? most : most - std::min(used, most);
        }
    }
    return kBoundless;
}

}  // namespace

Bounds Bounds_look(pid_t child) {
    Bounds bounds;
    bounds.descriptors = limitOf(child, RLIMIT_NOFILE);
    bounds.mappings = numberIn("/proc/sys/vm/max_map_count", kUsualMappings);
    bounds.size_bytes = limitOf(child, RLIMIT_AS);
    bounds.private_bytes = std::min(limitOf(child, RLIMIT_DATA), addressSpace());
    bounds.free_bytes = std::min(availableMemory(), availableToGroup());
    return bounds;
}

}  // namespace avoip::guard
