// A whole fleet that answers discovery at once.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "bed/device.hpp"
#include "bed/wait.hpp"
#include "device_reply.hpp"
#include "load_bed.hpp"

namespace load {

namespace {

constexpr std::size_t kFleet = 1024;
constexpr const char* kLine = "config get devices!";

/// The fleet's replies, ready to be sent in one call.
class Fleet {
  public:
    explicit Fleet(const bed::Namespaces& namespaces) {
        namespaces.onDeviceSide([this] { connectToReplyPort(); });
        for (std::size_t i = 0; i < kFleet; ++i) {
            replies_.push_back(deviceReply(identity(i)));
        }
        for (std::string& reply : replies_) {
            parts_.push_back({reply.data(), reply.size()});
        }
        for (iovec& part : parts_) {
            mmsghdr message{};
            message.msg_hdr.msg_iov = &part;
            message.msg_hdr.msg_iovlen = 1;
            messages_.push_back(message);
        }
    }

    /// All replies, as fast as the system takes them.
    void replyAtOnce() {
        for (std::size_t sent = 0; sent < kFleet;) {
            const int count = ::sendmmsg(socket_.get(), messages_.data() + sent,
                                         static_cast<unsigned int>(kFleet - sent), 0);
            if (count < 0) {
                bed::throwSystemError("the fleet cannot reply");
            }
            sent += static_cast<std::size_t>(count);
        }
    }

    /// How many devices of the fleet the answer lists.
    static std::size_t listedIn(const std::string& answer) {
        std::size_t listed = 0;
        std::size_t from = 0;
        for (std::size_t i = 0; i < kFleet; ++i) {
            const std::string entry = "{\"hostid\":\"" + identity(i) + "\",";
            // They stand in the order in which they were sent.
            if (const std::size_t found = answer.find(entry, from); found != std::string::npos) {
                from = found + entry.size();
                ++listed;
            }
        }
        return listed;
    }

  private:
    static std::string identity(std::size_t number) {
        return "TX-" + std::to_string(10000 + number);
    }

    void connectToReplyPort() {
        sockaddr_in asker{};
        asker.sin_family = AF_INET;
        asker.sin_port = htons(bed::kReplyPort);
        asker.sin_addr.s_addr = ::inet_addr(bed::kControlAddress);
        socket_ = bed::Descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (::connect(socket_.get(), reinterpret_cast<sockaddr*>(&asker), sizeof asker) != 0) {
            bed::throwSystemError("the fleet has no way to the daemon");
        }
    }

    bed::Descriptor socket_;
    std::vector<std::string> replies_;
    std::vector<iovec> parts_;
    std::vector<mmsghdr> messages_;
};

std::size_t receiveQueueMost() {
    std::ifstream file("/proc/sys/net/core/rmem_max");
    std::size_t bytes = 0;
    file >> bytes;
    return bytes;
}

/// Discovers the fleet again and again; what each discovery listed, in ascending order.
std::vector<std::size_t> discover(LoadBed& bed, std::size_t rounds) {
    bed::Device device(bed.namespaces);
    Fleet fleet(bed.namespaces);
    std::vector<std::size_t> listed;
    for (std::size_t round = 0; round < rounds; ++round) {
        bed.segment.clear();
        bed.console.send(kLine);
        device.receive();
        fleet.replyAtOnce();
        listed.push_back(Fleet::listedIn(bed.segment.awaitAnswer()));
    }
    std::ranges::sort(listed);
    return listed;
}

Finding measureBursts(LoadBed& bed, std::size_t rounds) {
    discover(bed, 1);
    std::vector<std::size_t> listed;
    Finding finding = measure(bed, [&] { listed = discover(bed, rounds); });
    finding.done = grouped(kFleet) + " devices answered in one burst, " + grouped(rounds) +
                   " times; listed at least " + grouped(listed.front()) + ", as a rule " +
                   grouped(listed[rounds / 2]);
    std::size_t missing = 0;
    for (const std::size_t count : listed) {
        missing += kFleet - count;
    }
    addLoss(finding.lost, missing, "devices not listed, of all bursts together");
    return finding;
}

}  // namespace

Finding burst(std::size_t rounds) {
    LoadBed bed;
    return measureBursts(bed, rounds);
}

Finding burstUnprivileged(std::size_t rounds) {
    LoadBed bed(Words::kThrownAway, "/usr/bin/setpriv",
                {"--inh-caps=-all", "--bounding-set=-all", AVOIPD_PATH});
    Finding finding = measureBursts(bed, rounds);
    const std::size_t most = receiveQueueMost();
    finding.done += "; net.core.rmem_max is " + grouped(most);
    finding.isPromised = false;
    return finding;
}

}  // namespace load
