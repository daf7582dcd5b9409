// The control interface, as the daemon itself looks at it: it reads the MAC address when it starts,
// and the address and the route with every request.
#pragma once

#include <string>

#include "lib/base/descriptor.hpp"

namespace avoip::guard {

inline constexpr const char* kControlInterface = "eth0.2";
inline constexpr const char* kDeviceGroup = "239.255.255.250";

struct ControlSeen {
    bool exists = false;
    bool isUp = false;
    std::string mac;  ///< twelve hexadecimal digits in lower case; empty for none
    bool hasAddress = false;
    bool hasRoute = false;   ///< a datagram to the devices' group would leave
    bool routeFits = false;  ///< and by this interface
};

/// Looks at the control interface. Nothing is sent.
ControlSeen Control_look();

/// A descriptor that becomes readable when interfaces, their addresses or routes have changed; none
/// where the system refuses it, which costs no more than the time until the next look.
Descriptor ControlBell_open();

/// Takes what makes the bell readable.
void ControlBell_silence(const Descriptor& bell);

}  // namespace avoip::guard
