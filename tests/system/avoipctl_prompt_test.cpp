// The prompt of avoipctl, with and without a terminal.
#include <fstream>
#include <string>

#include "avoipctl_bed.hpp"
#include "bed/stand_in.hpp"
#include "gtest/gtest.h"
#include "terminal.hpp"

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

TEST_F(AvoipctlAlone, drops_the_line_that_is_typed_at_ctrl_c) {
    bed::StandIn daemon(smallNetwork);
    Terminal terminal(folder);
    terminal.await("avoip> ");
    terminal.type("matrix set tx01 rx");
    terminal.await("tx01 rx");
    terminal.type("\x03");
    terminal.await("^C\n");
    terminal.await("avoip> ");
    terminal.type("matrix set tx02 rx01\r");
    terminal.await("Sent.\n");
    terminal.await("avoip> ");
    terminal.type("quit\r");
    EXPECT_EQ(terminal.awaitEnd(), 0);
    EXPECT_EQ(daemon.lines().back(), "matrix set tx02 rx01!");
}

TEST_F(AvoipctlAlone, returns_from_a_command_to_the_prompt_at_ctrl_c) {
    // A daemon that answers nobody who reads a route.
    bed::StandIn daemon([](const std::string& line) {
        return line.starts_with("serial matrix get") ? std::nullopt : smallNetwork(line);
    });
    Terminal terminal(folder);
    terminal.await("avoip> ");
    terminal.type("serial-matrix get rx01\r");
    bed::awaitCondition("the question", [&] {
        const auto lines = daemon.lines();
        return !lines.empty() && lines.back() == "serial matrix get rx01!";
    });
    terminal.type("\x03");
    terminal.await(
        "avoipctl: Interrupted. Nothing is changed; the daemon waits for replies some seconds "
        "longer.\n");
    terminal.await("avoip> ");
    terminal.type("matrix set tx02 rx01!\r");
    terminal.await(success("matrix sets"));
    terminal.await("avoip> ");
    terminal.type("quit\r");
    EXPECT_EQ(terminal.awaitEnd(), 0);
}

TEST_F(AvoipctlAlone, ends_by_the_signal_at_ctrl_c_in_a_shell) {
    bed::StandIn daemon([](const std::string& line) {
        return line.starts_with("matrix set") ? std::nullopt : smallNetwork(line);
    });
    Terminal terminal(folder, {.arguments = {"matrix", "set", "tx01", "rx01"}});
    bed::awaitCondition("the command", [&] {
        const auto lines = daemon.lines();
        return !lines.empty() && lines.back() == "matrix set tx01 rx01!";
    });
    terminal.type("\x03");
    terminal.await("What was sent already is carried out; ask the device what became of it.\n");
    EXPECT_EQ(terminal.awaitEnd(), -SIGINT);
}

TEST_F(AvoipctlAlone, passes_over_comments_at_the_prompt) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(prompt("# matrix set tx01 rx01!\n  # nothing\nmatrix get rx01 # its route\n"),
              (Outcome{0, "decoder  rx01\nencoder  tx02\n", ""}));
}

TEST_F(AvoipctlAlone, helps_at_a_question_mark) {
    EXPECT_EQ(prompt("?\n"), prompt("help\n"));
    EXPECT_EQ(prompt("matrix ?\n"), prompt("help matrix\n"));
    EXPECT_EQ(prompt("matrix set ?\n").status, 0);
}

TEST_F(AvoipctlAlone, calls_a_full_output_device_an_error) {
    bed::StandIn daemon(smallNetwork);
    bed::DaemonOptions shell = options({"-c", "exec \"$0\" decoders > /dev/full", AVOIPCTL_PATH});
    shell.program = "/bin/sh";
    bed::Daemon program(shell);
    EXPECT_EQ(end(program), (Outcome{1, "",
                                     "avoipctl: The output could not be written (No space left on "
                                     "device).\n"}));
}

TEST_F(AvoipctlAlone, asks_at_a_terminal_before_a_console_text_that_concerns_every_device) {
    bed::StandIn daemon(
        [](const std::string& line) { return success(line.substr(0, line.size() - 1)); });
    Terminal terminal(folder);
    terminal.await("avoip> ");
    terminal.type("device all reboot!\r");
    terminal.await("Reboot all devices: go on? [y/N] ");
    terminal.type("n\r");
    terminal.await("Nothing was sent.\n");
    terminal.await("avoip> ");
    EXPECT_TRUE(daemon.lines().empty());
    terminal.type("quit\r");
    EXPECT_EQ(terminal.awaitEnd(), 0);
    EXPECT_EQ(prompt("device all reboot!\n").status, 0);
}

TEST_F(AvoipctlAlone, completes_aliases_in_quotes_and_paths_at_a_terminal) {
    know({"rx01", "tx01"});
    std::ofstream(folder + "/state/avoipctl/devices", std::ios::app) << "alias Meeting room 2\n";
    std::ofstream(folder + "/picture.bin") << "x";
    Terminal terminal(folder);
    terminal.await("avoip> ");
    terminal.type("matrix get Mee\t");
    terminal.await("'Meeting room 2'");
    terminal.type("\x03");
    terminal.await("avoip> ");
    terminal.type("image " + folder + "/pic\t");
    terminal.await("/picture.bin");
    terminal.type("\x03");
    terminal.await("avoip> ");
    // What a subcommand and a console text have in common is offered once.
    terminal.type("matrix get r\t");
    terminal.await("rx01");
    terminal.type("\x03");
    terminal.await("avoip> ");
    terminal.type("quit\r");
    EXPECT_EQ(terminal.awaitEnd(), 0);
}
