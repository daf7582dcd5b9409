// What avoipctl shows on terminals of 60, 80 and 200 columns, with and without colours.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "avoipctl_bed.hpp"
#include "bed/stand_in.hpp"
#include "gtest/gtest.h"
#include "terminal.hpp"

namespace {

class AvoipctlAtTerminal : public AvoipctlAlone {
  protected:
    [[nodiscard]] Shown show(std::vector<std::string> words, std::uint16_t columns,
                             const std::string& type = "dumb",
                             std::vector<std::string> environment = {}) const {
        return runAtTerminal(folder, {.arguments = std::move(words),
                                      .columns = columns,
                                      .type = type,
                                      .environment = std::move(environment)});
    }
};

/// Names that are completed: a device with an alias among them.
class AvoipctlInShells : public Avoipctl {
  protected:
    AvoipctlInShells() {
        know({"rx01", "tx01", "tx02"});
        std::ofstream(folder + "/state/avoipctl/devices", std::ios::app)
            << "alias Meeting room 2\n";
        std::filesystem::create_directories(folder + "/images/old");
    }

    /// What a program prints, which finds avoipctl by its name.
    [[nodiscard]] std::string printedBy(std::vector<std::string> words) const {
        bed::DaemonOptions made = options({words.begin() + 1, words.end()});
        made.program = words.front();
        made.environment.push_back(path);
        made.environment.push_back("HOME=" + folder);
        bed::Daemon program(made);
        const Outcome outcome = end(program);
        return outcome.output + outcome.errors;
    }

    [[nodiscard]] std::string inBash(const std::string& words) const {
        return printedBy({"/bin/bash", "-c",
                          "eval \"$(avoipctl --bash-completion)\"\nCOMP_WORDS=(avoipctl " + words +
                              ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_avoipctl avoipctl\n"
                              "printf '%s\\n' \"${COMPREPLY[@]}\""});
    }

    const std::string path =
        "PATH=" + std::filesystem::path(AVOIPCTL_PATH).parent_path().string() + ":/usr/bin:/bin";
};

std::size_t widest(const std::string& text) {
    std::istringstream lines(text);
    std::size_t width = 0;
    for (std::string line; std::getline(lines, line);) {
        width = std::max(width, line.size());
    }
    return width;
}

constexpr const char* kWhole =
    "IDENTITY  TYPE  ALIAS  ADDRESS    NETMASK      GATEWAY    MAC ADDRESS        STATUS  "
    "VERSION\n"
    "tx01      T     A      10.77.0.2  255.255.0.0  10.77.0.1  02:00:00:00:00:01  on      "
    "V1.0.0\n"
    "tx02      T     A      10.77.0.2  255.255.0.0  10.77.0.1  02:00:00:00:00:01  on      "
    "V1.0.0\n";

constexpr const char* kAt80 =
    "IDENTITY  TYPE  ALIAS  ADDRESS    GATEWAY    MAC ADDRESS        STATUS  VERSION\n"
    "tx01      T     A      10.77.0.2  10.77.0.1  02:00:00:00:00:01  on      V1.0.0\n"
    "tx02      T     A      10.77.0.2  10.77.0.1  02:00:00:00:00:01  on      V1.0.0\n"
    "Not shown: netmask. --columns shows what you name.\n";

constexpr const char* kAt60 =
    "IDENTITY  TYPE  ALIAS  ADDRESS    STATUS  VERSION\n"
    "tx01      T     A      10.77.0.2  on      V1.0.0\n"
    "tx02      T     A      10.77.0.2  on      V1.0.0\n"
    "Not shown: netmask, gateway, MAC address. --columns shows what you name.\n";

}  // namespace

TEST_F(AvoipctlAtTerminal, fits_a_list_to_its_width) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(show({"encoders"}, 200), (Shown{0, kWhole}));
    EXPECT_EQ(show({"encoders"}, 80), (Shown{0, kAt80}));
    EXPECT_EQ(show({"encoders"}, 60), (Shown{0, kAt60}));
    EXPECT_EQ(run({"encoders"}), (Outcome{0, kWhole, ""}));
}

