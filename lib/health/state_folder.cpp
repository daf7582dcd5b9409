#include "lib/health/state_folder.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace avoip {

namespace {

constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;

std::string pathOf(const std::string& folder, const char* name) {
    return folder + "/" + name;
}

constexpr const char* kLockFile = "guard.lock";

/// The bytes of the lock file that are locked.
constexpr off_t kFolderByte = 0;
constexpr off_t kStateByte = 1;

struct flock lockOf(off_t byte, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool lockForWriting(const Descriptor& file, off_t byte) {
    const struct flock lock = lockOf(byte, F_WRLCK);
    return ::fcntl(file.get(), F_SETLK, &lock) == 0;
}

/// Who has locked the byte of the open file for writing; 0 for nobody.
pid_t lockerOf(const Descriptor& file, off_t byte) {
    // A lock for reading, if it were asked for, would meet nothing but one for writing.
    struct flock lock = lockOf(byte, F_RDLCK);
    return ::fcntl(file.get(), F_GETLK, &lock) == 0 && lock.l_type == F_WRLCK ? lock.l_pid : 0;
}

}  // namespace

Descriptor StateFolder_keep(const std::string& folder, std::string& problem) {
    // Whatever the umask is, the others can read what stands here.
    const bool isMade = ::mkdir(folder.c_str(), kFolderMode) == 0;
    if (isMade ? ::chmod(folder.c_str(), kFolderMode) != 0 : errno != EEXIST) {
        problem = "The state folder " + folder + " cannot be made (" + std::strerror(errno) +
                  "). Make it, or name another one with --state-folder.";
        return {};
    }
    const std::string path = pathOf(folder, kLockFile);
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!file.isOpen()) {
        problem = "The file " + path + " cannot be made (" + std::strerror(errno) +
                  "). Give avoipguard the right to write there, or name another folder with "
                  "--state-folder.";
        return {};
    }
    ::fchmod(file.get(), kFileMode);
    if (!lockForWriting(file, kFolderByte)) {
        const pid_t keeper = lockerOf(file, kFolderByte);
        problem = "Another process " +
                  (keeper == 0 ? std::string() : "(" + std::to_string(keeper) + ") ") +
                  "keeps the state folder " + folder +
                  " already. End it, or name another folder with --state-folder.";
        return {};
    }
    StateFolder_clear(folder);
    lockForWriting(file, kStateByte);
    return file;
}

bool StateFolder_write(const std::string& folder, std::string_view text) {
    const std::string fresh = pathOf(folder, "state.json.new");
    const std::string path = pathOf(folder, kStateFile);
    // What a supervisor that was killed here has left is in the way of nothing.
    ::unlink(fresh.c_str());
    const std::string line = std::string(text) + "\n";
    Descriptor file(
        ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!file.isOpen() || ::fchmod(file.get(), kFileMode) != 0 ||
        ::write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        return false;
    }
    return std::rename(fresh.c_str(), path.c_str()) == 0;
}

void StateFolder_clear(const std::string& folder) {
    ::unlink(pathOf(folder, kStateFile).c_str());
}

pid_t StateFolder_keeper(const std::string& folder) {
    const Descriptor file(::open(pathOf(folder, kLockFile).c_str(), O_RDONLY | O_CLOEXEC));
    return file.isOpen() ? lockerOf(file, kStateByte) : 0;
}

}  // namespace avoip
