// A device that answers exactly what a test tells it to, when it is told to.
//
// It listens for requests as real devices do, in the group 239.255.255.250 on port 8002, and sends
// to port 8003 of the asker. It says nothing of its own accord. Sending is allowed from any thread.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

inline constexpr const char* kGroup = "239.255.255.250";
inline constexpr std::uint16_t kRequestPort = 8002;
inline constexpr std::uint16_t kReplyPort = 8003;

/// A reply as devices print it: the "ack" object, then `data`, the further members of the document
/// as JSON text, such as `"device":{"alias":"x"}`; empty for none. The four texts are put between
/// quotes as they are.
std::string replyText(std::string_view cmd, std::string_view status, std::string_view hostid,
                      std::string_view deviceid, std::string_view data = {});

/// A socket on the device side that hears what is sent to the devices' group, and nothing else.
avoip::Descriptor openGroupSocket(const Namespaces& namespaces);
/// The same with a queue of so many bytes for what has not been read yet, which root alone gets.
avoip::Descriptor openGroupSocket(const Namespaces& namespaces, int queue_bytes);

/// Sends all texts to one address, as fast as the system takes them.
void sendBurst(const avoip::Descriptor& socket, const sockaddr_in& to,
               std::span<const std::string> texts);

/// A datagram and where it came from.
struct Datagram {
    std::string text;
    std::string address;
    std::uint16_t port = 0;
};

class Device {
  public:
    /// Joins the group on "dev0". `namespaces` must live longer than the device.
    explicit Device(const Namespaces& namespaces);

    /// The next request, waited for. Requests come in the order they were sent: that one was not
    /// sent is shown by the next known one being the first to come.
    Datagram receive(std::chrono::milliseconds patience = kPatience);

    /// True when no request stands unread. Only means something after an event that shows that the
    /// request would have been sent by now, such as an answer in the segment.
    bool hasHeardNothing() const;

    /// Sends to port 8003 of whoever sent the last received request; before any, of 10.77.0.1.
    void reply(std::string_view text);
    /// The same from another port of the device; 0 for any free one.
    void replyFrom(std::uint16_t port, std::string_view text);
    /// The same after a delay, without waiting for it. The destructor waits.
    void replyAfter(std::chrono::milliseconds delay, std::string text);
    /// Many replies in a burst that loses none: it lets the receiver catch up now and then.
    void replyAll(std::span<const std::string> texts);

  private:
    void sendFrom(int socket, std::string_view text) const;

    const Namespaces& namespaces_;
    avoip::Descriptor socket_;
    std::string asker_ = kControlAddress;
    std::vector<std::jthread> delayed_;
};

}  // namespace bed
