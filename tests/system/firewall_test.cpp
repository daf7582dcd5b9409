// The firewall lines that SECURITY.md recommends, loaded as they stand there.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "bed/console.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace {

/// The lines of the page's table of rules.
std::string recommendedRules() {
    std::ifstream page(AVOIP_SECURITY_PAGE);
    std::string rules;
    for (std::string line; std::getline(page, line);) {
        const bool isIndented = line.starts_with("      ");
        if (isIndented && (line.find("table inet") != std::string::npos || !rules.empty())) {
            rules += line + "\n";
        }
    }
    return rules;
}

void loadRules(const std::string& rules) {
    std::FILE* const nft = ::popen("nft --file -", "w");
    ASSERT_NE(nft, nullptr);
    std::fputs(rules.c_str(), nft);
    ASSERT_EQ(::pclose(nft), 0) << rules;
}

sockaddr_in addressOf(const char* host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, host, &address.sin_addr);
    return address;
}

avoip::Descriptor bound(int type, std::uint16_t port) {
    avoip::Descriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    const sockaddr_in address = addressOf("0.0.0.0", port);
    EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return socket;
}

void sendText(const avoip::Descriptor& socket, const char* host, const std::string& text) {
    const sockaddr_in to = addressOf(host, 8003);
    EXPECT_EQ(::sendto(socket.get(), text.data(), text.size(), 0,
                       reinterpret_cast<const sockaddr*>(&to), sizeof to),
              static_cast<ssize_t>(text.size()));
}

std::string receiveText(const avoip::Descriptor& socket) {
    pollfd entry{.fd = socket.get(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&entry, 1, static_cast<int>(bed::kPatience.count())), 1);
    std::array<char, 100> room{};
    const ssize_t size = ::recv(socket.get(), room.data(), room.size(), MSG_DONTWAIT);
    return {room.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

/// Begins to connect to the console from the devices' network.
avoip::Descriptor connectFromOutside() {
    avoip::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_in console = addressOf(bed::kControlAddress, bed::kConsolePort);
    static_cast<void>(
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&console), sizeof console));
    return socket;
}

bool isConnected(const avoip::Descriptor& socket, int patience_ms) {
    pollfd entry{.fd = socket.get(), .events = POLLOUT, .revents = 0};
    return ::poll(&entry, 1, patience_ms) == 1 && (entry.revents & POLLERR) == 0;
}

TEST(Firewall, as_recommended_keeps_the_console_local_and_replies_to_the_control_network) {
    const bed::Namespaces namespaces;
    const avoip::Descriptor replies = bound(SOCK_DGRAM, 8003);
    const avoip::Descriptor console = bound(SOCK_STREAM, bed::kConsolePort);
    ASSERT_EQ(::listen(console.get(), 5), 0);
    const auto patience_ms = static_cast<int>(bed::kPatience.count());
    const avoip::Descriptor before = namespaces.onDeviceSide(connectFromOutside);
    EXPECT_TRUE(isConnected(before, patience_ms)) << "without the rules";

    loadRules(recommendedRules());
    const avoip::Descriptor outside = namespaces.onDeviceSide(connectFromOutside);
    const avoip::Descriptor local = bound(SOCK_DGRAM, 0);
    const avoip::Descriptor device = namespaces.onDeviceSide([] { return bound(SOCK_DGRAM, 0); });
    sendText(local, "127.0.0.1", "of this machine");
    sendText(device, bed::kControlAddress, "of a device");
    EXPECT_EQ(receiveText(replies), "of a device") << "and what was sent before it was dropped";
    // It was sent before what has arrived, on the same cable.
    EXPECT_FALSE(isConnected(outside, 0));
    const bed::Console fromHere;
}

}  // namespace
