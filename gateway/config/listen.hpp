// Addresses to listen on: "127.0.0.1:8088", "[::1]:8088" or "unix:/path".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace avoip::gw {

enum class Family { kIpv4, kIpv6, kUnix };

struct Listen {
    Family family = Family::kIpv4;
    /// The address without brackets, or the path.
    std::string address;
    std::uint16_t port = 0;

    bool operator==(const Listen&) const = default;
};

/// Nothing when `text` is none of the three forms. Port 0 is none.
std::optional<Listen> Listen_parse(std::string_view text);

/// As it is written in the configuration.
std::string Listen_text(const Listen& listen);

/// Whether only this machine reaches it.
bool Listen_isLoopback(const Listen& listen);

/// A decimal number of 1 to 65535; nothing else.
std::optional<std::uint16_t> Listen_port(std::string_view text);

}  // namespace avoip::gw
