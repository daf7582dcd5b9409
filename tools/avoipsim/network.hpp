// The fleet's end of the device protocol: one UDP socket that hears the group 239.255.255.250:8002
// on one interface and answers from the devices' own addresses.
#pragma once

#include <optional>
#include <string>

#include "lib/base/descriptor.hpp"

namespace avoip::sim {

struct Datagram {
    std::string text;
    std::string sender;  ///< IPv4 address in dotted form.
};

/// Opens the socket, non-blocking, and joins the group. Without a descriptor, with the reason and
/// what to do about it in `problem`, when that fails.
Descriptor Network_open(const std::string& interface, std::string& problem);

/// The next datagram that has come; nothing when there is none.
std::optional<Datagram> Network_receive(const Descriptor& socket);

/// Sends `text` to port 8003 of `to`, from the address `from` where it is local on this machine,
/// else from the address that the system chooses. False, with errno, when it could not be sent.
bool Network_send(const Descriptor& socket, const std::string& from, const std::string& to,
                  const std::string& text);

}  // namespace avoip::sim