TEST_F(AvoipctlAtTerminal, has_colours_unless_they_are_refused) {
    bed::StandIn daemon(smallNetwork);
    for (const std::uint16_t columns : std::initializer_list<std::uint16_t>{60, 80, 200}) {
        const std::string shown = show({"encoders"}, columns, "xterm").text;
        EXPECT_TRUE(shown.starts_with("\x1b[1mIDENTITY  TYPE")) << shown;
        EXPECT_EQ(show({"encoders"}, columns, "xterm", {"NO_COLOR=1"}),
                  show({"encoders"}, columns));
        EXPECT_EQ(show({"encoders"}, columns).text.find('\x1b'), std::string::npos);
    }
    EXPECT_TRUE(show({"matrx"}, 80, "xterm").text.starts_with("\x1b[31mavoipctl:\x1b[0m "));
    know({"tx02", "rx01"});
    EXPECT_EQ(show({"matrix", "set", "tx02", "rx01", "--verify"}, 80, "xterm").text,
              "Sent: \x1b[32mconfirmed\x1b[0m.\n");
}

TEST_F(AvoipctlAtTerminal, shows_the_columns_that_are_named_at_any_width) {
    bed::StandIn daemon(smallNetwork);
    const std::string table = "VERSION  IDENTITY\nV1.0.0   tx01\nV1.0.0   tx02\n";
    EXPECT_EQ(show({"encoders", "--columns", "version,hostid"}, 60), (Shown{0, table}));
    EXPECT_EQ(run({"encoders", "--columns", "Vers,identity"}), (Outcome{0, table, ""}));
    EXPECT_EQ(run({"encoders", "--columns", "a"}),
              (Outcome{2, "",
                       "avoipctl: \"a\" is no column of this list. Its columns are: identity, "
                       "type, alias, address, netmask, gateway, mac-address, status, version.\n"}));
}

TEST_F(AvoipctlAtTerminal, shows_routes_as_a_list_where_the_matrix_is_too_wide) {
    bed::StandIn daemon([](const std::string& line) -> std::optional<std::string> {
        std::string encoders;
        for (int i = 10; i < 25; ++i) {
            encoders += (encoders.empty() ? "" : ",") + device("tx" + std::to_string(i));
        }
        return line == "config get encoders!"
                   ? success("config get encoders", ",\"devicelist\":[" + encoders + "]")
                   : smallNetwork(line);
    });
    const Shown narrow = show({"routes"}, 80);
    EXPECT_NE(narrow.text.find("DECODER  DECODER ALIAS  ENCODER  ENCODER ALIAS  NOTE\n"),
              std::string::npos)
        << narrow;
    EXPECT_NE(narrow.text.find("rx01     A              tx02     A              not listed\n"),
              std::string::npos)
        << narrow;
    EXPECT_NE(show({"routes"}, 200).text.find("DECODER  tx10  tx11"), std::string::npos);
}

TEST_F(AvoipctlAtTerminal, helps_on_one_screen) {
    const Shown help = show({"--help"}, 80);
    EXPECT_LE(std::ranges::count(help.text, '\n'), 24);
    EXPECT_LE(widest(help.text), 80U);
    for (const char* const name : {"devices", "routes", "wall", "update", "send", "--help-all"}) {
        EXPECT_NE(help.text.find(name), std::string::npos) << name;
    }
}

TEST_F(AvoipctlAtTerminal, watches_a_list_until_ctrl_c) {
    bed::StandIn daemon(smallNetwork);
    Terminal terminal(folder, {.arguments = {"encoders", "--watch", "--interval", "0.1"}});
    for (int look = 0; look < 3; ++look) {
        terminal.await("\x1b[H\x1b[2J");
        terminal.await(", Ctrl-C ends\n\nIDENTITY  TYPE");
    }
    terminal.type("\x03");
    EXPECT_EQ(terminal.awaitEnd(), -SIGINT);
    EXPECT_EQ(terminal.shown().find("Interrupted"), std::string::npos);
}

