#include "gateway/config/listen.hpp"

#include <arpa/inet.h>

#include <array>
#include <charconv>

namespace avoip::gw {
namespace {

constexpr std::string_view kUnix = "unix:";
// What the address of a Unix socket has room for.
constexpr std::size_t kPathMax = 107;

bool isAddress(int family, const std::string& text) {
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    return ::inet_pton(family, text.c_str(), bytes.data()) == 1;
}

}  // namespace

std::optional<std::uint16_t> Listen_port(std::string_view text) {
    std::uint16_t port = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), port);
    if (read.ec != std::errc{} || read.ptr != text.data() + text.size() || port == 0) {
        return std::nullopt;
    }
    return port;
}

std::optional<Listen> Listen_parse(std::string_view text) {
    if (text.starts_with(kUnix)) {
        const std::string_view path = text.substr(kUnix.size());
        if (!path.starts_with('/') || path.size() > kPathMax ||
            path.find('\0') != std::string_view::npos) {
            return std::nullopt;
        }
        return Listen{Family::kUnix, std::string(path), 0};
    }
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const auto port = Listen_port(text.substr(colon + 1));
    std::string address(text.substr(0, colon));
    const bool bracketed = address.size() > 2 && address.front() == '[' && address.back() == ']';
    if (bracketed) {
        address = address.substr(1, address.size() - 2);
    }
    if (!port || !isAddress(bracketed ? AF_INET6 : AF_INET, address)) {
        return std::nullopt;
    }
    return Listen{bracketed ? Family::kIpv6 : Family::kIpv4, std::move(address), *port};
}

std::string Listen_text(const Listen& listen) {
    const std::string port = ":" + std::to_string(listen.port);
    switch (listen.family) {
        case Family::kIpv4:
            return listen.address + port;
        case Family::kIpv6:
            return "[" + listen.address + "]" + port;
        case Family::kUnix:
            return std::string(kUnix) + listen.address;
    }
    return {};
}

bool Listen_isLoopback(const Listen& listen) {
    in6_addr address{};
    switch (listen.family) {
        case Family::kIpv4:
            return listen.address.starts_with("127.");
        case Family::kIpv6:
            return ::inet_pton(AF_INET6, listen.address.c_str(), &address) == 1 &&
                   IN6_IS_ADDR_LOOPBACK(&address);
        case Family::kUnix:
            return true;
    }
    return false;
}

}  // namespace avoip::gw
