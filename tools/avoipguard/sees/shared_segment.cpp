#include "avoipguard/sees/shared_segment.hpp"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>

#include "lib/frontend/avoip_frontend.h"

namespace avoip::guard {

namespace {

/// As the daemon makes it.
constexpr unsigned kMode = 0664;
constexpr std::size_t kFullSize = std::size_t{4} * 1024 * 1024;
/// The prefix and the NUL.
constexpr std::size_t kAroundAnswer = 6;

}  // namespace

std::optional<SharedSegment> SharedSegment_look() {
    const int identifier = ::shmget(AVOIP_SEGMENT_KEY, 0, 0);
    if (identifier < 0) {
        return std::nullopt;
    }
    SharedSegment seen;
    seen.identifier = identifier;
    seen.isRemovable = ::geteuid() == 0;
    seen.owner = "another user";
    shmid_ds facts{};
    if (::shmctl(identifier, IPC_STAT, &facts) == 0) {
        const ipc_perm& rights = facts.shm_perm;
        seen.isOwn = rights.uid == ::geteuid() && rights.gid == ::getegid() &&
                     (rights.mode & 0777U) == kMode;
        seen.isFull = facts.shm_segsz > kFullSize;
        seen.isRemovable = seen.isRemovable || rights.uid == ::geteuid();
        seen.owner = "user " + std::to_string(rights.uid);
    } else if (errno != EACCES) {
        // It went between the two questions.
        return std::nullopt;
    }
    return seen;
}

bool SharedSegment_make() {
    return ::shmget(AVOIP_SEGMENT_KEY, kFullSize + kAroundAnswer,
                    IPC_CREAT | IPC_EXCL | static_cast<int>(kMode)) >= 0 ||
           errno == EEXIST;
}

bool SharedSegment_remove(const SharedSegment& segment) {
    return ::shmctl(segment.identifier, IPC_RMID, nullptr) == 0;
}

}  // namespace avoip::guard
