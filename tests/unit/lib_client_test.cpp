// The client with a stand-in for the daemon: what it sends, in which order, and what it makes of
// the answers.
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bed/stand_in.hpp"
#include "frontend_bed.hpp"
#include "gtest/gtest.h"
#include "lib/client/client.hpp"
#include "lib/frontend/notes.hpp"

namespace {

using namespace std::chrono_literals;
using avoip::Client;
using avoip::End;
using avoip::Reply;
using Lines = std::vector<std::string>;

std::string success(const std::string& name, const std::string& data = "") {
    return R"({"ack":{"cmd":")" + name + R"(","status":"success"})" + data + "}";
}

std::string failure(const std::string& name) {
    return R"({"ack":{"cmd":")" + name + R"(","status":"failure"}})";
}

std::string route(const std::string& decoder, const std::string& encoder) {
    return success("matrix get",
                   R"(,"rxsource":[{"rxid":")" + decoder + R"(","txid":")" + encoder + R"("}])");
}

std::string decoderParams(const std::string& identity) {
    return success("config get rx params",
                   R"(,"rxparamsinfo":[{"deviceid":")" + identity + R"("}])");
}

const std::string kList =
    success("config get devices", R"(,"devicelist":[{"hostid":"RX-1","devtype":"RX"}])");

/// One decoder, RX-1, which shows TX-1.
std::optional<std::string> oneDecoder(const std::string& line) {
    if (line == "config get devices!") {
        return kList;
    }
    if (line == "matrix get RX-1!") {
        return route("RX-1", "TX-1");
    }
    if (line == "config get rx params RX-1!") {
        return decoderParams("RX-1");
    }
    return line.starts_with("matrix set") ? success("matrix sets") : failure(line);
}

avoip::Request request(std::string_view text, Lines values = {}) {
    return {avoip::Catalogue_findText(text), std::move(values)};
}

class ClientAndStandIn : public FrontEnd {
  protected:
    Reply run(std::string_view text, Lines values = {}, int timeout_ms = 0) {
        client.options.timeout_ms = timeout_ms;
        return avoip::Client_run(client, request(text, std::move(values)));
    }

    [[nodiscard]] avoip::Notes notes() const {
        std::ifstream file(lockFile);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        return avoip::Notes_parse(text);
    }

    Client client{{}};
};

}  // namespace

TEST_F(ClientAndStandIn, verifies_what_it_reads) {
    bed::StandIn daemon(oneDecoder);
    const Reply reply = run("matrix get", {"RX-1"});
    EXPECT_EQ(reply.end, End::kSuccess) << reply.reason;
    EXPECT_EQ(reply.json, route("RX-1", "TX-1"));
    EXPECT_EQ(reply.answer.rows, (std::vector<avoip::Row>{{"RX-1", "TX-1"}}));
    EXPECT_EQ(daemon.lines(),
              (Lines{"config get devices!", "matrix get RX-1!", "config get rx params RX-1!"}));
    EXPECT_EQ(daemon.connectionCount(), 1U);
}

TEST_F(ClientAndStandIn, tells_the_next_one_that_its_batch_closed_well) {
    bed::StandIn daemon(oneDecoder);
    run("matrix get", {"RX-1"});
    EXPECT_TRUE(notes().clean);
    Client next({});
    EXPECT_TRUE(avoip::Client_run(next, request("matrix get", {"RX-1"})).succeeded());
    EXPECT_EQ(daemon.lines().size(), 5U);
    EXPECT_EQ(daemon.lines()[3], "matrix get RX-1!");
}

TEST_F(ClientAndStandIn, tells_the_next_one_that_a_list_has_emptied_the_socket) {
    bed::StandIn daemon(oneDecoder);
    EXPECT_TRUE(run("config get devices").succeeded());
    EXPECT_TRUE(notes().clean);
    run("matrix get", {"RX-1"});
    EXPECT_EQ(daemon.lines().size(), 3U);
}

TEST_F(ClientAndStandIn, tells_the_next_one_that_a_read_failed) {
    bed::StandIn daemon([](const std::string& line) {
        return line.starts_with("matrix get") ? failure("matrix get") : *oneDecoder(line);
    });
    EXPECT_EQ(run("matrix get", {"RX-1"}).end, End::kFailure);
    EXPECT_FALSE(notes().clean);
    EXPECT_EQ(run("matrix get", {"RX-9"}).end, End::kFailure);
    // Behind the last one, which was not listed, the socket is empty.
    EXPECT_TRUE(notes().clean);
    EXPECT_EQ(daemon.lines().back(), "config get devices!");
}

