#include "bed/namespaces.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "bed/ip_tool.hpp"
#include "bed/wait.hpp"

namespace bed {

namespace {

avoip::Descriptor openNamespace(const char* kind) {
    const std::string path = std::string("/proc/thread-self/ns/") + kind;
    avoip::Descriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (opened.get() < 0) {
        throwSystemError("cannot open " + path);
    }
    return opened;
}

void writeFile(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file) {
        throw Error(std::string("cannot write ") + path);
    }
}

void becomeRootOfUserNamespace() {
    const auto user = std::to_string(::geteuid());
    const auto group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER) != 0) {
        throwSystemError(
            "cannot make namespaces: run the tests as root, or allow user namespaces "
            "(sysctl kernel.unprivileged_userns_clone=1), or make the bed before any thread");
    }
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", "0 " + user + " 1");
    writeFile("/proc/self/gid_map", "0 " + group + " 1");
}

void enterFreshNetwork() {
    if (::unshare(CLONE_NEWNET) == 0) {
        return;
    }
    if (errno == EPERM) {
        becomeRootOfUserNamespace();
        if (::unshare(CLONE_NEWNET) == 0) {
            return;
        }
    }
    throwSystemError("cannot make a network namespace");
}

void enterNetwork(int space) {
    if (::setns(space, CLONE_NEWNET) != 0) {
        throwSystemError("cannot enter a network namespace");
    }
}

// A socket for frames of a type that nobody else listens to, on one interface.
class Probe {
  public:
    explicit Probe(const char* interface)
        : socket_(::socket(AF_PACKET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        address_.sll_family = AF_PACKET;
        address_.sll_protocol = htons(0x88B5);  // reserved for local experiments
        address_.sll_ifindex = static_cast<int>(::if_nametoindex(interface));
        if (::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address_), sizeof address_) != 0) {
            throwSystemError(std::string("cannot listen for frames on ") + interface);
        }
        address_.sll_halen = 6;
        std::fill_n(address_.sll_addr, 6, static_cast<unsigned char>(0xFF));
    }

    // A frame that is lost is sent again by the caller.
    void send() const {
        (void)!::sendto(socket_.get(), "?", 1, 0, reinterpret_cast<const sockaddr*>(&address_),
                        sizeof address_);
    }

    bool hasReceived() const {
        char byte = 0;
        return ::recv(socket_.get(), &byte, 1, 0) > 0;
    }

  private:
    avoip::Descriptor socket_;
    sockaddr_ll address_{};
};

}  // namespace

Namespaces::Visit::Visit(int there, int back) : back_(back) {
    enterNetwork(there);
}

Namespaces::Visit::~Visit() {
    if (::setns(back_, CLONE_NEWNET) != 0) {
        std::perror("cannot go back to the controller side");
        std::abort();  // whatever came next would act in the wrong place
    }
}

Namespaces::Namespaces(Control control, const std::string& mac)
    : originalNetwork_(openNamespace("net")), originalIpc_(openNamespace("ipc")) {
    enterFreshNetwork();
    deviceSide_ = openNamespace("net");
    ip("link set lo up");
    if (::unshare(CLONE_NEWNET | CLONE_NEWIPC) != 0) {
        throwSystemError("cannot make the controller's namespaces");
    }
    controllerSide_ = openNamespace("net");
    ip("link set lo up");
    if (control != Control::kAbsent) {
        addControlInterface(control == Control::kAddressed, mac);
    }
}

Namespaces::~Namespaces() {
    // Refused to an ordinary user, who stays where nobody else is.
    (void)!::setns(originalNetwork_.get(), CLONE_NEWNET);
    (void)!::setns(originalIpc_.get(), CLONE_NEWIPC);
}

void Namespaces::addControlInterface(bool addressed, const std::string& mac) {
    const std::string deviceSide =
        "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(deviceSide_.get());
    ip("link add eth0.2 address " + mac + " type veth peer name dev0 netns " + deviceSide +
       "\nlink set eth0.2 up");
    onDeviceSide([&] {
        // The neighbour entry lets the first of many replies pass without a question before it.
        ip("link set dev0 up\n"
           "addr add 10.77.0.2/16 dev dev0\n"
           "route add 224.0.0.0/4 dev dev0\n"
           "neighbour add 10.77.0.1 lladdr " +
           mac + " dev dev0 nud permanent");
    });
    if (addressed) {
        addAddress();
    }
    awaitFrames();
}

void Namespaces::addAddress() {
    ip("addr replace 10.77.0.1/16 dev eth0.2");
    addMulticastRoute();
}

void Namespaces::removeAddress() {
    ip("addr del 10.77.0.1/16 dev eth0.2");
}

void Namespaces::addMulticastRoute() {
    ip("route replace 224.0.0.0/4 dev eth0.2");
}

void Namespaces::removeMulticastRoute() {
    ip("route del 224.0.0.0/4 dev eth0.2");
}

void Namespaces::linkUp() {
    ip("link set eth0.2 up");
    addMulticastRoute();
    awaitFrames();
}

void Namespaces::linkDown() {
    ip("link set eth0.2 down");
}

// A link that is up may still drop frames for a moment, so frames themselves are the proof.
void Namespaces::awaitFrames() const {
    const Probe controller(kControlInterface);
    const Probe device = onDeviceSide([] { return Probe(kDeviceInterface); });
    bool outward = false;
    bool inward = false;
    awaitCondition("frames to pass between eth0.2 and dev0", [&] {
        controller.send();
        device.send();
        outward = outward || device.hasReceived();
        inward = inward || controller.hasReceived();
        return outward && inward;
    });
}

}  // namespace bed
