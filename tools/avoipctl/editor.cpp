#include "avoipctl/editor.hpp"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "avoipctl/completion.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/state.hpp"

namespace avoip::ctl {
namespace {

constexpr int kHistoryLines = 1000;
constexpr const char* kPrompt = "avoip> ";

void setInterruptKey(cc_t key) {
    termios settings{};
    if (::tcgetattr(STDIN_FILENO, &settings) == 0) {
        settings.c_cc[VINTR] = key;
        ::tcsetattr(STDIN_FILENO, TCSADRAIN, &settings);
    }
}

cc_t interruptKey() {
    termios settings{};
    return ::tcgetattr(STDIN_FILENO, &settings) == 0 ? settings.c_cc[VINTR] : cc_t{_POSIX_VDISABLE};
}

/// The editor asks for the prompt whenever it has just taken the terminal. While a line is typed,
/// Ctrl-C is a key and no signal.
const char* promptText(EditLine*) {
    setInterruptKey(_POSIX_VDISABLE);
    return kPrompt;
}

/// The words up to the cursor; the last is the one being typed, empty behind a blank.
std::vector<std::string> wordsBefore(const LineInfo& info) {
    const std::string_view typed(info.buffer, static_cast<std::size_t>(info.cursor - info.buffer));
    std::vector<std::string> words = Line_words(typed);
    if (typed.empty() || typed.back() == ' ') {
        words.emplace_back();
    }
    return words;
}

/// The tab key: adds what is certain; where nothing is, shows what is possible.
unsigned char complete(EditLine* editLine, wint_t) {
    const std::vector<std::string> words = wordsBefore(*::el_line(editLine));
    const std::vector<std::string> candidates =
        Completion_candidates(words, State_identities(), true);
    if (candidates.empty()) {
        return CC_REFRESH_BEEP;
    }
    const std::string addition = Completion_commonStart(candidates).substr(words.back().size());
    if (!addition.empty()) {
        return ::el_insertstr(editLine, addition.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    }
    std::fputc('\n', stdout);
    for (const std::string& candidate : candidates) {
        std::printf("%s  ", candidate.c_str());
    }
    std::fputc('\n', stdout);
    return CC_REDISPLAY;
}

/// Ctrl-C: drops the line.
unsigned char drop(EditLine* editLine, wint_t) {
    const LineInfo& info = *::el_line(editLine);
    const auto length = static_cast<int>(info.lastchar - info.buffer);
    ::el_cursor(editLine, static_cast<int>(info.lastchar - info.cursor));
    ::el_deletestr(editLine, length);
    std::fputs("^C\n", stdout);
    return CC_REDISPLAY;
}

}  // namespace

Editor::Editor()
    : history_(::history_init()),
      edit_(::el_init("avoipctl", stdin, stdout, stderr)),
      history_path_(State_file("history").string()) {
    HistEvent event{};
    ::history(history_.get(), &event, H_SETSIZE, kHistoryLines);
    ::history(history_.get(), &event, H_SETUNIQUE, 1);
    if (!history_path_.empty()) {
        ::history(history_.get(), &event, H_LOAD, history_path_.c_str());
    }
    ::el_set(edit_.get(), EL_PROMPT, &promptText);
    ::el_set(edit_.get(), EL_EDITOR, "emacs");
    ::el_set(edit_.get(), EL_SIGNAL, 1);
    ::el_set(edit_.get(), EL_HIST, &::history, history_.get());
    // The wide form: the other one leaks copies of the two texts.
    ::el_wset(edit_.get(), EL_ADDFN, L"avoipctl-complete", L"Complete the word", &complete);
    ::el_set(edit_.get(), EL_BIND, "^I", "avoipctl-complete", nullptr);
    ::el_wset(edit_.get(), EL_ADDFN, L"avoipctl-drop", L"Drop the line", &drop);
    ::el_set(edit_.get(), EL_BIND, "^C", "avoipctl-drop", nullptr);
    ::el_source(edit_.get(), nullptr);
}

bool Editor::read(std::string& line) {
    int count = 0;
    const cc_t key = interruptKey();
    const char* const typed = ::el_gets(edit_.get(), &count);
    setInterruptKey(key);
    if (typed == nullptr || count <= 0) {
        return false;
    }
    line = Line_trimmed(typed);
    if (!line.empty()) {
        HistEvent event{};
        ::history(history_.get(), &event, H_ENTER, line.c_str());
        // Saved after every line, so that an interrupt loses nothing.
        if (!history_path_.empty()) {
            ::history(history_.get(), &event, H_SAVE, history_path_.c_str());
        }
    }
    return true;
}

}  // namespace avoip::ctl
