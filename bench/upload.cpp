// How fast the daemon's own upload is: 16 MiB to a simulated encoder through Main_update_encoder,
// beside a bare loop that sends the same bytes in the same pieces of 4100 bytes, one send each,
// over the same path to the same device. The bare loop runs in two ways: with the stream ready in
// memory, and with the image read from its file, 4096 bytes at a time, as the daemon has to.
//
// They take turns. All are timed from the connect to the device's reply, so that no byte is still
// under way when the clock stops. The path is the bed's: a cable between two network namespaces.
// The rates are of this machine at this moment; the ratios are what to look at.
//
//   upload [ROUNDS]
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/descriptor.hpp"
#include "bed/image_file.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/upload_port.hpp"
#include "firmware/upload.hpp"

namespace {

constexpr const char* kDeviceAddress = "10.77.1.1";
constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kPieceSize = 4100;
constexpr double kMebibytes = 16;

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

bed::Descriptor tryToConnect() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(bed::kUploadPort);
    address.sin_addr.s_addr = ::inet_addr(kDeviceAddress);
    bed::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    return socket;
}

// The floor: the next piece of the stream, until there is none; one send for each; and the wait for
// the reply.
void sendBare(const std::function<std::string_view()>& nextPiece) {
    const bed::Descriptor socket = tryToConnect();
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
    const bed::Descriptor file(::open(image.path().c_str(), O_RDONLY | O_CLOEXEC));
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

double secondsFor(const std::function<void()>& act) {
    const auto begin = std::chrono::steady_clock::now();
    act();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Contender {
    const char* name;
    std::function<void()> act;
    std::vector<double> seconds{};
};

// How much of one contender's rate the other one reaches, round by round.
double ratio(const Contender& floor, const Contender& other) {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < floor.seconds.size(); ++round) {
        ratios.push_back(floor.seconds[round] / other.seconds[round]);
    }
    return median(ratios);
}

void run(int rounds) {
    // What the upload prints goes nowhere; the result goes where the standard output was.
    const bed::Descriptor results(::dup(STDOUT_FILENO));
    const bed::Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    ::dup2(nowhere.get(), STDOUT_FILENO);

    const bed::Namespaces namespaces;
    const Fleet fleet(namespaces);
    const bed::ImageFile image({.size = bed::kWholeImage});
    const std::string stream =
        bed::chunkStream("A" + std::string(4094, 'B') + "D", image.payload());
    bed::awaitCondition("the simulated encoder", [] { return tryToConnect().get() >= 0; });

    std::array<Contender, 3> contenders{
        Contender{"bare loop from memory", [&] { sendFromMemory(stream); }},
        Contender{"bare loop from the file", [&] { sendFromFile(image, stream); }},
        Contender{"the daemon's upload", [&] { uploadByDaemon(image); }},
    };
    for (const Contender& contender : contenders) {
        contender.act();
    }
    for (int round = 0; round < rounds; ++round) {
        for (Contender& contender : contenders) {
            contender.seconds.push_back(secondsFor(contender.act));
        }
    }
    const Contender& upload = contenders.back();
    for (const Contender& contender : contenders) {
        ::dprintf(results.get(), "%-24s %6.0f MiB/s   upload : this  %.2f\n", contender.name,
                  kMebibytes / median(contender.seconds), ratio(contender, upload));
    }
    ::dprintf(results.get(), "(medians of %d rounds; goal for the ratios: at least 0.9)\n", rounds);
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 31;
    if (rounds < 1) {
        std::fputs("usage: upload [ROUNDS], with at least 1 round\n", stderr);
        return 2;
    }
    try {
        run(rounds);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "upload: %s\n", problem.what());
        return 1;
    }
    return 0;
}
