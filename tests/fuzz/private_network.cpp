#include "fuzz/private_network.hpp"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "fuzz/fuzz.hpp"

namespace fuzz {

void enterPrivateNetwork() {
    // An ordinary user gets a network together with a user namespace only.
    require(::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0,
            "the system lets the process have a network of its own");
    const int handle = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    require(::ioctl(handle, SIOCSIFFLAGS, &request) == 0, "the loopback interface comes up");
    ::close(handle);
}

}  // namespace fuzz
