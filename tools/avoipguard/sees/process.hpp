// What /proc tells of a process. Whatever cannot be read, as a rule because the process is gone,
// counts as empty or 0.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace avoip::guard {

/// Whether the process is stopped, by a signal or by a debugger.
bool Process_isStopped(pid_t pid);

/// The process's threads in the order in which they began: the main thread is the first.
std::vector<pid_t> Process_threads(pid_t pid);

bool Process_hasThread(pid_t pid, pid_t thread);

/// An open descriptor, and the inode of the socket that it refers to; 0 when it is none.
struct OpenDescriptor {
    int number = -1;
    std::uint64_t socket = 0;
};
std::vector<OpenDescriptor> Process_descriptors(pid_t pid);

struct MemorySeen {
    std::size_t size_bytes = 0;      ///< of address space, all of it
    std::size_t private_bytes = 0;   ///< of address space that can be written and is not shared
    std::size_t resident_bytes = 0;  ///< of real memory that is not shared
};
MemorySeen Process_memory(pid_t pid);

struct MappingsSeen {
    std::size_t count = 0;
    /// The identifiers of the answer segments among them.
    std::vector<int> segments;
};
/// Takes some milliseconds where there are tens of thousands.
MappingsSeen Process_mappings(pid_t pid);

/// The process as a reader of a message knows it: "process 4711 (nc)". The name is what the process
/// says of itself; what could disturb a terminal in it is escaped.
std::string Process_title(pid_t pid);

/// Who has a socket open, kept for the next look: finding it means to look into every process.
struct SocketOwner {
    std::uint64_t inode = 0;
    std::string title;
};

/// The process that has this socket open, as Process_title says it; where that cannot be seen, "a
/// process of user 1000".
const std::string& SocketOwner_find(SocketOwner& known, std::uint64_t inode, std::uint32_t user);

}  // namespace avoip::guard
