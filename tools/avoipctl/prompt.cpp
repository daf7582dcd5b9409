#include "avoipctl/prompt.hpp"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "avoipctl/cli.hpp"
#include "avoipctl/editor.hpp"
#include "avoipctl/everyone.hpp"
#include "avoipctl/interrupt.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/run.hpp"

namespace avoip::ctl {
namespace {

constexpr std::string_view kHelp = "--help";

Status runPlain(Session& session) {
    Status last = kSuccess;
    for (std::string line; session.out && std::getline(std::cin, line);) {
        if (Prompt_isEnd(line)) {
            break;
        }
        const Status status = Prompt_runLine(session, line);
        last = status == kSuccess ? last : status;
        session.out.flush();
    }
    return last;
}

/// What is done in the process of a line: the line, and the end.
[[noreturn]] void runChild(Session& session, const std::string& line) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ::signal(SIGINT, SIG_DFL);
    Interrupt_install();
    Prompt_runLine(session, line);
    session.out.flush();
    std::fflush(nullptr);
    // Not through the ends of the objects, which are the prompt's: the editor, the terminal.
    ::_exit(0);
}

/// Runs a line in a process of its own, so that Ctrl-C ends the line and not the prompt.
void runApart(Session& session, const std::string& line) {
    session.out.flush();
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        runChild(session, line);
    }
    if (child < 0) {
        Session_error(session, std::string("No process for this line: ") + std::strerror(errno));
        return;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) != SIGINT) {
        Session_error(session,
                      std::string("The command has ended: ") + ::strsignal(WTERMSIG(status)) + ".");
    }
}

Status runAtTerminal(Session& session) {
    // It is for the line that runs.
    ::signal(SIGINT, SIG_IGN);
    Editor editor;
    std::string line;
    while (editor.read(line)) {
        if (Prompt_isEnd(line)) {
            return kSuccess;
        }
        if (!Line_words(line).empty()) {
            runApart(session, line);
        }
    }
    session.out << '\n';
    return kSuccess;
}

}  // namespace

Status Prompt_run(Session& session) {
    session.atPrompt = true;
    return ::isatty(STDIN_FILENO) != 0 ? runAtTerminal(session) : runPlain(session);
}

bool Prompt_isEnd(std::string_view line) {
    const std::vector<std::string> words = Line_words(line);
    return words == std::vector<std::string>{"quit"} || words == std::vector<std::string>{"exit"};
}

Status Prompt_runLine(Session& session, const std::string& line) {
    const std::string_view text = Line_trimmed(line);
    if (text.ends_with('!') && !text.starts_with('#')) {
        const Command* const command = Catalogue_commandOf(text);
        if (command != nullptr && ::isatty(STDIN_FILENO) != 0) {
            if (const Status meant = Everyone_ask(session, *command); meant != kSuccess) {
                return meant;
            }
        }
        return Run_send(session, std::string(text));
    }
    std::vector<std::string> words = Line_words(text);
    if (words.empty()) {
        return kSuccess;
    }
    if (words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back(kHelp);
    } else if (words.back() == "?") {
        words.back() = kHelp;
    }
    // Options of a line hold for that line.
    const Options kept = session.options;
    const Status status = Cli_run(session, words);
    session.options = kept;
    return status;
}

}  // namespace avoip::ctl
