#include "avoipsim/service.hpp"

#include <poll.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <optional>
#include <vector>

#include "avoipsim/network.hpp"
#include "avoipsim/upload_server.hpp"
#include "lib/base/descriptor.hpp"

namespace avoip::sim {
namespace {

struct Outgoing {
    std::string to;
    Reply reply;
};

struct Service {
    Fleet& fleet;
    const Options& options;
    Descriptor requests;
    Descriptor signals;
    UploadServer uploads;
    std::multimap<Clock::time_point, Outgoing> outgoing;
};

int fail(const std::string& problem) {
    std::fprintf(stderr, "avoipsim: %s\n", problem.c_str());
    return kExitFailure;
}

Descriptor openSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGUSR1}) {
        sigaddset(&set, number);
    }
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    return Descriptor(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
}

void hear(Service& service) {
    while (const auto datagram = Network_receive(service.requests)) {
        const Clock::time_point now = Clock::now();
        for (Reply& reply : Fleet_hear(service.fleet, datagram->text, datagram->sender, now)) {
            const auto due = now + reply.delay;
            service.outgoing.emplace(due, Outgoing{datagram->sender, std::move(reply)});
        }
    }
}

void sendDue(Service& service) {
    auto& outgoing = service.outgoing;
    while (!outgoing.empty() && outgoing.begin()->first <= Clock::now()) {
        const Outgoing& next = outgoing.begin()->second;
        if (!Network_send(service.requests, next.reply.fromAddress, next.to, next.reply.text)) {
            std::perror("avoipsim: a reply could not be sent");
        }
        outgoing.erase(outgoing.begin());
    }
}

std::optional<Clock::time_point> nextDue(const Service& service) {
    auto due = UploadServer_due(service.uploads);
    if (!service.outgoing.empty()) {
        const Clock::time_point reply = service.outgoing.begin()->first;
        due = due ? std::min(*due, reply) : reply;
    }
    return due;
}

/// Waits until something is to be done.
void wait(const Service& service) {
    std::vector<pollfd> watched = {{service.requests.get(), POLLIN, 0},
                                   {service.signals.get(), POLLIN, 0}};
    UploadServer_watch(service.uploads, watched);
    const auto due = nextDue(service);
    timespec timeout{};
    if (due) {
        const auto left = std::max(Clock::duration::zero(), *due - Clock::now());
        // Narrower than what is counted, on 32-bit processors.
        timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(left / std::chrono::seconds(1));
        timeout.tv_nsec =
            static_cast<decltype(timeout.tv_nsec)>((left % std::chrono::seconds(1)).count());
    }
    ::ppoll(watched.data(), watched.size(), due ? &timeout : nullptr, nullptr);
}

bool saveState(const Service& service) {
    std::string problem;
    if (!service.options.saveStateFile.empty() &&
        !Fleet_saveState(service.fleet, service.options.saveStateFile, problem)) {
        fail(problem);
        return false;
    }
    return true;
}

/// False when the program is to end.
bool handleSignals(const Service& service) {
    signalfd_siginfo signal{};
    while (::read(service.signals.get(), &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo != SIGUSR1) {
            return false;
        }
        saveState(service);
    }
    return true;
}

void sayReady(const Service& service) {
    const auto& devices = service.fleet.devices;
    std::printf("avoipsim: %d encoders, %d decoders on %s, %s to %s\n",
                service.options.fleet.encoders, service.options.fleet.decoders,
                service.options.interface.c_str(),
                Device_text(devices.front(), "netparams", "devaddr").c_str(),
                Device_text(devices.back(), "netparams", "devaddr").c_str());
    std::fflush(stdout);
}

}  // namespace

int Service_run(Fleet& fleet, const Options& options) {
    std::string problem;
    Service service{fleet,
                    options,
                    Network_open(options.interface, problem),
                    openSignals(),
                    {options.upload, {}, {}},
                    {}};
    if (!service.requests.isOpen() || !UploadServer_open(service.uploads, fleet, problem)) {
        return fail(problem);
    }
    if (!service.signals.isOpen()) {
        return fail("no signal descriptor");
    }
    sayReady(service);
    while (handleSignals(service)) {
        wait(service);
        hear(service);
        sendDue(service);
        UploadServer_work(service.uploads, fleet);
    }
    return saveState(service) ? 0 : kExitFailure;
}

}  // namespace avoip::sim
