#include "soak/watch.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "bed/wait.hpp"

namespace soak {

namespace {

constexpr std::string_view kCarriedOut = "pBuffData ";

/// These leave an image open, and each fills the end of a line.
constexpr std::string_view kLeftOpen[] = {"Image magic err!", "Firmware upgrade is not an encoder!",
                                          "Connect error"};

bool isAboutReply(std::string_view line) {
    return line.starts_with("get ") && line.ends_with(" err!");
}

std::uint64_t countIn(std::string_view text, std::string_view part) {
    std::uint64_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

}  // namespace

Printed::Printed(const std::string& path)
    : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644)) {
    if (file_.get() < 0) {
        bed::throwSystemError("cannot write " + path);
    }
}

void Printed::follow() {
    std::array<char, 65536> piece;
    ssize_t size = 0;
    while ((size = ::pread(file_.get(), piece.data(), piece.size(), position_)) > 0) {
        position_ += size;
        begun_.append(piece.data(), static_cast<std::size_t>(size));
    }
    std::size_t start = 0;
    for (std::size_t end = 0; (end = begun_.find('\n', start)) != std::string::npos;
         start = end + 1) {
        take(std::string_view(begun_).substr(start, end - start));
    }
    begun_.erase(0, start);
}

// Some texts have no line end, and the next one follows on their line.
void Printed::take(std::string_view line) {
    const std::size_t at = line.find(kCarriedOut);
    if (at != std::string_view::npos) {
        lines.see(std::string(line.substr(at + kCarriedOut.size())));
        return;
    }
    for (const std::string_view text : kLeftOpen) {
        imagesLeftOpen += line.ends_with(text) ? 1 : 0;
    }
    repliesLeft += isAboutReply(line) ? 1 : 0;
    uploadsBegun += line.ends_with("### Firmware Update Image Info: ###") ? 1 : 0;
    uploadsBroken += line.ends_with("Tcp_Send err!") ? 1 : 0;
}

Datagrams countDatagrams() {
    std::ifstream table("/proc/thread-self/net/snmp");
    std::string word;
    Datagrams counted;
    // Two lines begin so: the names, and the numbers that belong to them.
    for (int udpLine = 0; udpLine < 2 && table >> word;) {
        udpLine += word == "Udp:" ? 1 : 0;
    }
    std::uint64_t noPort = 0;
    if (!(table >> counted.received >> noPort >> counted.lost >> counted.sent)) {
        throw bed::Error("no numbers of UDP datagrams in /proc/thread-self/net/snmp");
    }
    return counted;
}

DeviceFaults countDeviceFaults(const std::string& logPath) {
    DeviceFaults faults{{{"lost", 0},
                         {"duplicate", 0},
                         {"wrong hostid", 0},
                         {"failed", 0},
                         {"missing key", 0},
                         {"not JSON", 0}}};
    std::ifstream log(logPath);
    for (std::string line; std::getline(log, line);) {
        const std::size_t at = line.rfind("\"faults\":");
        if (at == std::string::npos) {
            continue;
        }
        for (auto& [name, count] : faults) {
            count += countIn(std::string_view(line).substr(at), name);
        }
    }
    return faults;
}

}  // namespace soak