TEST_F(AvoipctlAtTerminal, watches_through_a_time_without_a_daemon) {
    std::optional<bed::StandIn> daemon(smallNetwork);
    Terminal terminal(folder, {.arguments = {"routes", "--watch", "--interval", "0.1"}});
    terminal.await("DECODER  tx01");
    daemon.reset();
    terminal.await("No daemon at 127.0.0.1");
    daemon.emplace(smallNetwork);
    terminal.await("DECODER  tx01");
}

TEST_F(AvoipctlAtTerminal, asks_before_what_concerns_every_device) {
    bed::StandIn daemon(
        [](const std::string& line) { return success(line.substr(0, line.size() - 1)); });
    Terminal refused(folder, {.arguments = {"device", "reboot-all"}});
    refused.await("Reboot all devices: go on? [y/N] ");
    refused.type("\r");
    refused.await("avoipctl: Nothing was sent.\n");
    EXPECT_EQ(refused.awaitEnd(), 1);
    EXPECT_TRUE(daemon.lines().empty());

    Terminal accepted(folder, {.arguments = {"device", "reboot-all"}});
    accepted.await("go on? [y/N] ");
    accepted.type("y\r");
    accepted.await("Sent.\n");
    EXPECT_EQ(accepted.awaitEnd(), 0);
    EXPECT_EQ(daemon.lines(), std::vector<std::string>{"device all reboot!"});
}

TEST_F(AvoipctlAtTerminal, sends_nothing_to_every_device_where_nobody_can_be_asked) {
    bed::StandIn daemon(
        [](const std::string& line) { return success(line.substr(0, line.size() - 1)); });
    EXPECT_EQ(prompt("device reboot-all\nserial-matrix clear-all\n"),
              (Outcome{2, "",
                       "avoipctl: \"device reboot-all\" is for every device, and there is no "
                       "terminal to ask at: add --yes. Nothing was sent.\n"
                       "avoipctl: \"serial-matrix clear-all\" is for every device, and there is no "
                       "terminal to ask at: add --yes. Nothing was sent.\n"}));
    EXPECT_TRUE(daemon.lines().empty());
    EXPECT_EQ(prompt("device reboot-all --yes\n"), (Outcome{0, "Sent.\n", ""}));
}

TEST_F(AvoipctlInShells, completes_in_bash) {
    EXPECT_EQ(inBash("matrix s"), "set\nset-all\n");
    EXPECT_EQ(inBash("matrix set t"), "tx01\ntx02\n");
    EXPECT_EQ(inBash("encoder get Mee"), "Meeting\\ room\\ 2\n");
    EXPECT_EQ(inBash("encoder set tx01 --bit"), "--bitrate\n");
    EXPECT_EQ(inBash("image " + folder + "/im"), folder + "/images/\n");
}

TEST_F(AvoipctlInShells, completes_in_fish) {
    EXPECT_EQ(printedBy({"/usr/bin/fish", "-c",
                         "avoipctl --fish-completion | source; complete -C 'avoipctl matrix s'; "
                         "complete -C 'avoipctl encoder get Mee'"}),
              "set\nset-all\nMeeting room 2\n");
}

TEST_F(AvoipctlInShells, completes_in_zsh) {
    Terminal zsh(folder, {.program = "/usr/bin/zsh",
                          .arguments = {"-f", "-i"},
                          .environment = {path, "HOME=" + folder, "PS1=% "}});
    zsh.type("autoload -U compinit; compinit -u -D; eval \"$(avoipctl --zsh-completion)\"\r");
    zsh.type("echo r''eady\r");
    zsh.await("ready\n");
    zsh.type("avoipctl encoder get Mee\t");
    zsh.await("ting\\ room\\ 2");
    zsh.type(
        "\x15"
        "avoipctl matrix set tx02 r\t");
    zsh.await("x01");
}
