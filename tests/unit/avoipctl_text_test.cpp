#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "avoipctl/completion.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/render.hpp"
#include "avoipctl/routes.hpp"
#include "avoipctl/suggest.hpp"
#include "avoipctl/table.hpp"
#include "avoipctl/targets.hpp"
#include "gtest/gtest.h"

namespace avoip::ctl {
namespace {

using Words = std::vector<std::string>;

std::vector<std::string_view> nearest(std::string_view word) {
    const std::vector<std::string_view> candidates{"devices", "device", "decoder", "matrix"};
    return Suggest_nearest(word, candidates);
}

Words candidates(const Words& words, bool consoleTexts = true) {
    return Completion_candidates(words, {{"rx01", "tx01", "tx02"}, {"Lobby", "Meeting room 2"}},
                                 consoleTexts);
}

std::string rendered(std::string_view group, std::string_view action, std::vector<Row> rows) {
    Answer answer;
    answer.rows = std::move(rows);
    return Render_answer(*Catalogue_find(group, action), answer);
}

}  // namespace

TEST(Table, aligns_its_columns_and_ends_lines_without_blanks) {
    const Words headings{"A", "LONG", "C"};
    const std::vector<Words> rows{{"one", "x", ""}, {"1", "wide cell", "y"}};
    EXPECT_EQ(Table_print(headings, rows),
              "A    LONG       C\n"
              "one  x\n"
              "1    wide cell  y\n");
}

TEST(Table, counts_characters_and_not_bytes) {
    const std::vector<Words> rows{{"Zürich", "a"}, {"Bern", "b"}};
    EXPECT_EQ(Table_print({}, rows), "Zürich  a\nBern    b\n");
}

TEST(Table, takes_rows_that_are_shorter_than_others) {
    const std::vector<Words> rows{{"a"}, {"b", "c"}, {}};
    EXPECT_EQ(Table_print({}, rows), "a\nb  c\n\n");
}

TEST(Table, shows_no_device_text_that_steers_the_terminal) {
    const std::vector<Words> rows{{"a\x1b[2Jb", "c"}};
    EXPECT_EQ(Table_print({}, rows), "a?[2Jb  c\n");
}

TEST(Suggest, counts_letters_added_dropped_changed_and_swapped) {
    EXPECT_EQ(Suggest_distance("", ""), 0U);
    EXPECT_EQ(Suggest_distance("abc", ""), 3U);
    EXPECT_EQ(Suggest_distance("", "abc"), 3U);
    EXPECT_EQ(Suggest_distance("devices", "device"), 1U);
    EXPECT_EQ(Suggest_distance("device", "devices"), 1U);
    EXPECT_EQ(Suggest_distance("devixes", "devices"), 1U);
    EXPECT_EQ(Suggest_distance("devcies", "devices"), 1U);
    EXPECT_EQ(Suggest_distance("xdevcies", "devices"), 2U);
}

TEST(Suggest, offers_the_nearest_words_only) {
    EXPECT_EQ(nearest("devcies"), (std::vector<std::string_view>{"devices"}));
    EXPECT_EQ(nearest("devicex"), (std::vector<std::string_view>{"devices", "device"}));
    EXPECT_TRUE(nearest("rabbit").empty());
    EXPECT_TRUE(nearest("").empty());
}

TEST(Suggest, asks_about_all_it_offers) {
    const std::vector<std::string_view> words{"a", "b"};
    EXPECT_EQ(Suggest_question(words), "Did you mean \"a\" or \"b\"?");
    EXPECT_EQ(Suggest_question({}), "");
}

TEST(Suggest, compares_the_first_words_of_a_console_text) {
    EXPECT_EQ(Suggest_forConsoleText("config get device!"), "Did you mean \"config get devices\"?");
    EXPECT_EQ(Suggest_forConsoleText("config set devcie alias tx01 Meeting room!"),
              "Did you mean \"config set device alias\"?");
    EXPECT_EQ(Suggest_forConsoleText("matirx set tx01 rx01!"), "Did you mean \"matrix set\"?");
    EXPECT_EQ(Suggest_forConsoleText("what is this!"), "");
    EXPECT_EQ(Suggest_forConsoleText("!"), "");
}

TEST(Line, splits_at_blanks_and_keeps_what_is_quoted) {
    EXPECT_EQ(Line_words("  alias set\ttx01 'Meeting room 2' "),
              (Words{"alias", "set", "tx01", "Meeting room 2"}));
    EXPECT_EQ(Line_words("a\"b c\"d ''"), (Words{"ab cd", ""}));
    EXPECT_EQ(Line_words("say \"it's\""), (Words{"say", "it's"}));
    EXPECT_EQ(Line_words("open 'end "), (Words{"open", "end "}));
    EXPECT_EQ(Line_words(""), Words{});
}

TEST(Line, is_trimmed_of_blanks_and_line_ends) {
    EXPECT_EQ(Line_trimmed(" \t a b \r\n"), "a b");
    EXPECT_EQ(Line_trimmed(" \n"), "");
}

TEST(Line, is_known_without_its_options_and_their_values) {
    EXPECT_EQ(Line_withoutOptions({"--port", "1", "matrix", "--json", "get", "--timeout=3"}),
              (Words{"matrix", "get"}));
}

TEST(Completion, knows_console_texts_and_subcommands) {
    EXPECT_EQ(candidates({"conf"}), (Words{"config "}));
    EXPECT_EQ(candidates({"config", "get", "d"}), (Words{"decoders!", "devices!"}));
    EXPECT_EQ(candidates({"alias", ""}), (Words{"remove ", "set "}));
    EXPECT_EQ(candidates({"dec"}), (Words{"decoder ", "decoders"}));
    EXPECT_EQ(candidates({"config", "g"}, false), Words{});
}

TEST(Completion, knows_identities_and_choices) {
    EXPECT_EQ(candidates({"alias", "set", "t"}), (Words{"tx01 ", "tx02 "}));
    EXPECT_EQ(candidates({"config", "get", "rx", "edid", "r"}), (Words{"rx01!"}));
    EXPECT_EQ(candidates({"encoder", "set", "tx01", ""}, false), (Words{"H264 ", "H265 "}));
    EXPECT_EQ(candidates({"wall", "set", ""}), Words{});
    EXPECT_EQ(candidates({"alias", "remove", "tx01", ""}), Words{});
    EXPECT_EQ(candidates({"routes", ""}), (Words{"ir", "load ", "save ", "serial", "video"}));
}

TEST(Completion, knows_aliases_and_quotes_them_where_they_hold_blanks) {
    EXPECT_EQ(candidates({"matrix", "get", "L"}, false), (Words{"Lobby"}));
    EXPECT_EQ(candidates({"matrix", "set", "Mee"}, false), (Words{"Meeting room 2 "}));
    EXPECT_EQ(Completion_typed("Meeting room 2 "), "'Meeting room 2' ");
    EXPECT_EQ(Completion_typed("devices!"), "devices!");
}

TEST(Completion, offers_a_word_once_that_a_subcommand_and_a_console_text_have) {
    EXPECT_EQ(candidates({"matrix", "get", "r"}), (Words{"rx01"}));
    EXPECT_EQ(candidates({"matrix", "s"}), (Words{"set ", "set-all "}));
}

TEST(Completion, offers_the_options_of_a_subcommand) {
    EXPECT_EQ(candidates({"devices", "--w"}), (Words{"--watch "}));
    EXPECT_EQ(candidates({"encoder", "set", "tx01", "--b"}), (Words{"--bitrate "}));
    EXPECT_EQ(candidates({"device", "reboot-all", "--y"}), (Words{"--yes "}));
    EXPECT_EQ(candidates({"encoder", "set", "tx01", "--bitrate", "8000", "--fp"}),
              (Words{"--fps "}));
}

TEST(Completion, offers_files_and_folders_where_an_image_stands) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("avoip-files-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder / "inner");
    for (const char* const name : {"tx.bin", "txt.bin", ".hidden"}) {
        std::ofstream(folder / name) << "x";
    }
    const std::string path = folder.string();
    EXPECT_EQ(candidates({"update", "encoder", "tx01", path + "/t"}, false),
              (Words{path + "/tx.bin", path + "/txt.bin"}));
    EXPECT_EQ(candidates({"image", path + "/"}),
              (Words{path + "/inner/", path + "/tx.bin", path + "/txt.bin"}));
    EXPECT_EQ(candidates({"update", "tx01", "tx02", path + "/i"}), (Words{path + "/inner/"}));
    std::filesystem::remove_all(folder);
}

TEST(Completion, adds_what_all_candidates_begin_with) {
    EXPECT_EQ(Completion_commonStart(Words{"decoders!", "devices!"}), "de");
    EXPECT_EQ(Completion_commonStart(Words{"a", "ab"}), "a");
    EXPECT_EQ(Completion_commonStart(Words{"ab", "a"}), "a");
    EXPECT_EQ(Completion_commonStart({}), "");
}

TEST(Routes, are_a_matrix_of_decoders_by_encoders) {
    const Words encoders{"tx01", "tx02"};
    const std::vector<Route> routes{{"rx01", "tx02"}, {"rx02", "tx01"}, {"rx03", ""}};
    EXPECT_EQ(Routes_print(encoders, routes),
              "DECODER  tx01  tx02\n"
              "rx01     .     x\n"
              "rx02     x     .\n"
              "rx03     .     .\n");
}

TEST(Routes, tell_of_sources_that_are_not_listed_and_of_decoders_that_do_not_answer) {
    const Words encoders{"tx01"};
    const std::vector<Route> routes{{"rx01", "tx09"}, {"rx02", "", false}, {"rx03", "tx01"}};
    EXPECT_EQ(Routes_print(encoders, routes),
              "DECODER  tx01  NOTE\n"
              "rx01     .     from tx09\n"
              "rx02     .     no answer\n"
              "rx03     x\n");
}

TEST(Render, shows_devices_as_a_table) {
    EXPECT_EQ(rendered("devices", "",
                       {{"tx01", "TX", "Room", "10.0.0.9", "255.0.0.0", "10.0.0.1",
                         "02:00:00:00:00:01", "online", "V1.0.0"}}),
              "IDENTITY  TYPE  ALIAS  ADDRESS   NETMASK    GATEWAY   MAC ADDRESS        STATUS  "
              "VERSION\n"
              "tx01      TX    Room   10.0.0.9  255.0.0.0  10.0.0.1  02:00:00:00:00:01  online  "
              "V1.0.0\n");
    EXPECT_EQ(rendered("encoders", "", {}),
              "IDENTITY  TYPE  ALIAS  ADDRESS  NETMASK  GATEWAY  MAC ADDRESS  STATUS  VERSION\n");
}

TEST(Render, shows_parameters_one_a_line) {
    EXPECT_EQ(rendered("serial", "get", {{"tx01", "9600", "8", "none", "1"}}),
              "identity   tx01\n"
              "baud rate  9600\n"
              "data bits  8\n"
              "parity     none\n"
              "stop bits  1\n");
    EXPECT_EQ(rendered("matrix", "get", {{"rx01", "tx03"}}),
              "decoder  rx01\n"
              "encoder  tx03\n");
}

TEST(Render, shows_the_bytes_of_an_edid) {
    EXPECT_EQ(rendered("edid", "get", {{"rx01", "00FF"}}), "not an EDID, 2 bytes\n\n0000  00 ff\n");
}

TEST(Render, says_one_word_where_nothing_is_read_back) {
    EXPECT_EQ(rendered("matrix", "set", {}), "Sent.\n");
    EXPECT_EQ(rendered("update", "encoder", {}), "Done.\n");
}

TEST(Update, says_what_became_of_each_device) {
    const std::vector<Target> targets{{"tx01", "V1.0.0", "V1.2.6"}, {"tx02", "V1.0.0", "V1.0.0"},
                                      {"tx03", "V1.0.0", ""},       {"tx04", "V1.0.0", "V0.9.0"},
                                      {"tx05", "1.0.0", "1.2.6"},   {"tx06", "1.2.6", "1.2.6"}};
    EXPECT_EQ(Targets_print(targets, "V1.2.6"),
              "IDENTITY  BEFORE  AFTER   RESULT\n"
              "tx01      V1.0.0  V1.2.6  updated\n"
              "tx02      V1.0.0  V1.0.0  unchanged\n"
              "tx03      V1.0.0          not listed\n"
              "tx04      V1.0.0  V0.9.0  changed\n"
              "tx05      1.0.0   1.2.6   updated\n"
              "tx06      1.2.6   1.2.6   same version\n");
}

}  // namespace avoip::ctl
