// Tries what the sandbox of the unit must not allow, and prints a line for each: the attempt, and
// the system's word for how it ended. The container test lets the running unit start it, as its
// user, with its view of the files and behind its filter of system calls.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace {

void tell(const char* attempt, const char* what, int descriptor) {
    std::printf("probe: %s %s: %s\n", attempt, what,
                descriptor < 0 ? std::strerror(errno) : "done");
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

}  // namespace

int main() {
    for (const char* path : {"/etc/shadow", "/root/.profile", "/dev/kmsg", "/dev/console",
                             "/dev/net/tun", "/etc/hostname"}) {
        tell("read", path, ::open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK));
    }
    for (const char* path : {"/etc/probe", "/usr/probe", "/var/lib/probe", "/var/tmp/probe",
                             "/tmp/probe", "/run/probe", "/run/lock/probe", "/dev/shm/probe",
                             "/sys/kernel/probe", "/proc/sys/vm/probe", "/run/avoip/probe"}) {
        tell("make", path, ::open(path, O_WRONLY | O_CREAT, 0600));
    }
    tell("write", "/proc/sys/kernel/shmmax", ::open("/proc/sys/kernel/shmmax", O_WRONLY));
    tell("open", "raw socket", ::socket(AF_INET, SOCK_RAW, 1));
    tell("open", "packet socket", ::socket(AF_PACKET, SOCK_DGRAM, 0));
    tell("open", "IPv6 socket", ::socket(AF_INET6, SOCK_STREAM, 0));
    ::unlink("/run/avoip/probe");
    return 0;
}
