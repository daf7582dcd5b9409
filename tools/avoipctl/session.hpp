// What all of avoipctl's work has in common: the options, the front end, where texts go, and the
// device identities that were last seen.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/catalogue.hpp"
#include "lib/frontend/avoip_frontend.h"

namespace avoip::ctl {

/// The exit statuses of avoipctl.
enum Status : int {
    kSuccess = 0,
    kFailure = 1,     ///< the daemon answered failure
    kWrongUsage = 2,  ///< the words make no command, or the console could not carry it
    kNoDaemon = 3,    ///< no daemon, no answer segment, or no lock file
    kNoAnswer = 4     ///< no answer in time
};

struct Options {
    std::string host = "127.0.0.1";
    std::uint16_t port = AVOIP_CONSOLE_PORT;
    double timeout_s = 0;  ///< 0: each command's own
    bool json = false;
    bool edid_decode = false;  ///< let edid-decode explain an EDID too
};

struct FrontendClose {
    void operator()(avoip_frontend* frontend) const { avoip_frontend_close(frontend); }
};

struct Session {
    std::ostream& out;
    std::ostream& err;
    Options options = {};
    std::unique_ptr<avoip_frontend, FrontendClose> frontend = {};
    bool at_prompt = false;
};

/// Asks the daemon with `text`, which ends in "!", and puts the answer into `answer`. Waits
/// `timeout_ms`, or what --timeout says instead. Gives kSuccess when there is an answer, whatever
/// it says, else the status of what went wrong, which it has reported.
Status Session_ask(Session& session, const std::string& text, int timeout_ms, std::string& answer);

/// Reports an error: "avoipctl: ", the text and a line end on the error stream.
void Session_error(Session& session, std::string_view text);

}  // namespace avoip::ctl
