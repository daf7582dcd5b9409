#include "lib/frontend/turn.hpp"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "lib/frontend/lock_file.hpp"

namespace avoip {

namespace {

/// Waits for the lock until `deadline`; 0, or the error that says why not.
int lockUntil(int descriptor, Deadline deadline) {
    Pauses pauses;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return errno;
        }
        if (Deadline_left_us(deadline) == 0) {
            return ETIMEDOUT;
        }
        Pauses_sleep(pauses, deadline, -1);
    }
    return 0;
}

}  // namespace

avoip_result Turn::take(Deadline deadline, Reason& reason) {
    // Anew when somebody has removed the file meanwhile: others lock the one that came after it.
    while (!isHeld() || !holdsNamedFile()) {
        leave();
        int descriptor = -1;
        if (const auto opened = LockFile_open(descriptor, reason); opened != AVOIP_OK) {
            return opened;
        }
        const int error = lockUntil(descriptor, deadline);
        if (error != 0) {
            ::close(descriptor);
        }
        if (error == ETIMEDOUT) {
            Reason_set(reason,
                       "Another front end has had its turn for the whole time-out. Try again, or "
                       "give a longer time-out.");
            return AVOIP_NO_TURN;
        }
        if (error != 0) {
            Reason_set(reason, "The lock file cannot be locked (%s).", std::strerror(error));
            return AVOIP_NO_LOCK;
        }
        descriptor_ = descriptor;
        load();
    }
    return AVOIP_OK;
}

void Turn::save() {
    char text[kNotesMax];
    const std::size_t length = Notes_print(notes_, text);
    // One write: a process that is killed here leaves the old text or the new one. What may be left
    // of a longer old one stands behind the "end" of the new one.
    if (::pwrite(descriptor_, text, length, 0) == static_cast<ssize_t>(length)) {
        static_cast<void>(::ftruncate(descriptor_, static_cast<off_t>(length)) == 0);
    }
}

void Turn::leave() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
        descriptor_ = -1;
    }
}

bool Turn::holdsNamedFile() const {
    struct stat facts {};
    return ::fstat(descriptor_, &facts) == 0 && facts.st_nlink > 0;
}

void Turn::load() {
    char text[kNotesMax];
    const ssize_t length = ::pread(descriptor_, text, sizeof text, 0);
    notes_ = length > 0 ? Notes_parse({text, static_cast<std::size_t>(length)}) : Notes{};
}

}  // namespace avoip
