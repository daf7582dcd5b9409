// How fast the daemon's own upload is: 16 MiB to a simulated encoder through Main_update_encoder,
// beside a bare loop that sends the same bytes in the same pieces of 4100 bytes, one send each,
// over the same path to the same device. The bare loop runs in two ways: with the stream ready in
// memory, and with the image read from its file, 4096 bytes at a time.
//
// They take turns. All are timed from the connect to the device's reply, so that no byte is still
// under way when the clock stops. The path is the bed's: a cable between two network namespaces.
// The rates are of this machine at this moment; the ratios are what to look at.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/image_file.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/upload_port.hpp"
#include "bench/measure.hpp"
#include "firmware/upload.hpp"
#include "lib/base/descriptor.hpp"

namespace {

constexpr const char* kDeviceAddress = "10.77.1.1";
constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kPieceSize = 4100;
constexpr double kMebibytes = 16;
constexpr int kRounds = 31;
constexpr double kGoal = 0.9;

// The devices' side of the bed, with a fleet of one encoder that is never busy rebooting.
class Fleet {
  public:
    explicit Fleet(const bed::Namespaces& namespaces) {
        namespaces.onDeviceSide([this] {
            bed::ip("route add local 10.77.1.0/24 dev lo");
            bed::DaemonOptions options;
            options.program = AVOIPSIM_PATH;
            options.arguments = {"--encoders",      "1",           "--decoders",    "0",
                                 "--interface",     "dev0",        "--reboot-time", "0",
                                 "--first-address", kDeviceAddress};
            program_.emplace(options);
        });
    }

  private:
    std::optional<bed::Daemon> program_;
};

avoip::Descriptor tryToConnect() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(bed::kUploadPort);
    address.sin_addr.s_addr = ::inet_addr(kDeviceAddress);
    avoip::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    return socket;
}

/// The floor: the next piece of the stream, until there is none; one send for each; and the wait
/// for the reply.
void sendBare(const std::function<std::string_view()>& nextPiece) {
    const avoip::Descriptor socket = tryToConnect();
    for (std::string_view piece = nextPiece(); !piece.empty();) {
        const ssize_t sent = ::send(socket.get(), piece.data(), piece.size(), 0);
        if (sent < 0) {
            bed::throwSystemError("the bare loop cannot send");
        }
        piece.remove_prefix(static_cast<std::size_t>(sent));
        if (piece.empty()) {
            piece = nextPiece();
        }
    }
    std::array<char, 64> reply{};
    if (::recv(socket.get(), reply.data(), reply.size(), 0) <= 0) {
        throw bed::Error("the bare loop gets no reply");
    }
}

void sendFromMemory(const std::string& stream) {
    std::string_view left = stream;
    sendBare([&left] {
        const std::string_view piece = left.substr(0, kPieceSize);
        left.remove_prefix(piece.size());
        return piece;
    });
}

void sendFromFile(const bed::ImageFile& image, const std::string& stream) {
    const avoip::Descriptor file(::open(image.path().c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, kPieceSize> piece;
    std::size_t sent = 0;
    sendBare([&] {
        std::copy_n(stream.data() + std::min(sent, stream.size() - kHeaderSize), kHeaderSize,
                    piece.data());
        const ssize_t got =
            ::read(file.get(), piece.data() + kHeaderSize, piece.size() - kHeaderSize);
        if (got <= 0) {
            return std::string_view();
        }
        sent += kHeaderSize + static_cast<std::size_t>(got);
        return std::string_view(piece.data(), kHeaderSize + static_cast<std::size_t>(got));
    });
}

void uploadByDaemon(const bed::ImageFile& image) {
    if (Main_update_encoder(nullptr, kDeviceAddress, image.path().c_str(), true) != 0) {
        throw bed::Error("the upload failed");
    }
}

double rateOf(const std::function<void()>& act) {
    const double begin = bench::now_us();
    act();
    return kMebibytes * 1e6 / (bench::now_us() - begin);
}

struct Contender {
    const char* name;
    std::function<void()> act;
    std::vector<double> rates{};
};

void measure() {
    // What the upload prints goes nowhere; the rows go where the standard output was.
    const avoip::Descriptor rows(::dup(STDOUT_FILENO));
    const avoip::Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    ::dup2(nowhere.get(), STDOUT_FILENO);

    const bed::Namespaces namespaces;
    const Fleet fleet(namespaces);
    const bed::ImageFile image({.size = bed::kWholeImage});
    const std::string stream =
        bed::chunkStream("A" + std::string(4094, 'B') + "D", image.payload());
    bed::awaitCondition("the simulated encoder", [] { return tryToConnect().get() >= 0; });

    std::array<Contender, 3> contenders{
        Contender{"the bytes in memory", [&] { sendFromMemory(stream); }},
        Contender{"the file read too", [&] { sendFromFile(image, stream); }},
        Contender{"", [&] { uploadByDaemon(image); }},
    };
    for (const Contender& contender : contenders) {
        contender.act();
    }
    for (int round = 0; round < kRounds; ++round) {
        for (Contender& contender : contenders) {
            contender.rates.push_back(rateOf(contender.act));
        }
    }
    ::dup2(rows.get(), STDOUT_FILENO);
    const std::vector<double>& daemon = contenders.back().rates;
    const auto rate = [](const std::vector<double>& rates) {
        return bench::number(bench::median(rates), 0) + " MiB/s";
    };
    for (const Contender& floor : std::span(contenders).first(2)) {
        const double ratio = bench::medianRatio(daemon, floor.rates);
        // The goal is for the same work: a sender that has no file to read has less to do.
        const bool doesTheSame = &floor == &contenders[1];
        const std::string goal =
            doesTheSame ? bench::goal("at least " + bench::number(kGoal, 1), ratio >= kGoal) : "";
        bench::printRow("Upload of 16 MiB; floor: " + std::string(floor.name), rate(daemon),
                        rate(floor.rates), bench::number(ratio, 2), goal);
    }
}

}  // namespace

int main() {
    return bench::run("upload", measure);
}
