// Verified reads, question by question.
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"
#include "lib/catalogue/arguments.hpp"
#include "lib/client/reading.hpp"

namespace avoip {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* kList = "config get devices!";

const Command& commandOf(std::string_view text) {
    return *Catalogue_findText(text);
}

Reply ended(End end) {
    Reply reply{end};
    reply.reason = "a reason";
    return reply;
}

/// A success answer with these rows.
Reply said(std::vector<Row> rows) {
    Reply reply;
    reply.answer.rows = std::move(rows);
    return reply;
}

Row listed(const std::string& identity, const std::string& type, const std::string& mac) {
    return {identity, type, "", "10.0.0.9", "", "", mac, "", ""};
}

/// The list of a small network.
Reply aList() {
    return said({listed("RX-1", "RX", "02:00:00:00:00:0a"), listed("TX-1", "TX", "0200.0000.000B"),
                 listed("CAM", "camera", "02:00:00:00:00:0c"), listed("BOX", "box", "")});
}

Reply route(const std::string& decoder, const std::string& encoder) {
    return said({{decoder, encoder}});
}

Reply decoderParams(const std::string& identity) {
    return said({{"", identity, "50", "50", "50", "50", "0", "", ""}});
}

Reply encoderParams(const std::string& identity) {
    return said({{"", identity, "", "", "", "", "", "", "", "", "", "", ""}});
}

Reply netParams(const std::string& identity, const std::string& mac) {
    return said({{identity, "0", "1", "10.0.0.9", "", "", mac}});
}

class Reading : public testing::Test {
  protected:
    ~Reading() override { EXPECT_TRUE(script_.empty()) << script_.front().first; }

    /// What the daemon will be asked next, and how that ends.
    Reading& expect(const std::string& text, Reply reply) {
        script_.emplace_back(text, std::move(reply));
        return *this;
    }

    Batch read(std::string_view text, const std::string& device) {
        const Request request{&commandOf(text), {device}};
        return Reader_read(reader, {&request, 1});
    }

    /// Reads where nothing is expected to go wrong, and gives what was said.
    Row readWell(std::string_view text, const std::string& device) {
        const Batch batch = read(text, device);
        EXPECT_EQ(batch.outcome.end, End::kSuccess) << batch.outcome.reason;
        EXPECT_EQ(batch.replies.size(), 1U);
        EXPECT_TRUE(reader.clean);
        return batch.outcome.succeeded() ? batch.outcome.answer.rows.front() : Row{};
    }

    Reader reader{[this](const Request& request) {
        const std::string text = Arguments_consoleText(*request.command, request.values);
        if (script_.empty() || script_.front().first != text) {
            ADD_FAILURE() << "asked " << text << " instead of "
                          << (script_.empty() ? "nothing" : script_.front().first);
            return ended(End::kNoDaemon);
        }
        Reply reply = std::move(script_.front().second);
        script_.pop_front();
        reply.text = text;
        return reply;
    }};

  private:
    std::deque<std::pair<std::string, Reply>> script_;
};

}  // namespace

TEST_F(Reading, begins_behind_a_list_and_ends_with_a_question_of_another_kind) {
    expect(kList, aList());
    expect("matrix get RX-1!", route("RX-1", "TX-1"));
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    EXPECT_EQ(readWell("matrix get", "RX-1"), (Row{"RX-1", "TX-1"}));
}

TEST_F(Reading, begins_behind_a_batch_that_closed_well_without_a_list) {
    reader.clean = true;
    expect("ir matrix get RX-1!", route("RX-1", "TX-1"));
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    readWell("ir matrix get", "RX-1");
    expect("matrix get RX-2!", route("RX-2", ""));
    expect("config get rx params RX-2!", decoderParams("RX-2"));
    readWell("matrix get", "RX-2");
}

TEST_F(Reading, of_parameters_is_closed_by_the_network_settings_with_the_mac_of_the_list) {
    expect(kList, aList());
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    expect("config get net params RX-1!", netParams("RX-1", "02:00:00:00:00:0A"));
    readWell("config get rx params", "RX-1");
    // The addresses are known from now on, in whatever way they are written.
    expect("config get tx params TX-1!", encoderParams("TX-1"));
    expect("config get net params TX-1!", netParams("TX-1", "02:00:00:00:00:0b"));
    readWell("config get tx params", "TX-1");
}

TEST_F(Reading, of_network_settings_is_closed_by_the_parameters) {
    expect(kList, aList());
    expect("config get net params TX-1!", netParams("TX-1", "0200.0000.000b"));
    expect("config get tx params TX-1!", encoderParams("TX-1"));
    readWell("config get net params", "TX-1");
}

TEST_F(Reading, of_a_device_of_any_kind_needs_the_list_to_know_which_question_closes_it) {
    reader.clean = true;
    expect(kList, aList());
    expect("serial get params TX-1!", said({{"TX-1", "9600", "8", "none", "1"}}));
    expect("config get tx params TX-1!", encoderParams("TX-1"));
    readWell("serial get params", "TX-1");
    expect("serial get params RX-1!", said({{"RX-1", "9600", "8", "none", "1"}}));
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    readWell("serial get params", "RX-1");
    expect("serial get params CAM!", said({{"CAM", "9600", "8", "none", "1"}}));
    expect("config get net params CAM!", netParams("CAM", "02-00-00-00-00-0C"));
    readWell("serial get params", "CAM");
}

