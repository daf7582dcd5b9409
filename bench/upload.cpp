// How fast the daemon's own upload is: 16 MiB to a simulated encoder through Main_update_encoder,
// beside a bare loop that sends the same bytes in the same pieces of 4100 bytes, each of them one
// send, over the same path to the same device.
//
// The two take turns. Both are timed from the connect to the device's reply, so that no byte is
// still under way when the clock stops. The path is the bed's: a cable between two network
// namespaces. The figures are of this machine at this moment; the ratio is what to look at.
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
constexpr std::size_t kPieceSize = 4100;
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

// The floor: nothing but the sends, and the wait for the reply.
void sendBare(const std::string& stream) {
    const bed::Descriptor socket = tryToConnect();
    for (std::size_t sent = 0; sent < stream.size();) {
        const std::size_t piece = std::min(kPieceSize, stream.size() - sent);
        const ssize_t count = ::send(socket.get(), stream.data() + sent, piece, 0);
        if (count < 0) {
            bed::throwSystemError("the bare loop cannot send");
        }
        sent += static_cast<std::size_t>(count);
    }
    std::array<char, 64> reply{};
    if (::recv(socket.get(), reply.data(), reply.size(), 0) <= 0) {
        throw bed::Error("the bare loop gets no reply");
    }
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

    std::vector<double> bare;
    std::vector<double> upload;
    std::vector<double> ratios;
    sendBare(stream);
    uploadByDaemon(image);
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(secondsFor([&] { sendBare(stream); }));
        upload.push_back(secondsFor([&] { uploadByDaemon(image); }));
        ratios.push_back(bare.back() / upload.back());
    }
    constexpr double kMebibytes = 16;
    ::dprintf(results.get(),
              "bare loop  %7.0f MiB/s\n"
              "upload     %7.0f MiB/s\n"
              "ratio      %7.2f        (median of %d rounds; goal: at least %.1f)\n",
              kMebibytes / median(bare), kMebibytes / median(upload), median(ratios), rounds,
              kGoal);
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
