#include "avoipctl/everyone.hpp"

#include <unistd.h>

#include <iostream>
#include <string>

#include "avoipctl/interrupt.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/subcommand.hpp"

namespace avoip::ctl {

Status Everyone_ask(Session& session, const Command& command) {
    if (!command.everyone || session.options.yes) {
        return kSuccess;
    }
    if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0) {
        Session_error(session, "\"" + Subcommand_words(command) +
                                   "\" is for every device, and there is no terminal to ask at: "
                                   "add --yes. Nothing was sent.");
        return kWrongUsage;
    }
    const InterruptText text("Nothing was sent.");
    const std::size_t listed = State_identities().size();
    session.out.flush();
    session.err << command.summary
                << (listed > 0 ? " (" + std::to_string(listed) + " devices in the last list)" : "")
                << ": go on? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer == "y" || answer == "Y" || answer == "yes") {
        return kSuccess;
    }
    Session_error(session, "Nothing was sent.");
    return kFailure;
}

}  // namespace avoip::ctl
