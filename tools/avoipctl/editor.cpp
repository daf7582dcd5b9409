#include "avoipctl/editor.hpp"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "avoipctl/completion.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/screen.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/table.hpp"

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

/// The words of what is typed; the last is the one being typed, empty behind a blank.
std::vector<std::string> wordsOf(std::string_view typed) {
    std::vector<std::string> words = Line_words(typed);
    if (Line_lastWord(typed) == typed.size()) {
        words.emplace_back();
    }
    return words;
}

/// Puts `text` in place of the last `count` characters before the cursor.
unsigned char replace(EditLine* editLine, std::size_t count, const std::string& text) {
    ::el_deletestr(editLine, static_cast<int>(count));
    return ::el_insertstr(editLine, text.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

/// Shows what is possible, in columns that fit the terminal.
void showCandidates(std::span<const std::string> candidates) {
    std::size_t widest = 0;
    for (const std::string& candidate : candidates) {
        widest = std::max(widest, Table_textWidth(candidate) + 2);
    }
    const auto room = static_cast<std::size_t>(std::max(Screen_now().columns, 1));
    const std::size_t across = std::max<std::size_t>(room / widest, 1);
    std::string text = "\n";
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const bool last = (i + 1) % across == 0 || i + 1 == candidates.size();
        text.append(candidates[i]);
        text.append(last ? 0 : widest - Table_textWidth(candidates[i]), ' ');
        text.append(last ? "\n" : "");
    }
    std::fputs(text.c_str(), stdout);
}

/// The tab key: adds what is certain; where nothing is, shows what is possible.
unsigned char complete(EditLine* editLine, wint_t) {
    const LineInfo& info = *::el_line(editLine);
    const std::string_view typed(info.buffer, static_cast<std::size_t>(info.cursor - info.buffer));
    const std::vector<std::string> words = wordsOf(typed);
    const std::vector<std::string> candidates =
        Completion_candidates(words, {State_identities(), State_aliases()}, true);
    if (candidates.empty()) {
        return CC_REFRESH_BEEP;
    }
    if (candidates.size() == 1) {
        return replace(editLine, typed.size() - Line_lastWord(typed),
                       Completion_typed(candidates.front()));
    }
    const std::string addition = Completion_commonStart(candidates).substr(words.back().size());
    if (!addition.empty() && addition.find(' ') == std::string::npos) {
        return ::el_insertstr(editLine, addition.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    }
    showCandidates(candidates);
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
      historyPath_(State_file("history").string()) {
    HistEvent event{};
    ::history(history_.get(), &event, H_SETSIZE, kHistoryLines);
    ::history(history_.get(), &event, H_SETUNIQUE, 1);
    if (!historyPath_.empty()) {
        ::history(history_.get(), &event, H_LOAD, historyPath_.c_str());
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
        if (!historyPath_.empty()) {
            ::history(history_.get(), &event, H_SAVE, historyPath_.c_str());
        }
    }
    return true;
}

}  // namespace avoip::ctl
