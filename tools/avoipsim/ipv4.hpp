// IPv4 addresses as numbers in host order, so that a range can be counted through.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace avoip::sim {

std::optional<std::uint32_t> Ipv4_parse(const std::string& text);

/// The dotted form.
std::string Ipv4_text(std::uint32_t address);

}  // namespace avoip::sim
