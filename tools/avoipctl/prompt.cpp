#include "avoipctl/prompt.hpp"

#include <unistd.h>

#include <iostream>

#include "avoipctl/cli.hpp"
#include "avoipctl/editor.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/run.hpp"

namespace avoip::ctl {
namespace {

Status runPlain(Session& session) {
    Status last = kSuccess;
    bool ended = false;
    for (std::string line; !ended && std::getline(std::cin, line);) {
        const Status status = Prompt_runLine(session, line, ended);
        last = status == kSuccess ? last : status;
        session.out.flush();
    }
    return last;
}

Status runAtTerminal(Session& session) {
    Editor editor;
    bool ended = false;
    std::string line;
    while (!ended && editor.read(line)) {
        Prompt_runLine(session, line, ended);
        session.out.flush();
    }
    if (!ended) {
        session.out << '\n';
    }
    return kSuccess;
}

}  // namespace

Status Prompt_run(Session& session) {
    session.atPrompt = true;
    return ::isatty(STDIN_FILENO) != 0 ? runAtTerminal(session) : runPlain(session);
}

Status Prompt_runLine(Session& session, const std::string& line, bool& ended) {
    const std::string_view text = Line_trimmed(line);
    if (text.ends_with('!')) {
        return Run_send(session, std::string(text));
    }
    std::vector<std::string> words = Line_words(text);
    if (words.empty()) {
        return kSuccess;
    }
    if (words == std::vector<std::string>{"quit"} || words == std::vector<std::string>{"exit"}) {
        ended = true;
        return kSuccess;
    }
    if (words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    // Options of a line hold for that line.
    const Options kept = session.options;
    const Status status = Cli_run(session, words);
    session.options = kept;
    return status;
}

}  // namespace avoip::ctl
