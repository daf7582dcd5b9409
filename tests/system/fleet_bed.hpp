// A fleet of simulated devices behind the bed's "eth0.2", and a way to set them up.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/device.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "gtest/gtest.h"
#include "lib/base/descriptor.hpp"

/// Starts the simulator with these arguments, and waits until it hears.
inline bed::Daemon playFleet(const bed::Namespaces& namespaces,
                             std::vector<std::string> arguments) {
    return namespaces.onDeviceSide([&] {
        bed::ip("route add local 10.77.1.0/24 dev lo");
        bed::DaemonOptions options;
        options.program = AVOIPSIM_PATH;
        options.arguments = std::move(arguments);
        return bed::Daemon(options);
    });
}

/// The identities that the simulator gives.
inline std::string encoderName(int number) {
    return "TX-000" + std::to_string(number);
}
inline std::string decoderName(int number) {
    return "RX-000" + std::to_string(number);
}

/// The daemon and a fleet of four encoders and four decoders.
class DaemonAndFleet {
  public:
    explicit DaemonAndFleet(std::vector<std::string> faults = {})
        : fleet_(playFleet(namespaces, withSize(std::move(faults)))) {
        fleet_.awaitOutput("on dev0");
    }

    /// Lets each decoder show the encoder with its own number, and exchange serial data with the
    /// one behind it.
    void route() {
        bed::Console console;
        bed::Segment segment;
        for (int i = 1; i <= kDecoders; ++i) {
            segment.ask(console, "matrix set " + encoderName(i) + " " + decoderName(i) + "!");
            segment.ask(console, "serial matrix set " + encoderName(i % kDecoders + 1) + " " +
                                     decoderName(i) + "!");
        }
    }

    static constexpr int kDecoders = 4;

    bed::Namespaces namespaces;
    bed::Daemon daemon;

  private:
    static std::vector<std::string> withSize(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--encoders", "4", "--decoders", "4"});
        return arguments;
    }

    bed::Daemon fleet_;
};

/// Somebody on the devices' side who replies to nobody's question.
class Stranger {
  public:
    explicit Stranger(const bed::Namespaces& namespaces)
        : socket_(namespaces.onDeviceSide(
              [] { return avoip::Descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)); })) {
        to_.sin_family = AF_INET;
        to_.sin_port = htons(bed::kReplyPort);
        ::inet_pton(AF_INET, bed::kControlAddress, &to_.sin_addr);
    }

    /// A reply to "matrix get" or "serial matrix get", whose object is `key`.
    void replyWithRoute(std::string_view cmd, std::string_view key, const std::string& decoder,
                        std::string_view encoder) const {
        const std::string route = "\"" + std::string(key) + R"(":{"rxid":")" + decoder +
                                  R"(","txid":")" + std::string(encoder) + R"("})";
        const std::string text = bed::replyText(cmd, "success", "001122aabbcc", decoder, route);
        bed::sendBurst(socket_, to_, {&text, 1});
    }

  private:
    avoip::Descriptor socket_;
    sockaddr_in to_{};
};
