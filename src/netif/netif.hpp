// Reads and changes the settings of the machine's own network interfaces: hardware address, IPv4
// address, netmask, up state and the default route.
//
// The daemon uses Net_getMac, at start-up; the rest is here for whoever sets the machine up. Only
// six names are known: "eth0", "lo", "eth2", "eth1", "eth0.2" and "eth0.1". Every function returns
// 0, or -1 after one printed line or more that say what failed; nothing is retried. They keep no
// state and may run on any thread. Several of them leave a socket open when they fail.
#pragma once

#include <cstddef>

/// Room for what Net_getMac writes: 12 digits and a zero byte.
inline constexpr std::size_t kNetMacRoom = 13;
/// Room for a dotted IPv4 address and a zero byte.
inline constexpr std::size_t kNetAddressRoom = 16;
/// Room for what Net_getGateway writes: a word and a zero byte.
inline constexpr std::size_t kNetGatewayRoom = 32;

/// The index of a known name, 0 to 2, shared by some names; callers only test its sign. A null
/// name and an unknown one (names are case-sensitive) print a line and give -1.
int Net_checkIfName(const char* name);

/// Writes the hardware address as 12 lower-case hexadecimal digits into `mac`, which has room for
/// kNetMacRoom bytes, and prints it. On failure `mac` is untouched.
int Net_getMac(const char* name, char* mac);

/// Writes the IPv4 address, dotted, into `address`, which has room for kNetAddressRoom bytes, and
/// prints it. On failure, as with an interface without address, `address` is untouched.
int Net_getIp(const char* name, char* address);

/// Writes the netmask, dotted, into `netmask`, which has room for kNetAddressRoom bytes, and prints
/// it. On failure `netmask` is untouched.
int Net_getNetmask(const char* name, char* netmask);

/// Gives the interface a dotted address and sets it up; all its other flags are cleared. A null
/// address is refused without a line.
int Net_setIp(const char* name, const char* address);

/// Sets the netmask, given dotted. Leaves a socket open even when it succeeds.
int Net_setNetmask(const char* name, const char* netmask);

/// Sets the hardware address with the ifconfig tool, which takes the interface down for it. `mac`
/// becomes part of a shell command as it is: never pass a text that an outsider chose. The tool's
/// own failures are not noticed.
int Net_setMac(const char* name, const char* mac);

/// Writes the gateway of the default route, as the ip tool lists it, into `gateway`, which has room
/// for kNetGatewayRoom bytes, and prints it. Without a default route it is the third word of the
/// list's last line; without such a word it is empty. The name is ignored.
int Net_getGateway(const char* name, char* gateway);

/// Makes `gateway`, dotted, the default route through the interface, whose subnet route is made
/// anew with it. Needs the interface to have an address and to be up.
int Net_setGateway(const char* name, const char* gateway);

/// Gives the interface the address 192.168.1.10 with the ifconfig tool, but only when no socket can
/// be opened; otherwise it does nothing and returns 0.
int Net_fallbackIp(const char* name);
