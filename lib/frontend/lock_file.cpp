#include "lib/frontend/lock_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/frontend/notes.hpp"
#include "lib/frontend/segment.hpp"

namespace avoip {

namespace {

constexpr const char* kOwnFolder = "/run/avoip";
constexpr const char* kSharedFolders[] = {"/run/lock", "/tmp"};
constexpr mode_t kMode = 0660;
constexpr int kOpenFlags = O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;

struct Path {
    char text[4096];
};

bool isFolder(const char* path) {
    struct stat facts {};
    return ::stat(path, &facts) == 0 && S_ISDIR(facts.st_mode);
}

Path pathIn(const char* folder) {
    struct stat ipcNamespace {};
    ::stat("/proc/self/ns/ipc", &ipcNamespace);
    Path path;
    std::snprintf(path.text, sizeof path.text, "%s/avoip-frontend-%llu.lock", folder,
                  static_cast<unsigned long long>(ipcNamespace.st_ino));
    return path;
}

/// Gives the file of this descriptor the mode and the group that it should have, as far as the
/// system lets us: only its owner and root may.
void adopt(int descriptor, const SegmentFacts& segment) {
    struct stat facts {};
    if (!segment.exists || ::fstat(descriptor, &facts) != 0) {
        return;
    }
    if (facts.st_gid != segment.group) {
        static_cast<void>(::fchown(descriptor, static_cast<uid_t>(-1), segment.group) == 0);
    }
    if ((facts.st_mode & 07777) != kMode) {
        ::fchmod(descriptor, kMode);
    }
}

/// Opens the file at `path`, or makes it. -1 with errno on failure; -1 and 0 when it is not there
/// and there is no segment to make it for. Opening an existing file without O_CREAT matters: the
/// kernel forbids O_CREAT on another user's file in a folder with the sticky bit.
int openOrMake(const char* path, const SegmentFacts& segment) {
    // A second round when another front end has made the file between the two attempts.
    for (int round = 0; round < 2; ++round) {
        const int existing = ::open(path, kOpenFlags);
        if (existing >= 0 || errno != ENOENT) {
            return existing;
        }
        if (!segment.exists) {
            errno = 0;
            return -1;
        }
        const int made = ::open(path, kOpenFlags | O_CREAT | O_EXCL, kMode);
        if (made >= 0 || errno != EEXIST) {
            return made;
        }
    }
    return -1;
}

/// Why the open file must not be used, null when it may. Whoever holds the lock of a stranger's
/// file would take turns with nobody, and notes of a stranger are no notes.
const char* problemOf(int descriptor, const SegmentFacts& segment) {
    struct stat facts {};
    if (::fstat(descriptor, &facts) != 0) {
        return std::strerror(errno);
    }
    if (!S_ISREG(facts.st_mode)) {
        return "it is no regular file";
    }
    if (facts.st_nlink > 1) {
        return "it has more than one name";
    }
    const bool trusted = facts.st_uid == 0 || facts.st_uid == ::geteuid() || !segment.exists ||
                         facts.st_uid == segment.owner || facts.st_gid == segment.group;
    if (!trusted) {
        return "it belongs to somebody else";
    }
    char begin[kNotesBegin.size()] = {};
    const ssize_t length = ::pread(descriptor, begin, sizeof begin, 0);
    if (length != 0 && std::string_view(begin, sizeof begin) != kNotesBegin) {
        return "it holds something else";
    }
    return nullptr;
}

/// What can be done about a lock file that cannot be used.
void explain(Reason& reason, const char* path, const char* problem, bool chosen) {
    Reason_set(reason, "The lock file %s cannot be used (%s). %s", path, problem,
               chosen ? "Correct AVOIP_LOCK_FILE."
                      : "Use the daemon's user, its group, or root; or name one that can in "
                        "AVOIP_LOCK_FILE; all front ends need the same.");
}

avoip_result openAt(const char* path, bool chosen, int& descriptor, Reason& reason) {
    const SegmentFacts segment = Segment_facts();
    descriptor = openOrMake(path, segment);
    if (descriptor < 0) {
        if (errno == 0) {
            Segment_explainAbsence(reason, ENOENT);
            return AVOIP_NO_SEGMENT;
        }
        explain(reason, path, std::strerror(errno), chosen);
        return AVOIP_NO_LOCK;
    }
    if (const char* const problem = problemOf(descriptor, segment); problem != nullptr) {
        explain(reason, path, problem, chosen);
        ::close(descriptor);
        descriptor = -1;
        return AVOIP_NO_LOCK;
    }
    adopt(descriptor, segment);
    return AVOIP_OK;
}

}  // namespace

avoip_result LockFile_open(int& descriptor, Reason& reason) {
    const char* const chosen = ::getenv("AVOIP_LOCK_FILE");
    if (chosen != nullptr && chosen[0] != '\0') {
        return openAt(chosen, true, descriptor, reason);
    }
    // Where the folder exists it is the only one: who may not use it may not take turns.
    if (isFolder(kOwnFolder)) {
        return openAt(pathIn(kOwnFolder).text, false, descriptor, reason);
    }
    avoip_result result = AVOIP_NO_LOCK;
    for (const char* const folder : kSharedFolders) {
        result = openAt(pathIn(folder).text, false, descriptor, reason);
        if (result != AVOIP_NO_LOCK) {
            break;
        }
    }
    return result;
}

}  // namespace avoip
