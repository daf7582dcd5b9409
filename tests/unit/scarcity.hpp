// Takes from the process what it would be given otherwise, for as long as the object lives.
#pragma once

#include <linux/capability.h>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <system_error>

#include "bed/segment.hpp"

/// No descriptor can be opened.
class NoMoreDescriptors {
  public:
    NoMoreDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{.rlim_cur = 0, .rlim_max = before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

  private:
    rlimit before_{};
};

/// More bytes than a process can have.
inline constexpr auto kTooManyBytes = static_cast<std::size_t>(std::min<std::uint64_t>(
    std::uint64_t{1} << 50U, std::numeric_limits<std::size_t>::max() / 4 * 3));

/// No thread with default attributes can be created: their stacks would not fit into memory.
class NoMoreThreads {
  public:
    NoMoreThreads() {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        ::pthread_attr_init(&huge);
        ::pthread_attr_setstacksize(&huge, kTooManyBytes);
        ::pthread_setattr_default_np(&huge);
        ::pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;

  private:
    pthread_attr_t before_{};
};

/// The answer segment stands already, and the calling thread may not use it.
class ForbiddenSegment {
  public:
    ForbiddenSegment() {
        if (::shmget(bed::kSegmentKey, 4096, IPC_CREAT | IPC_EXCL) < 0 ||
            overridePermissions(false) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot forbid the segment");
        }
    }
    ~ForbiddenSegment() { overridePermissions(true); }
    ForbiddenSegment(const ForbiddenSegment&) = delete;
    ForbiddenSegment& operator=(const ForbiddenSegment&) = delete;

  private:
    static long overridePermissions(bool allowed) {
        __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
        std::array<__user_cap_data_struct, 2> sets{};
        if (::syscall(SYS_capget, &header, sets.data()) != 0) {
            return -1;
        }
        constexpr std::uint32_t kBit = 1U << CAP_IPC_OWNER;
        const std::uint32_t others = sets[0].effective & ~kBit;
        sets[0].effective = allowed ? others | kBit : others;
        return ::syscall(SYS_capset, &header, sets.data());
    }
};

/// The answer segment stands already, and is larger than any address space. It needs no memory.
inline int makeUnattachableSegment() {
    return ::shmget(bed::kSegmentKey, kTooManyBytes, IPC_CREAT | SHM_NORESERVE | 0664);
}