TEST_F(Reading, of_a_device_of_which_too_little_is_known_is_never_verified) {
    for (int round = 0; round < 3; ++round) {
        expect(kList, aList());
        expect("serial get params BOX!", said({{"BOX", "9600", "8", "none", "1"}}));
    }
    const Batch batch = read("serial get params", "BOX");
    EXPECT_EQ(batch.outcome.end, End::kUnverified);
    EXPECT_EQ(batch.outcome.reason,
              "What \"BOX\" says cannot be verified: too little is known of it for a second "
              "question.");
    EXPECT_TRUE(batch.replies.empty());
}

TEST_F(Reading, may_have_several_reads_of_one_device) {
    reader.clean = true;
    expect("matrix get RX-1!", route("RX-1", "TX-1"));
    expect("serial matrix get RX-1!", route("RX-1", "TX-2"));
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    const Request reads[] = {{&commandOf("matrix get"), {"RX-1"}},
                             {&commandOf("serial matrix get"), {"RX-1"}}};
    const Batch batch = Reader_read(reader, reads);
    ASSERT_EQ(batch.replies.size(), 2U);
    EXPECT_EQ(batch.replies[0].answer.rows.front().back(), "TX-1");
    EXPECT_EQ(batch.replies[1].answer.rows.front().back(), "TX-2");
}

TEST_F(Reading, of_all_that_names_a_device_is_closed_by_another_kind_than_the_last) {
    expect(kList, aList());
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    expect("config get net params RX-1!", netParams("RX-1", "02:00:00:00:00:0a"));
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    const Request reads[] = {{&commandOf("config get rx params"), {"RX-1"}},
                             {&commandOf("config get net params"), {"RX-1"}}};
    EXPECT_EQ(Reader_read(reader, reads).replies.size(), 2U);
}

TEST_F(Reading, counts_for_nothing_when_the_closing_question_fails) {
    reader.clean = true;
    expect("matrix get RX-1!", route("RX-1", "TX-9"));
    expect("config get rx params RX-1!", ended(End::kFailure));
    expect(kList, aList());
    expect("matrix get RX-1!", route("RX-1", "TX-1"));
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    EXPECT_EQ(readWell("matrix get", "RX-1").back(), "TX-1");
}

TEST_F(Reading, counts_for_nothing_when_the_closing_question_names_another_device) {
    reader.clean = true;
    expect("matrix get RX-1!", route("RX-1", "TX-9"));
    expect("config get rx params RX-1!", decoderParams("RX-2"));
    expect(kList, aList());
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    // Two commands may close: this read takes one of them itself.
    expect("config get net params RX-1!", netParams("RX-1", "02:00:00:00:00:99"));
    expect(kList, aList());
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    expect("config get net params RX-1!", netParams("RX-1", "02:00:00:00:00:0a"));
    reader.rounds = 1;
    EXPECT_EQ(read("matrix get", "RX-1").outcome.end, End::kUnverified);
    reader.rounds = 2;
    readWell("config get rx params", "RX-1");
}

TEST_F(Reading, counts_for_nothing_when_the_read_itself_names_another_device) {
    expect(kList, aList());
    expect("config get rx params RX-1!", decoderParams("RX-2"));
    expect(kList, aList());
    expect("config get rx params RX-1!", decoderParams("RX-1"));
    expect("config get net params RX-1!", netParams("RX-1", "02:00:00:00:00:0a"));
    readWell("config get rx params", "RX-1");
    reader.clean = true;
    expect("config get net params RX-1!", netParams("RX-1", "02:00:00:00:00:0b"));
    reader.rounds = 1;
    EXPECT_EQ(read("config get net params", "RX-1").outcome.end, End::kUnverified);
    EXPECT_FALSE(reader.clean);
}

TEST_F(Reading, is_asked_three_times_and_then_told_to_be_unverified) {
    for (int round = 0; round < 3; ++round) {
        expect(kList, aList());
        expect("matrix get RX-1!", route("RX-1", "TX-1"));
        expect("config get rx params RX-1!", decoderParams("RX-2"));
    }
    const Batch batch = read("matrix get", "RX-1");
    EXPECT_EQ(batch.outcome.end, End::kUnverified);
    EXPECT_EQ(batch.outcome.text, "matrix get RX-1!");
    EXPECT_EQ(batch.outcome.reason,
              "The answers about \"RX-1\" do not fit the questions, however often it is asked: its "
              "replies come late or twice, or two devices have this identity.");
    EXPECT_TRUE(batch.replies.empty());
    EXPECT_FALSE(reader.clean);
}

