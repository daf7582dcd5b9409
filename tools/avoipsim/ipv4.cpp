#include "avoipsim/ipv4.hpp"

#include <arpa/inet.h>

namespace avoip::sim {

std::optional<std::uint32_t> Ipv4_parse(const std::string& text) {
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

std::string Ipv4_text(std::uint32_t address) {
    const in_addr network{htonl(address)};
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &network, text, sizeof text);
}

}  // namespace avoip::sim
