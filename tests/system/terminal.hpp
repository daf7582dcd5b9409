// avoipctl at a terminal of the test's own, of any width: typed keys, and what the screen shows.
#pragma once

#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bed/wait.hpp"
#include "gtest/gtest.h"
#include "lib/base/descriptor.hpp"

struct TerminalOptions {
    std::string program = AVOIPCTL_PATH;
    std::vector<std::string> arguments = {};
    std::uint16_t columns = 80;
    /// "dumb" takes no colours, and no more of the editor than it has to.
    std::string type = "dumb";
    /// "NAME=value" texts.
    std::vector<std::string> environment = {};
};

class Terminal {
  public:
    explicit Terminal(const std::string& folder, const TerminalOptions& options = {}) {
        winsize size{.ws_row = 24, .ws_col = options.columns, .ws_xpixel = 0, .ws_ypixel = 0};
        int screen = -1;
        child_ = ::forkpty(&screen, nullptr, nullptr, &size);
        if (child_ == 0) {
            ::unsetenv("NO_COLOR");
            ::setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
            ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1);
            ::setenv("TERM", options.type.c_str(), 1);
            run(options);
        }
        screen_ = avoip::Descriptor(screen);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        screen_.reset();
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
        }
    }

    void type(std::string_view keys) const {
        ASSERT_EQ(::write(screen_.get(), keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }

    /// Waits until the screen shows `text`, behind what was awaited before, and gives what stood
    /// between the two.
    std::string await(const std::string& text) {
        std::size_t found = 0;
        while ((found = shown_.find(text)) == std::string::npos) {
            if (!bed::awaitReadable(screen_.get())) {
                throw bed::Error("no \"" + text + "\" on the screen but: " + shown_);
            }
            if (!readPiece()) {
                throw bed::Error("the program ended without \"" + text + "\": " + shown_);
            }
        }
        std::string before = shown_.substr(0, found);
        shown_.erase(0, found + text.size());
        return before;
    }

    /// Waits for the end of the program; its exit status, or the negative signal that ended it.
    int awaitEnd() {
        bool readable = true;
        while ((readable = bed::awaitReadable(screen_.get())) && readPiece()) {
        }
        if (!readable) {
            ::kill(child_, SIGKILL);
        }
        int status = 0;
        ::waitpid(child_, &status, 0);
        child_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// What was shown behind what was awaited last, with line ends as the program wrote them.
    [[nodiscard]] const std::string& shown() const { return shown_; }

  private:
    [[noreturn]] static void run(const TerminalOptions& options) {
        std::vector<std::string> environment = options.environment;
        for (std::string& text : environment) {
            ::putenv(text.data());
        }
        std::vector<std::string> words = options.arguments;
        words.insert(words.begin(), options.program);
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        ::execv(options.program.c_str(), pointers.data());
        ::_exit(127);
    }

    bool readPiece() {
        std::array<char, 4096> piece{};
        const ssize_t count = ::read(screen_.get(), piece.data(), piece.size());
        for (ssize_t i = 0; i < count; ++i) {
            // The terminal writes CR LF where the program wrote LF.
            if (piece[static_cast<std::size_t>(i)] == '\n' && shown_.ends_with('\r')) {
                shown_.pop_back();
            }
            shown_ += piece[static_cast<std::size_t>(i)];
        }
        return count > 0;
    }

    pid_t child_ = -1;
    avoip::Descriptor screen_;
    std::string shown_;
};

/// How a run at a terminal ended, and all that it has shown.
struct Shown {
    int status;
    std::string text;
    bool operator==(const Shown&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Shown& shown) {
    return out << "status " << shown.status << "\n" << shown.text;
}

/// Runs the words of `options` at a terminal until they end by themselves.
inline Shown runAtTerminal(const std::string& folder, const TerminalOptions& options) {
    Terminal terminal(folder, options);
    const int status = terminal.awaitEnd();
    return {status, terminal.shown()};
}
