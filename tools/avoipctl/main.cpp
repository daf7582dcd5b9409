#include <clocale>
#include <exception>
#include <iostream>

#include "avoipctl/cli.hpp"

using namespace avoip::ctl;

int main(int argc, char** argv) {
    // For names with letters beyond ASCII at the prompt.
    std::setlocale(LC_CTYPE, "");
    Session session{std::cout, std::cerr};
    try {
        const Status status = Cli_run(session, {argv + 1, argv + argc});
        std::cout.flush();
        return status;
    } catch (const std::exception& error) {
        Session_error(session, error.what());
        return kNoDaemon;
    }
}
