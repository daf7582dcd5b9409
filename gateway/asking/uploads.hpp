// The daemon's connections to devices that take an image.
#pragma once

#include <cstdint>
#include <string>

namespace avoip::gw {

/// The address in network byte order; 0 when the text is none.
std::uint32_t Uploads_address(const std::string& text);

/// Whether the daemon has a connection to this device's port for firmware now. Seen only where the
/// daemon is in the network namespace of the calling thread.
bool Uploads_to(std::uint32_t address);

}  // namespace avoip::gw
