#include "lib/frontend/turn.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace avoip {

namespace {

constexpr const char* kDirectories[] = {"/run/lock", "/tmp"};
constexpr mode_t kReadableByAll = 0644;

/// Opens the lock file at `path`, which is made when it is not there; -1 with errno on failure.
/// Opening an existing file without O_CREAT matters: the kernel forbids O_CREAT on another user's
/// file in a directory with the sticky bit.
int openLockFile(const char* path) {
    // A second round when another front end has made the file between the two attempts.
    for (int round = 0; round < 2; ++round) {
        const int existing = ::open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        if (existing >= 0 || errno != ENOENT) {
            return existing;
        }
        const int made = ::open(path, O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadableByAll);
        if (made >= 0) {
            // Whatever the umask of the one that came first was, the others can read it.
            ::fchmod(made, kReadableByAll);
            return made;
        }
        if (errno != EEXIST) {
            return -1;
        }
    }
    return -1;
}

int openSharedLockFile(Reason& reason) {
    char path[4096];
    const char* chosen = ::getenv("AVOIP_LOCK_FILE");
    if (chosen != nullptr && chosen[0] != '\0') {
        std::snprintf(path, sizeof path, "%s", chosen);
        const int descriptor = openLockFile(path);
        if (descriptor < 0) {
            Reason_set(reason, "The lock file %s cannot be used (%s). Correct AVOIP_LOCK_FILE.",
                       path, std::strerror(errno));
        }
        return descriptor;
    }
    struct stat ipcNamespace {};
    ::stat("/proc/self/ns/ipc", &ipcNamespace);
    for (const char* directory : kDirectories) {
        std::snprintf(path, sizeof path, "%s/avoip-frontend-%llu.lock", directory,
                      static_cast<unsigned long long>(ipcNamespace.st_ino));
        const int descriptor = openLockFile(path);
        if (descriptor >= 0) {
            return descriptor;
        }
    }
    Reason_set(reason,
               "The lock file %s cannot be used (%s). Name one that can in AVOIP_LOCK_FILE; all "
               "front ends need the same.",
               path, std::strerror(errno));
    return -1;
}

}  // namespace

Turn::~Turn() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

avoip_result Turn::take(Deadline deadline, Reason& reason) {
    descriptor_ = openSharedLockFile(reason);
    if (descriptor_ < 0) {
        return AVOIP_NO_LOCK;
    }
    Pauses pauses;
    while (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            Reason_set(reason, "The lock file cannot be locked (%s).", std::strerror(errno));
            return AVOIP_NO_LOCK;
        }
        if (Deadline_left_us(deadline) == 0) {
            Reason_set(reason,
                       "Another front end has had its turn for the whole time-out. Try again, or "
                       "give a longer time-out.");
            return AVOIP_TIME_OUT;
        }
        Pauses_sleep(pauses, deadline, -1);
    }
    return AVOIP_OK;
}

}  // namespace avoip
