#include "avoipctl/session.hpp"

#include <cstdlib>
#include <ostream>

namespace avoip::ctl {
namespace {

Status statusOf(avoip_result result) {
    switch (result) {
        case AVOIP_OK:
            return kSuccess;
        case AVOIP_REFUSED:
            return kWrongUsage;
        case AVOIP_NO_DAEMON:
        case AVOIP_NO_SEGMENT:
        case AVOIP_NO_LOCK:
        case AVOIP_NO_MEMORY:
            return kNoDaemon;
        case AVOIP_TIME_OUT:
            return kNoAnswer;
    }
    return kNoDaemon;
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

Status Session_ask(Session& session, const std::string& text, int timeout_ms, std::string& answer) {
    const Options& options = session.options;
    if (session.frontend == nullptr) {
        session.frontend.reset(avoip_frontend_open(options.host.c_str(), options.port));
    }
    if (session.frontend == nullptr) {
        Session_error(session, "No memory.");
        return kNoDaemon;
    }
    const int wait_ms =
        options.timeout_s > 0 ? static_cast<int>(options.timeout_s * 1000) : timeout_ms;
    char* copy = nullptr;
    const avoip_result result =
        avoip_frontend_ask(session.frontend.get(), text.c_str(), wait_ms, &copy);
    const std::unique_ptr<char, Free> owner(copy);
    if (result != AVOIP_OK) {
        Session_error(session, avoip_frontend_error(session.frontend.get()));
        return statusOf(result);
    }
    answer = owner.get();
    return kSuccess;
}

void Session_error(Session& session, std::string_view text) {
    session.out.flush();
    session.err << "avoipctl: " << text << '\n';
    session.err.flush();
}

}  // namespace avoip::ctl
