// avoipd: wires the parts together once and leaves all work to the console's threads. It takes no
// arguments and reads no configuration. No failed step stops it (kept: start-up-goes-on): commands
// then fail, or the console is not there, and the lines printed at start-up say why.
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

#include "base/fixed_text.hpp"
#include "console/console.hpp"
#include "dispatch/dispatch.hpp"
#include "kit/answer.hpp"
#include "netif/netif.hpp"
#include "protocol/client.hpp"

static_assert(kAnswerCapacity == kAnswerBufferSize);

namespace {

/// For `strings`: the daemon takes no arguments and says its version nowhere else.
[[gnu::used]] constexpr char kVersion[] = "avoipd " AVOIP_VERSION;

constexpr const char* kControlInterface = "eth0.2";
constexpr const char* kIdentityName = "Control";
constexpr const char* kDeviceGroup = "239.255.255.250";
constexpr std::uint32_t kDevicePort = 8002;
constexpr std::uint32_t kConsolePort = 6888;
constexpr unsigned kSleepSeconds = 20;

/// What is printed must not go into a socket that has the number of an output which was closed when
/// the daemon started.
void openMissingOutputs() {
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(output, F_GETFD) >= 0) {
            continue;
        }
        const int nowhere = ::open("/dev/null", O_WRONLY);
        if (nowhere >= 0 && nowhere != output) {
            ::dup2(nowhere, output);
            ::close(nowhere);
        }
    }
}

/// What a peer, a limit or a terminal can raise does not end or stop the daemon: a peer that has
/// gone away and a file that may not grow are seen by the failed write. TERM and INT end it.
void ignoreSignals() {
    for (const int number : {SIGPIPE, SIGXFSZ, SIGXCPU, SIGHUP, SIGTTIN, SIGTTOU}) {
        std::signal(number, SIG_IGN);
    }
}

}  // namespace

int main() {
    openMissingOutputs();
    ignoreSignals();
    // A connection touches a few pages of large buffers; huge pages would make each cost megabytes.
    ::prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);

    FixedText<32> interfaceName{};
    interfaceName.set(kControlInterface);
    FixedText<32> hostIdentity{};
    Net_getMac(interfaceName.c_str(), hostIdentity.bytes.data());
    Protocol_client_create(&daemonClient, interfaceName.c_str(), kIdentityName,
                           hostIdentity.c_str(), kDeviceGroup, kDevicePort);
    Telnet_init();
    Telnet_setHandler(Command_dispatch);
    Telnet_start(kConsolePort);
    for (;;) {
        ::sleep(kSleepSeconds);
    }
}
