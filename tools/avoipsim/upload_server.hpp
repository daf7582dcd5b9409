// The devices' end of firmware uploads: TCP port 5888 of each device's own address.
//
// One listening socket serves all devices; the address that a connection was made to tells which
// device it is for. Those addresses must therefore be local on this machine. A device that is
// silent or reboots resets its connections. A device takes an image that carries no info block or
// one for its kind (a name with TX or RX in it), answers "success", becomes the version that the
// info block names and reboots; it answers "failure" to an image for the other kind.
#pragma once

#include <poll.h>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "avoipsim/fleet.hpp"
#include "avoipsim/image_stream.hpp"
#include "lib/base/descriptor.hpp"

namespace avoip::sim {

struct UploadOptions {
    std::string storeFolder;  ///< Empty: images are not stored.
    /// What goes wrong, for all devices or for those that are listed.
    std::vector<std::string> faultDevices;
    bool refuse = false;
    bool noAnswer = false;
    std::optional<std::uint64_t> closeAfter;  ///< In bytes of the stream.
    std::optional<std::uint64_t> stopAfter;   ///< In bytes of the stream.
    int answerAfter_ms = 0;
};

struct UploadConnection {
    Descriptor socket;
    std::string device;
    bool faulty = false;
    bool stopped = false;        ///< Reads no more, on purpose.
    std::uint64_t received = 0;  ///< Bytes of the stream.
    ImageStream stream;
    std::optional<Clock::time_point> answerAt;  ///< Set when the image is complete.
};

struct UploadServer {
    UploadOptions options;
    std::vector<Descriptor> listeners;
    std::list<UploadConnection> connections;
};

/// Opens what the server listens on. False, with the reason and what to do about it in `problem`,
/// when that fails.
bool UploadServer_open(UploadServer& server, Fleet& fleet, std::string& problem);

/// Adds what is to be waited for.
void UploadServer_watch(const UploadServer& server, std::vector<pollfd>& watched);

/// When an answer is due next; nothing when none is.
std::optional<Clock::time_point> UploadServer_due(const UploadServer& server);

/// Does what can be done without waiting.
void UploadServer_work(UploadServer& server, Fleet& fleet);

}  // namespace avoip::sim
