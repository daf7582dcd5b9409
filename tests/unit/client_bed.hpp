// A protocol client of the test's own process in a bed, and a way to run a request while the test
// plays the devices.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "bed/device.hpp"
#include "bed/namespaces.hpp"
#include "protocol/client.hpp"
#include "protocol/request.hpp"

/// The host identity of the client, as the daemon would make it of the bed's MAC address.
inline constexpr const char* kHostIdentity = "001122aabbcc";

/// The bed with a device in it, and a client made as the daemon makes its own.
struct ClientBed {
    ClientBed();
    ~ClientBed();
    ClientBed(const ClientBed&) = delete;
    ClientBed& operator=(const ClientBed&) = delete;

    bed::Namespaces namespaces;
    bed::Device device{namespaces};
    ProtocolClient* client = nullptr;
};

/// The list of one device that most requests address.
DeviceId deviceId(const char* text);

/// What became of a request.
struct Outcome {
    std::int32_t result = 0;
    std::string output;
    std::string errors;
    std::chrono::milliseconds took{0};
};

/// Runs `request` on a thread of its own while `talk` runs on the calling one. No time-out of the
/// request runs out before the talk has ended, so that nothing depends on how fast the test talks;
/// then each is as long as the request says. No assertion belongs into either.
Outcome runRequest(
    const std::function<std::int32_t()>& request, const std::function<void()>& talk = [] {});
