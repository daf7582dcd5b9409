#include <cerrno>
#include <clocale>
#include <exception>
#include <iostream>
#include <system_error>

#include "avoipctl/cli.hpp"
#include "avoipctl/interrupt.hpp"

using namespace avoip::ctl;

namespace {

/// Whether everything could be written; says so when not. A full device shall not look like an
/// empty list.
bool flushed(Session& session) {
    errno = 0;
    session.out.flush();
    if (session.out) {
        return true;
    }
    const std::string why = errno == 0 ? "" : " (" + std::generic_category().message(errno) + ")";
    Session_error(session, "The output could not be written" + why + ".");
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    // For names with letters beyond ASCII at the prompt.
    std::setlocale(LC_CTYPE, "");
    Interrupt_install();
    Session session{std::cout, std::cerr};
    try {
        const Status status = Cli_run(session, {argv + 1, argv + argc});
        return flushed(session) ? status : kFailure;
    } catch (const std::exception& error) {
        Session_error(session, error.what());
        return kNoDaemon;
    }
}
