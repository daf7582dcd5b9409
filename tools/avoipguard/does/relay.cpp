#include "avoipguard/does/relay.hpp"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "avoipguard/escape.hpp"

namespace avoip::guard {

namespace {

constexpr std::size_t kLongestLine = std::size_t{16} * 1024;
constexpr std::size_t kQueueMost = std::size_t{256} * 1024;

ssize_t writeNow(const Relay& relay) {
    return relay.isSocket ? ::send(relay.target, relay.queue.data(), relay.queue.size(),
                                   MSG_DONTWAIT | MSG_NOSIGNAL)
                          : ::write(relay.target, relay.queue.data(), relay.queue.size());
}

/// Says how many lines were dropped, once there is room again.
void sayWhatWasDropped(Relay& relay) {
    if (relay.isDropping && relay.queue.size() < kQueueMost / 2) {
        relay.queue += "avoipguard: " + std::to_string(relay.dropped) +
                       " lines dropped: whoever reads this output is too slow.\n";
        relay.dropped = 0;
        relay.isDropping = false;
    }
}

}  // namespace

Relay Relay_open(int output) {
    Relay relay;
    relay.target = output;
    struct stat facts {};
    ::fstat(output, &facts);
    relay.isSocket = S_ISSOCK(facts.st_mode);
    // A flag on the output itself would be everybody's who shares it, such as the shell's. A
    // regular file keeps its place with the output, and makes nobody wait.
    if (S_ISFIFO(facts.st_mode) || S_ISCHR(facts.st_mode)) {
        const std::string path = "/proc/self/fd/" + std::to_string(output);
        relay.own = Descriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (relay.own.isOpen()) {
            relay.target = relay.own.get();
        } else {
            ::fcntl(output, F_SETFL, ::fcntl(output, F_GETFL) | O_NONBLOCK);
        }
    }
    return relay;
}

void Relay_take(Relay& relay, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, std::min(end, kLongestLine));
        relay.begun += piece;
        bytes.remove_prefix(piece.size());
        const bool hasEnd = bytes.starts_with('\n');
        if (hasEnd || relay.begun.size() >= kLongestLine) {
            bytes.remove_prefix(hasEnd ? 1 : 0);
            Relay_line(relay, relay.begun);
            relay.begun.clear();
        }
    }
}

void Relay_endLine(Relay& relay) {
    if (!relay.begun.empty()) {
        Relay_line(relay, relay.begun);
        relay.begun.clear();
    }
}

void Relay_line(Relay& relay, std::string_view line) {
    sayWhatWasDropped(relay);
    relay.isDropping = relay.isDropping || relay.queue.size() + line.size() > kQueueMost;
    if (relay.isDropping) {
        ++relay.dropped;
    } else {
        relay.queue += Escape_line(line) + "\n";
    }
}

void Relay_write(Relay& relay) {
    while (!relay.queue.empty()) {
        const ssize_t count = writeNow(relay);
        if (count > 0) {
            relay.queue.erase(0, static_cast<std::size_t>(count));
        } else if (errno == EINTR) {
            continue;
        } else if (errno == EAGAIN) {
            break;
        } else {
            relay.queue.clear();
        }
        sayWhatWasDropped(relay);
    }
}

bool Relay_isWaiting(const Relay& relay) {
    return !relay.queue.empty();
}

}  // namespace avoip::guard
