// The daemon's commands in the target's own process, between a console line and the bytes that
// devices reply: a real client on loopback, in a private network. Nothing waits.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace fuzz {

/// What the client sends as "hostid".
inline constexpr const char* kHostIdentity = "001122aabbcc";

/// Two images that "update" commands can upload, one of an encoder, one of a decoder; devices at
/// 127.0.0.1 take them. Other paths than these must not be opened: they are whatever the machine
/// has there.
inline constexpr const char* kEncoderImage = "/proc/self/fd/900";
inline constexpr const char* kDecoderImage = "/proc/self/fd/901";

/// Makes the network, the client and the images. Once, before any thread.
void startBed();

/// Runs the line through the dispatcher. The replies, in their order, stand in the client's socket
/// when it begins. Requires that the answer is a JSON document with an "ack", and that each
/// datagram that left is one with a "request".
/// @return the answer; empty where the kept assertion would have ended the daemon
std::string runCommand(const std::string& line, std::span<const std::string_view> replies);

}  // namespace fuzz