TEST_F(Reading, that_fails_is_asked_again_behind_a_list_and_without_the_rest) {
    reader.clean = true;
    expect("matrix get RX-1!", ended(End::kFailure));
    expect(kList, aList());
    expect("matrix get RX-1!", route("RX-1", "TX-1"));
    expect("serial matrix get RX-1!", ended(End::kOverwritten));
    expect(kList, aList());
    expect("matrix get RX-1!", route("RX-1", "TX-1"));
    expect("serial matrix get RX-1!", ended(End::kUnreadable));
    const Request reads[] = {{&commandOf("matrix get"), {"RX-1"}},
                             {&commandOf("serial matrix get"), {"RX-1"}}};
    const Batch batch = Reader_read(reader, reads);
    EXPECT_EQ(batch.outcome.end, End::kUnreadable);
    EXPECT_EQ(batch.outcome.text, "serial matrix get RX-1!");
    EXPECT_TRUE(batch.replies.empty());
    EXPECT_FALSE(reader.clean);
}

TEST_F(Reading, of_a_device_that_is_not_listed_is_not_asked_again) {
    reader.clean = true;
    expect("matrix get RX-9!", ended(End::kFailure));
    expect(kList, aList());
    const Batch batch = read("matrix get", "RX-9");
    EXPECT_EQ(batch.outcome.end, End::kFailure);
    EXPECT_EQ(batch.outcome.text, "matrix get RX-9!");
    // The list has emptied the socket.
    EXPECT_TRUE(reader.clean);
}

TEST_F(Reading, of_a_device_that_is_not_listed_is_asked_all_the_same_at_first) {
    expect(kList, aList());
    expect("matrix get RX-9!", route("RX-9", "TX-1"));
    expect("config get rx params RX-9!", decoderParams("RX-9"));
    readWell("matrix get", "RX-9");
}

TEST_F(Reading, ends_where_nobody_answers_any_more) {
    for (const End end : {End::kRefused, End::kNoDaemon, End::kNoTurn, End::kNoAnswer}) {
        reader.clean = true;
        expect("matrix get RX-1!", ended(end));
        EXPECT_EQ(read("matrix get", "RX-1").outcome.end, end);
        EXPECT_FALSE(reader.clean);
        reader.clean = true;
        expect("matrix get RX-1!", route("RX-1", "TX-1"));
        expect("config get rx params RX-1!", ended(end));
        const Batch batch = read("matrix get", "RX-1");
        EXPECT_EQ(batch.outcome.end, end);
        EXPECT_EQ(batch.outcome.text, "config get rx params RX-1!");
        EXPECT_TRUE(batch.replies.empty());
        EXPECT_FALSE(reader.clean);
    }
}

TEST_F(Reading, ends_with_the_list_when_that_fails) {
    expect(kList, ended(End::kFailure));
    const Batch batch = read("matrix get", "RX-1");
    EXPECT_EQ(batch.outcome.end, End::kFailure);
    EXPECT_EQ(batch.outcome.text, kList);
    EXPECT_FALSE(reader.clean);
}

TEST_F(Reading, is_of_the_device_that_was_asked_whatever_the_answer_has_besides) {
    reader.rounds = 1;
    for (const Reply& strange :
         {route("RX-2", "TX-1"), said({}), said({{"RX-1", "a"}, {"RX-1", "b"}})}) {
        reader.clean = true;
        expect("matrix get RX-1!", strange);
        EXPECT_EQ(read("matrix get", "RX-1").outcome.end, End::kUnverified);
    }
}

TEST_F(Reading, learns_from_lists_which_devices_there_are) {
    Texts lists;
    reader.listed = [&](const Command& listing, const Answer& answer) {
        lists.push_back(std::string(listing.text) + " " + std::to_string(answer.rows.size()));
    };
    expect(kList, aList());
    EXPECT_TRUE(Reader_list(reader, commandOf("config get devices")).succeeded());
    EXPECT_TRUE(reader.clean);
    EXPECT_EQ(reader.fleet.size(), 4U);
    EXPECT_EQ(Fleet_find(reader.fleet, "RX-1")->kind, DeviceKind::kDecoder);
    EXPECT_EQ(Fleet_find(reader.fleet, "CAM")->kind, DeviceKind::kAny);
    EXPECT_EQ(Fleet_find(reader.fleet, "CAM")->address, "10.0.0.9");
    EXPECT_EQ(Fleet_find(reader.fleet, "RX-9"), nullptr);

    // A list of encoders says nothing of others.
    expect("config get encoders!", said({listed("TX-2", "TX", "")}));
    Reader_list(reader, commandOf("config get encoders"));
    EXPECT_EQ(Fleet_find(reader.fleet, "TX-1"), nullptr);
    EXPECT_NE(Fleet_find(reader.fleet, "TX-2"), nullptr);
    EXPECT_NE(Fleet_find(reader.fleet, "RX-1"), nullptr);

    expect(kList, ended(End::kFailure));
    Reader_list(reader, commandOf("config get devices"));
    EXPECT_FALSE(reader.clean);
    EXPECT_NE(Fleet_find(reader.fleet, "RX-1"), nullptr);
    EXPECT_EQ(lists, (Texts{"config get devices 4", "config get encoders 1"}));
}

}  // namespace avoip
