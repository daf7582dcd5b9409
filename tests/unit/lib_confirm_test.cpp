// What is asked back after each change, and what is made of the answers.
#include <map>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "lib/catalogue/arguments.hpp"
#include "lib/client/confirm.hpp"

namespace avoip {
namespace {

using Texts = std::vector<std::string>;

/// A daemon without faults, whose devices say what stands under the console text.
class Confirming : public testing::Test {
  protected:
    /// Asks a change back, which is given as the console takes it, with the values by themselves.
    Verdict confirm(std::string_view text, const Texts& values, int patience = 0) {
        const Request change{Catalogue_findText(text), values};
        const Confirmation confirmation =
            Reader_confirm(reader, change, [&] { return patience-- > 0; });
        problem = confirmation.problem;
        return confirmation.verdict;
    }

    std::map<std::string, std::vector<Row>> says{
        {"config get devices!",
         {{"RX-1", "RX", "Stage", "", "", "", "0a", "", ""},
          {"RX-2", "RX", "", "", "", "", "0b", "", ""},
          {"TX-1", "TX", "", "", "", "", "0c", "", ""}}},
        {"config get rx params RX-1!", {{"", "RX-1", "50", "40", "30", "20", "1", "", ""}}},
        {"config get rx params RX-2!", {{"", "RX-2", "50", "40", "30", "20", "1", "", ""}}},
        {"config get tx params TX-1!",
         {{"", "TX-1", "H264", "full", "30", "CBR", "4000", "HDMI", "AAC", "48000", "128", "",
           ""}}},
        {"config get net params RX-1!",
         {{"RX-1", "0", "1", "10.0.0.7", "255.0.0.0", "10.0.0.1", "0a"}}},
        {"config get net params TX-1!",
         {{"TX-1", "0", "1", "10.0.0.8", "255.0.0.0", "10.0.0.1", "0c"}}},
        {"matrix get RX-1!", {{"RX-1", "TX-1"}}},
        {"matrix get RX-2!", {{"RX-2", "TX-1"}}},
        {"serial matrix get RX-1!", {{"RX-1", ""}}},
        {"serial matrix get RX-2!", {{"RX-2", ""}}},
        {"ir matrix get RX-1!", {{"RX-1", "TX-1"}}},
        {"serial get params TX-1!", {{"TX-1", "9600", "8", "none", "1"}}},
    };
    Texts asked;
    std::string problem;
    Reader reader{[this](const Request& request) {
        Reply reply{End::kFailure, Arguments_consoleText(*request.command, request.values)};
        asked.push_back(reply.text);
        if (const auto found = says.find(reply.text); found != says.end()) {
            reply.end = End::kSuccess;
            reply.answer.rows = found->second;
        }
        return reply;
    }};
};

}  // namespace

TEST_F(Confirming, asks_twice_in_batches_that_are_closed_by_themselves) {
    EXPECT_EQ(confirm("matrix set", {"TX-1", "RX-1"}), Verdict::kConfirmed);
    EXPECT_EQ(asked, (Texts{"config get devices!", "matrix get RX-1!", "config get rx params RX-1!",
                            "matrix get RX-1!", "config get rx params RX-1!"}));
}

TEST_F(Confirming, is_done_for_each_change_that_can_be_read_back) {
    EXPECT_EQ(confirm("config set device alias", {"RX-1", "Stage"}), Verdict::kConfirmed);
    EXPECT_EQ(confirm("config remove device alias", {"RX-2"}), Verdict::kConfirmed);
    EXPECT_EQ(confirm("config set tx params",
                      {"TX-1", "H264", "full", "30", "CBR", "4000", "HDMI", "AAC", "48000", "128"}),
              Verdict::kConfirmed);
    EXPECT_EQ(confirm("config set rx params", {"RX-1", "50", "40", "30", "20", "1"}),
              Verdict::kConfirmed);
    EXPECT_EQ(
        confirm("config set net params", {"RX-1", "0", "1", "10.0.0.7", "255.0.0.0", "10.0.0.1"}),
        Verdict::kConfirmed);
    EXPECT_EQ(confirm("matrix all set", {"TX-1"}), Verdict::kConfirmed);
    EXPECT_EQ(confirm("serial set params", {"TX-1", "9600", "8", "none", "1"}),
              Verdict::kConfirmed);
    EXPECT_EQ(confirm("serial matrix clear", {"RX-1"}), Verdict::kConfirmed);
    EXPECT_EQ(confirm("serial matrix all clear", {}), Verdict::kConfirmed);
    EXPECT_EQ(confirm("ir matrix set", {"TX-1", "RX-1"}), Verdict::kConfirmed);
    EXPECT_EQ(problem, "");
}

TEST_F(Confirming, says_what_a_device_says_instead) {
    EXPECT_EQ(confirm("config set device alias", {"RX-1", "Bar"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-1\": its alias is \"Stage\".");
    EXPECT_EQ(confirm("config remove device alias", {"RX-1"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-1\": its alias is \"Stage\".");
    EXPECT_EQ(confirm("config set rx params", {"RX-1", "50", "40", "31", "20", "1"}),
              Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-1\": its hue is \"30\".");
    EXPECT_EQ(
        confirm("config set net params", {"RX-1", "0", "1", "10.0.0.7", "255.0.0.0", "10.0.0.2"}),
        Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-1\": its devgateway is \"10.0.0.1\".");
    EXPECT_EQ(confirm("matrix clear", {"RX-1"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-1\": its txid is \"TX-1\".");
    EXPECT_EQ(confirm("serial matrix set", {"TX-1", "RX-1"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-1\": its txid is \"\".");
    EXPECT_EQ(confirm("serial matrix all set", {"TX-1"}), Verdict::kNotConfirmed);
    EXPECT_EQ(confirm("ir matrix clear", {"RX-1"}), Verdict::kNotConfirmed);
    says["matrix get RX-2!"] = {{"RX-2", "TX-7"}};
    EXPECT_EQ(confirm("matrix all set", {"TX-1"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-2\": its txid is \"TX-7\".");
}

TEST_F(Confirming, takes_numbers_as_numbers) {
    EXPECT_EQ(confirm("config set rx params", {"RX-1", "050", "40", "30", "20", "1"}),
              Verdict::kConfirmed);
    says["serial get params TX-1!"] = {{"TX-1", "9600 baud", "8", "none", "1"}};
    EXPECT_EQ(confirm("serial set params", {"TX-1", "9600", "8", "none", "1"}),
              Verdict::kNotConfirmed);
}

TEST_F(Confirming, cannot_be_done_where_there_is_no_question_for_it) {
    const std::pair<const char*, Texts> changes[] = {
        {"config set tx edid", {"TX-1", "00"}},
        {"config set all edid", {"00"}},
        {"serial data", {"TX-1", "00"}},
        {"vw set", Texts(10, "1")},
        {"vw remove", {"RX-1"}},
        {"device showme", {"RX-1"}},
        {"device all reboot", {}},
        {"device reboot", {"RX-1"}},
        {"device factory", {"RX-1"}},
    };
    for (const auto& [text, values] : changes) {
        EXPECT_EQ(confirm(text, values), Verdict::kCannotBeAsked) << text;
    }
    EXPECT_TRUE(asked.empty());
    // An encoder cannot be asked for a decoder's route.
    EXPECT_EQ(confirm("serial matrix clear", {"TX-1"}), Verdict::kCannotBeAsked);
}

TEST_F(Confirming, is_not_done_by_a_device_that_does_not_answer) {
    EXPECT_EQ(confirm("matrix set", {"TX-1", "RX-9"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-9\": it does not answer.");
    EXPECT_EQ(confirm("config set device alias", {"RX-9", "x"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "Of \"RX-9\": it is not listed.");
    says.erase("config get devices!");
    EXPECT_EQ(confirm("matrix all set", {"TX-1"}), Verdict::kNotConfirmed);
    EXPECT_EQ(problem, "No decoder is listed.");
}

TEST_F(Confirming, waits_for_a_device_that_takes_its_time) {
    int looks = 0;
    const Request change{Catalogue_findText("matrix set"), {"TX-2", "RX-1"}};
    const Confirmation confirmation = Reader_confirm(reader, change, [&] {
        if (++looks == 3) {
            says["matrix get RX-1!"] = {{"RX-1", "TX-2"}};
        }
        return looks < 10;
    });
    EXPECT_EQ(confirmation.verdict, Verdict::kConfirmed);
    EXPECT_EQ(looks, 3);
}

TEST_F(Confirming, needs_two_looks_in_succession_that_agree) {
    int asks = 0;
    reader.ask = [this, &asks, plain = reader.ask](const Request& request) {
        Reply reply = plain(request);
        // Every other time it says something else.
        if (reply.text == "matrix get RX-1!" && asks++ % 2 == 1) {
            reply.answer.rows = {{"RX-1", "TX-9"}};
        }
        return reply;
    };
    EXPECT_EQ(confirm("matrix set", {"TX-1", "RX-1"}, 4), Verdict::kNotConfirmed);
}

TEST_F(Confirming, takes_no_alias_for_set_while_one_of_two_rows_has_the_old_one) {
    says["config get devices!"].push_back({"RX-1", "RX", "Old", "", "", "", "0a", "", ""});
    EXPECT_EQ(confirm("config set device alias", {"RX-1", "Stage"}), Verdict::kNotConfirmed);
}

}  // namespace avoip