TEST_F(ClientAndStandIn, leaves_the_note_of_the_socket_to_whoever_reads) {
    bed::StandIn daemon(oneDecoder);
    run("matrix get", {"RX-1"});
    EXPECT_TRUE(run("matrix set", {"TX-1", "RX-1"}).succeeded());
    EXPECT_TRUE(notes().clean);
    EXPECT_TRUE(avoip::Client_send(client, "matrix get RX-1!").succeeded());
    EXPECT_FALSE(notes().clean);
    EXPECT_TRUE(avoip::Client_send(client, "config get devices!").succeeded());
    EXPECT_TRUE(notes().clean);
}

TEST_F(ClientAndStandIn, takes_an_answer_under_the_names_of_its_command_only) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string& line) {
        for (const char* const other : {"matrix set!", "matrix get", "config set tx params"}) {
            standIn->post(success(other));
            std::this_thread::sleep_for(20ms);
        }
        return *oneDecoder(line);
    });
    standIn = &daemon;
    const Reply reply = run("matrix set", {"TX-1", "RX-1"});
    EXPECT_EQ(reply.json, success("matrix sets"));
}

TEST_F(ClientAndStandIn, refuses_before_it_sends) {
    bed::StandIn daemon(oneDecoder);
    const std::tuple<const char*, Lines, const char*> refusals[] = {
        {"matrix set",
         {"TX-2", "RX%1"},
         R"(decoder: must not hold "%", which the daemon does not carry in identities)"},
        {"device reboot",
         {"RX-%d1"},
         R"(device: must not hold "%", which the daemon does not carry in identities)"},
        {"matrix set",
         {"TX 2", "RX-1"},
         "encoder: must not hold blanks, which end a word of the command"},
        {"matrix set",
         {"TX\t2", "RX-1"},
         "encoder: must not hold blanks, which end a word of the command"},
        {"matrix set", {"", "RX-1"}, "encoder: must be 1 to 31 bytes long"},
        {"matrix get", {" RX-1"}, "decoder: must not begin with a blank, which the console skips"},
        {"matrix get", {"RX-1!"}, R"(decoder: must not hold "!", which ends a command)"},
        {"matrix get", {}, R"("matrix get" takes 1 arguments.)"},
        {"config get devices", {"RX-1"}, R"("config get devices" takes 0 arguments.)"},
    };
    for (const auto& [text, values, reason] : refusals) {
        const Reply reply = run(text, values);
        EXPECT_EQ(reply.end, End::kRefused) << text;
        EXPECT_EQ(reply.reason, reason);
    }
    EXPECT_EQ(avoip::Client_update(client, request("update all encoders", {""}), {}).end,
              End::kRefused);
    EXPECT_EQ(avoip::Client_send(client, "a!b!").end, End::kRefused);
    EXPECT_EQ(daemon.connectionCount(), 0U);
}

TEST_F(ClientAndStandIn, sends_any_text_and_takes_the_answer_that_carries_it) {
    bed::StandIn daemon([](const std::string& line) {
        return line.starts_with("vw add get") ? failure("vw add ") : failure(line);
    });
    for (const std::string text : {"hello!", "config get devices !", "config get"}) {
        const Reply reply = avoip::Client_send(client, text.ends_with('!') ? text : text + "!");
        EXPECT_EQ(reply.end, End::kFailure) << reply.reason;
    }
    EXPECT_EQ(avoip::Client_send(client, "vw add get RX-1!").json, failure("vw add "));
}

TEST_F(ClientAndStandIn, says_when_nobody_listens) {
    const Reply reply = run("config get devices");
    EXPECT_EQ(reply.end, End::kNoDaemon);
    EXPECT_EQ(reply.text, "config get devices!");
    EXPECT_EQ(reply.reason,
              "No daemon at 127.0.0.1 port 6888 (Connection refused). Start avoipd, or correct the "
              "host and the port.");
}

