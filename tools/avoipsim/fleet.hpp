// The fleet: all devices of one process, and what each request does to them.
//
// The fleet knows neither sockets nor time: it is told what was heard and when, and says what is to
// be sent from which device how much later.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "avoipsim/device.hpp"
#include "avoipsim/faults.hpp"
#include "avoipsim/log.hpp"

namespace avoip::sim {

struct FleetOptions {
    int encoders = 4;
    int decoders = 6;
    std::string firstAddress = "10.77.1.1";
    std::string netmask = "255.255.0.0";
    std::string gateway;  ///< Empty: the first address of the devices' network.
    std::chrono::milliseconds rebootTime{2000};
    /// Between the replies of different devices to one request. A network would not deliver a
    /// thousand replies at one instant either, and an asker's socket buffer would lose most.
    std::chrono::microseconds spacing{200};
    FaultOptions faults;
};

struct Fleet {
    FleetOptions options;
    std::vector<Device> devices;
    Log log;
    std::uint64_t requests = 0;  ///< Heard so far.
};

struct Reply {
    std::string fromAddress;
    std::string text;
    std::chrono::microseconds delay{0};
};

/// Makes the devices that the options name, encoders first, with consecutive addresses. False,
/// with the reason in `problem`, when the options make no sense.
bool Fleet_make(Fleet& fleet, std::string& problem);

/// Null when there is no such device.
Device* Fleet_device(Fleet& fleet, std::string_view id);

/// The device whose address this is. Null when there is none.
Device* Fleet_deviceAt(Fleet& fleet, std::string_view address);

/// Whether the device hears anything now: it is not named silent and does not reboot.
bool Fleet_listens(const Fleet& fleet, const Device& device, Clock::time_point now);

/// Sets devices to what a state file holds; see Fleet_state.
bool Fleet_loadState(Fleet& fleet, const std::string& path, std::string& problem);

/// The whole fleet as a state file holds it: {"devices":[{"deviceid":...,SECTION:{KEY:TEXT}}]}.
Json Fleet_state(const Fleet& fleet);
bool Fleet_saveState(const Fleet& fleet, const std::string& path, std::string& problem);

/// Carries out a datagram that came from `asker`, logs it, and returns the replies in the order of
/// the devices.
std::vector<Reply> Fleet_hear(Fleet& fleet, std::string_view datagram, const std::string& asker,
                              Clock::time_point now);

}  // namespace avoip::sim
