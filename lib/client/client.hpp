// A client of the daemon: a command and its values in, what came of it or why nothing did out. It
// prints nothing and knows no streams.
//
// It is lib/frontend with the catalogue's knowledge: values are checked before anything is sent, an
// answer counts only under a name that its command answers with, and what is read from devices is
// verified (reading.hpp). One connection is kept for as long as it stands; the turn is taken for
// one command, or for one batch of reads, and left behind it.
//
// Not for two threads at once. Every wait ends with its time-out: each question's own, or the one
// in the options instead.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "lib/client/confirm.hpp"
#include "lib/client/reading.hpp"
#include "lib/frontend/dialogue.hpp"

namespace avoip {

struct ClientOptions {
    std::string host = "127.0.0.1";
    std::uint16_t port = AVOIP_CONSOLE_PORT;
    int timeout_ms = 0;  ///< to wait for the turn and for each answer; 0: each command's own
};

/// A client. The options may be changed between two commands; the rest is for the functions below.
struct Client {
    explicit Client(ClientOptions chosen);

    ClientOptions options;
    Connection connection = {};
    Segment segment = {};
    Turn turn = {};
    Reason why = {};
    Dialogue dialogue{connection, segment, turn, why};
    Reader reader = {};
};

/// Carries out a command of the catalogue. What reads from a device is verified; of an update
/// nobody is told that it has begun (Client_update() tells it).
Reply Client_run(Client& client, const Request& request);

/// Reads of one device, verified together: see Reader_read().
Batch Client_read(Client& client, std::span<const Request> reads);

/// Asks back what has become of a change that succeeded. A device that says otherwise is asked
/// again for two seconds.
Confirmation Client_confirm(Client& client, const Request& change);

/// Sends any console text. The answer is what the daemon posts under the names that this text is
/// answered with; nothing but what the console can carry is checked before, and what is read is not
/// verified.
Reply Client_send(Client& client, const std::string& text);

/// How far an update has come while nobody has its answer yet.
enum class UpdateStage {
    kAsked,     ///< the daemon has the command, and looks for the devices
    kUploading  ///< an upload has begun
};

/// Has the daemon update devices, and tells how far it has come where `told` is given. Others have
/// their turn as soon as an upload to one of `addresses` has begun, to any device when there are
/// none, or three seconds have passed. The daemon's answer may be overwritten then:
/// End::kOverwritten says that the daemon is done, and that only the versions of the devices tell
/// what came of it.
Reply Client_update(Client& client, const Request& update, std::span<const std::string> addresses,
                    const std::function<void(UpdateStage)>& told = {});

}  // namespace avoip