TEST_F(ClientAndStandIn, tells_no_turn_from_no_answer) {
    bed::StandIn daemon(nothing);
    EXPECT_EQ(run("config get devices", {}, 100).end, End::kNoAnswer);
    std::atomic<bool> taken = false;
    std::atomic<bool> done = false;
    std::jthread other([&] {
        avoip::Turn turn;
        avoip::Reason reason{};
        turn.take(avoip::Deadline_in(kPatienceMs), reason);
        taken = true;
        while (!done) {
            std::this_thread::sleep_for(1ms);
        }
    });
    while (!taken) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(run("device showme", {"RX-1"}, 100).end, End::kNoTurn);
    EXPECT_EQ(daemon.lines().size(), 1U);
    done = true;
}

TEST_F(ClientAndStandIn, says_that_an_answer_is_none) {
    bed::StandIn daemon(always("hello"));
    const Reply reply = run("config get devices");
    EXPECT_EQ(reply.end, End::kUnreadable);
    EXPECT_EQ(reply.reason,
              "The answer to \"config get devices!\" is not what the daemon answers. Is another "
              "program using the answer segment?");
}

TEST_F(ClientAndStandIn, says_that_the_segment_was_too_small_for_an_answer) {
    bed::StandIn daemon(
        [](const std::string&) {
            std::string list = kList.substr(0, kList.size() - 2);
            while (list.size() < 8000) {
                list += R"(,{"hostid":"RX-2","devtype":"RX"})";
            }
            return list.substr(0, 4090);
        },
        4096);
    const Reply reply = run("config get devices");
    EXPECT_EQ(reply.end, End::kUnreadable);
    EXPECT_EQ(reply.reason,
              "The answer to \"config get devices!\" was cut: the answer segment is too small for "
              "it. End the daemon, remove the segment (ipcrm -M 0x12345678) and start the daemon "
              "again.");
}

TEST_F(ClientAndStandIn, knows_that_an_answer_was_overwritten) {
    bed::StandIn daemon([](const std::string& line) -> std::optional<std::string> {
        return line.starts_with("avoip marker") ? std::optional(failure(line)) : std::nullopt;
    });
    const Reply reply = run("device showme", {"RX-1"});
    EXPECT_EQ(reply.end, End::kOverwritten);
    EXPECT_EQ(daemon.lines().size(), 2U);
}

TEST_F(ClientAndStandIn, reads_again_what_was_overwritten) {
    bool lost = false;
    bed::StandIn daemon([&](const std::string& line) -> std::optional<std::string> {
        if (line.starts_with("avoip marker")) {
            return failure(line);
        }
        if (line == "matrix get RX-1!" && !lost) {
            lost = true;
            return std::nullopt;
        }
        return oneDecoder(line);
    });
    EXPECT_EQ(run("matrix get", {"RX-1"}).json, route("RX-1", "TX-1"));
}

TEST_F(ClientAndStandIn, confirms_a_change_in_two_batches) {
    bed::StandIn daemon(oneDecoder);
    const auto change = request("matrix set", {"TX-1", "RX-1"});
    EXPECT_TRUE(avoip::Client_run(client, change).succeeded());
    EXPECT_EQ(avoip::Client_confirm(client, change).verdict, avoip::Verdict::kConfirmed);
    EXPECT_EQ(daemon.lines(), (Lines{"matrix set TX-1 RX-1!", "config get devices!",
                                     "matrix get RX-1!", "config get rx params RX-1!",
                                     "matrix get RX-1!", "config get rx params RX-1!"}));
}

TEST_F(ClientAndStandIn, gives_a_change_two_seconds_to_be_confirmed) {
    bed::StandIn daemon(oneDecoder);
    const auto begin = std::chrono::steady_clock::now();
    const auto confirmation =
        avoip::Client_confirm(client, request("matrix set", {"TX-9", "RX-1"}));
    EXPECT_EQ(confirmation.verdict, avoip::Verdict::kNotConfirmed);
    EXPECT_EQ(confirmation.problem, "Of \"RX-1\": its txid is \"TX-1\".");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2s);
}

TEST_F(ClientAndStandIn, does_not_confirm_what_nobody_answers) {
    const auto confirmation =
        avoip::Client_confirm(client, request("matrix set", {"TX-9", "RX-1"}));
    EXPECT_EQ(confirmation.verdict, avoip::Verdict::kNotConfirmed);
    EXPECT_TRUE(confirmation.problem.starts_with("No daemon at")) << confirmation.problem;
}
