// What all of avoipctl's work has in common: the options, the front end, where texts go, and the
// device identities that were last seen.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/screen.hpp"
#include "lib/client/client.hpp"

namespace avoip::ctl {

/// The exit statuses of avoipctl.
enum Status : int {
    kSuccess = 0,
    kFailure = 1,     ///< the daemon answered failure, or what came cannot be believed,
                      ///< or what there is to say could not be written
    kWrongUsage = 2,  ///< the words make no command, or the console could not carry it
    kNoDaemon = 3,    ///< no daemon, no answer segment, or no lock file
    kNoAnswer = 4,    ///< no answer in time, or it was overwritten
    kNoTurn = 5       ///< other front ends had their turn all the time; nothing was sent
};

struct Options {
    std::string host = "127.0.0.1";
    std::uint16_t port = AVOIP_CONSOLE_PORT;
    double timeout_s = 0;  ///< 0: each command's own
    bool json = false;
    bool edidDecode = false;   ///< let edid-decode explain an EDID too
    bool verify = false;       ///< ask back what has become of a change
    std::string columns = {};  ///< of lists, with commas between them; empty: all that fit
    bool watch = false;        ///< look again and again
    double interval_s = 2;     ///< between two looks
    bool yes = false;          ///< go on without a question where every device is concerned
};

struct Session {
    std::ostream& out;
    std::ostream& err;
    Options options = {};
    std::unique_ptr<Client> client = {};
    bool atPrompt = false;
    Screen screen = {};
    bool listed = false;  ///< whether the devices have been listed for names that were typed
};

/// The client, with the options as they are now; made when it is needed first.
Client& Session_client(Session& session);

/// The exit status for a request that ended so.
Status Session_status(End end);

/// Reports an error: "avoipctl: ", in red where that is shown, the text and a line end on the error
/// stream.
void Session_error(Session& session, std::string_view text);

/// Tells on the error stream which columns of a list had no room on the terminal; nothing when
/// there are none.
void Session_tellLeftOut(Session& session, const std::string& columns);

}  // namespace avoip::ctl
