#include "avoipctl/watch.hpp"

#include <chrono>
#include <ctime>
#include <ostream>
#include <sstream>
#include <thread>

#include "avoipctl/interrupt.hpp"

namespace avoip::ctl {
namespace {

constexpr std::string_view kClearScreen = "\x1b[H\x1b[2J";

std::string timeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    char text[16] = {};
    ::localtime_r(&now, &parts);
    std::strftime(text, sizeof text, "%H:%M:%S", &parts);
    return text;
}

/// What stands above a look: on a terminal when it was made, elsewhere an empty line between two.
std::string heading(const Session& session, bool first) {
    if (session.screen.columns == 0) {
        return first || session.options.json ? "" : "\n";
    }
    return std::string(kClearScreen) +
           Screen_paint(session.screen.colour, Paint::kFaint, timeNow() + ", Ctrl-C ends") + "\n\n";
}

}  // namespace

Status Watch_run(Session& session, const Look& look) {
    if (!session.options.watch) {
        return look(session);
    }
    Interrupt_silence();
    // Shown when it is whole: a look takes its time.
    std::ostringstream text;
    std::ostringstream errors;
    Session one{text, errors, session.options, std::move(session.client), false, session.screen};
    for (bool first = true; session.out; first = false) {
        one.screen = session.screen = Screen_now();
        look(one);
        session.out << heading(session, first) << text.str() << std::flush;
        session.err << errors.str() << std::flush;
        text.str("");
        errors.str("");
        std::this_thread::sleep_for(std::chrono::duration<double>(session.options.interval_s));
    }
    return kFailure;
}

}  // namespace avoip::ctl
