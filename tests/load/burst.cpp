// A whole fleet that answers discovery at once.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "bed/device.hpp"
#include "bed/device_reply.hpp"
#include "bed/wait.hpp"
#include "load/bed.hpp"

namespace load {

namespace {

constexpr std::size_t kFleet = 1024;
constexpr const char* kLine = "config get devices!";

/// The fleet's replies, ready to be sent in one call.
class Fleet {
  public:
    explicit Fleet(const bed::Namespaces& namespaces) {
        socket_ = namespaces.onDeviceSide(
            [] { return avoip::Descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)); });
        asker_.sin_family = AF_INET;
        asker_.sin_port = htons(bed::kReplyPort);
        asker_.sin_addr.s_addr = ::inet_addr(bed::kControlAddress);
        for (std::size_t i = 0; i < kFleet; ++i) {
            replies_.push_back(bed::deviceReply(identity(i)));
        }
    }

    /// All replies, as fast as the system takes them.
    void replyAtOnce() const { bed::sendBurst(socket_, asker_, replies_); }

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

    avoip::Descriptor socket_;
    sockaddr_in asker_{};
    std::vector<std::string> replies_;
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
    const Fleet fleet(bed.namespaces);
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
