// The prompt of avoipctl, with and without a terminal.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>

#include "avoipctl_bed.hpp"
#include "bed/stand_in.hpp"
#include "bed/wait.hpp"
#include "gtest/gtest.h"

namespace {

/// avoipctl at a terminal of the test's own.
class Terminal {
  public:
    explicit Terminal(const std::string& folder) {
        int screen = -1;
        child_ = ::forkpty(&screen, nullptr, nullptr, nullptr);
        if (child_ == 0) {
            ::setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
            ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1);
            ::setenv("TERM", "dumb", 1);
            ::execl(AVOIPCTL_PATH, "avoipctl", nullptr);
            ::_exit(127);
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

    /// Waits until the screen shows `text`, behind what was awaited before.
    void await(const std::string& text) {
        std::size_t found = 0;
        while ((found = shown_.find(text)) == std::string::npos) {
            std::array<char, 4096> piece{};
            if (!bed::awaitReadable(screen_.get())) {
                throw bed::Error("no \"" + text + "\" on the screen but: " + shown_);
            }
            const ssize_t count = ::read(screen_.get(), piece.data(), piece.size());
            if (count <= 0) {
                throw bed::Error("the program ended without \"" + text + "\": " + shown_);
            }
            shown_.append(piece.data(), static_cast<std::size_t>(count));
        }
        shown_.erase(0, found + text.size());
    }

    /// Waits for the end of the program, and passes over what it shows until then; its exit status.
    int awaitEnd() {
        std::array<char, 4096> piece{};
        bool readable = true;
        while ((readable = bed::awaitReadable(screen_.get())) &&
               ::read(screen_.get(), piece.data(), piece.size()) > 0) {
        }
        if (!readable) {
            ::kill(child_, SIGKILL);
        }
        int status = 0;
        ::waitpid(child_, &status, 0);
        child_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t child_ = -1;
    avoip::Descriptor screen_;
    std::string shown_;
};

}  // namespace

TEST_F(AvoipctlAlone, reads_lines_to_their_end_where_there_is_no_terminal) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(prompt("matrix set tx01 rx01!\n\n  matrix get rx01  \r\nmatrix set tx02 rx01"),
              (Outcome{0,
                       success("matrix sets") + "\n"
                                                "decoder  rx01\n"
                                                "encoder  tx02\n"
                                                "Sent.\n",
                       ""}));
    EXPECT_EQ(daemon.connectionCount(), 1U);
}

TEST_F(AvoipctlAlone, gives_the_status_of_the_last_line_that_did_not_succeed) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(prompt("matrix get rx09!\nmatrix set tx01 rx01!\n").status, 1);
    EXPECT_EQ(prompt("matrix get rx09!\nmatrx set tx01 rx01\nquit\nmatrix get rx09!\n").status, 2);
    EXPECT_EQ(prompt("").status, 0);
}

TEST_F(AvoipctlAlone, says_at_the_prompt_that_a_console_text_ends_in_an_exclamation_mark) {
    EXPECT_EQ(prompt("config get devices\n"), (Outcome{2, "",
                                                       "avoipctl: \"config\" is no subcommand.\n"
                                                       "A console text ends in \"!\".\n"
                                                       "Type \"help\" for help.\n"}));
}

TEST_F(AvoipctlAlone, keeps_options_of_a_line_to_that_line) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(prompt("--json matrix get rx01\nmatrix get rx01\n").output,
              *smallNetwork("matrix get rx01!") + "\ndecoder  rx01\nencoder  tx02\n");
}

TEST_F(AvoipctlAlone, completes_words_at_a_terminal) {
    bed::StandIn daemon(smallNetwork);
    ASSERT_EQ(run({"devices"}).status, 0);
    Terminal terminal(folder);
    terminal.await("avoip> ");
    terminal.type("matrix s\t");
    terminal.await("set");
    terminal.type(" tx01 rx02!\r");
    terminal.await(success("matrix sets"));
    terminal.await("avoip> ");
    terminal.type("conf\tget de\t");
    terminal.await("decoders!  devices!");
    terminal.type("v\t\r");
    terminal.await(*smallNetwork("config get devices!"));
    terminal.await("avoip> ");
    terminal.type("quit\r");
    EXPECT_EQ(terminal.awaitEnd(), 0);
    EXPECT_EQ(daemon.lines(),
              (std::vector<std::string>{"config get devices!", "matrix set tx01 rx02!",
                                        "config get devices!"}));
}

TEST_F(AvoipctlAlone, brings_lines_back_from_the_history_of_an_earlier_run) {
    bed::StandIn daemon(smallNetwork);
    {
        Terminal first(folder);
        first.await("avoip> ");
        first.type("matrix set tx02 rx01!\r");
        first.await(success("matrix sets"));
        first.await("avoip> ");
        // Not Ctrl-D: before the editor has the terminal, that is for the terminal itself.
        first.type("quit\r");
        EXPECT_EQ(first.awaitEnd(), 0);
    }
    Terminal second(folder);
    second.await("avoip> ");
    // Two lines up: behind "quit".
    second.type("\x10\x10\r");
    second.await(success("matrix sets"));
    second.type("quit\r");
    EXPECT_EQ(second.awaitEnd(), 0);
    EXPECT_EQ(daemon.lines(), (std::vector<std::string>(2, "matrix set tx02 rx01!")));
}
