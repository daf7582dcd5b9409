#include "avoipctl/session.hpp"

#include <ostream>

#include "avoipctl/state.hpp"

namespace avoip::ctl {

Client& Session_client(Session& session) {
    const Options& options = session.options;
    if (session.client == nullptr) {
        session.client = std::make_unique<Client>(ClientOptions{options.host, options.port});
        session.client->reader.listed = State_remember;
    }
    session.client->options.timeout_ms = static_cast<int>(options.timeout_s * 1000);
    return *session.client;
}

Status Session_status(End end) {
    switch (end) {
        case End::kSuccess:
            return kSuccess;
        case End::kFailure:
        case End::kUnreadable:
        case End::kUnverified:
            return kFailure;
        case End::kRefused:
            return kWrongUsage;
        case End::kNoDaemon:
            return kNoDaemon;
        case End::kNoAnswer:
        case End::kOverwritten:
            return kNoAnswer;
        case End::kNoTurn:
            return kNoTurn;
    }
    return kNoDaemon;
}

void Session_error(Session& session, std::string_view text) {
    session.out.flush();
    session.err << Screen_paint(session.screen.errorColour, Paint::kBad, "avoipctl:") << ' ' << text
                << '\n';
    session.err.flush();
}

void Session_tellLeftOut(Session& session, const std::string& columns) {
    if (columns.empty()) {
        return;
    }
    session.out.flush();
    session.err << Screen_paint(session.screen.errorColour, Paint::kFaint,
                                "Not shown: " + columns + ". --columns shows what you name.")
                << std::endl;
}

}  // namespace avoip::ctl
