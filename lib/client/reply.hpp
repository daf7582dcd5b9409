// What is asked of the daemon, and how that ends: the words between whoever decides what to ask and
// whoever does the asking.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"

namespace avoip {

/// A command of the catalogue with a value for each of its arguments.
struct Request {
    const Command* command;
    std::vector<std::string> values = {};
};

/// How a request ended.
enum class End {
    kSuccess,      ///< the daemon answered success, and what was read is verified
    kFailure,      ///< the daemon answered failure
    kRefused,      ///< the console could not carry it, or not to whom it is meant; nothing was sent
    kNoDaemon,     ///< no daemon, no answer segment, no lock file or no memory
    kNoTurn,       ///< other front ends had their turn all the time; nothing was sent
    kNoAnswer,     ///< no answer in time
    kOverwritten,  ///< the daemon is done with it, but its answer was overwritten
    kUnreadable,   ///< what came is no answer
    kUnverified    ///< answers came, but they may have been meant for other questions
};

struct Reply {
    End end = End::kSuccess;
    std::string text = {};    ///< the console text that this is about
    std::string reason = {};  ///< in a sentence or two, where neither success nor failure says it
    std::string json = {};    ///< the answer as it came; empty when none did
    Answer answer = {};

    [[nodiscard]] bool succeeded() const { return end == End::kSuccess; }
};

/// Asks the daemon once and waits for the answer.
using Ask = std::function<Reply(const Request&)>;

}  // namespace avoip
