// What becomes of answers that nobody waits for any more, and of answers that are somebody else's.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bed/stand_in.hpp"
#include "bed/wait.hpp"
#include "frontend_bed.hpp"
#include "gtest/gtest.h"
#include "lib/frontend/dialogue.hpp"
#include "lib/frontend/sockets.hpp"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

std::string answer(const std::string& name, const std::string& data = "") {
    return R"({"ack":{"cmd":")" + name + R"(","status":"success"})" + data + "}";
}

class FrontEndOwed : public FrontEnd {
  protected:
    /// Leaves notes of somebody else in the lock file, told of the daemon that listens now.
    void leave(const std::string& notes) const {
        std::ofstream(lockFile) << "avoip 1\ndaemon " << avoip::Sockets_listener(AVOIP_CONSOLE_PORT)
                                << "\n"
                                << notes << "end\n";
    }

    [[nodiscard]] std::string notes() const {
        std::ifstream file(lockFile);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The note of an answer that nobody waits for, for so long from now.
    static std::string owed(const std::string& name, std::int64_t for_ms,
                            std::int64_t sharedFor_ms) {
        const std::int64_t now = avoip::BootClock_ms();
        return "owed " + std::to_string(now + for_ms) + " " + std::to_string(now + sharedFor_ms) +
               " 1 1 " + name + "\n";
    }
};

/// A text of the stand-in's thread for the test's own. The answer's way through the segment puts
/// one behind the other, but ThreadSanitizer does not see that: it is mapped twice.
class Kept {
  public:
    void put(std::string text) {
        const std::scoped_lock held(mutex_);
        text_ = std::move(text);
    }
    std::string get() {
        const std::scoped_lock held(mutex_);
        return text_;
    }

  private:
    std::mutex mutex_;
    std::string text_;
};

/// A dialogue with the stand-in, step by step.
class Steps {
  public:
    Steps() {
        EXPECT_EQ(avoip::Dialogue_begin(dialogue, "127.0.0.1", AVOIP_CONSOLE_PORT,
                                        avoip::Deadline_in(kPatienceMs)),
                  AVOIP_OK)
            << reason.text;
    }

    avoip_result ask(const avoip::Question& question, int timeout_ms = kPatienceMs) {
        char* copy = nullptr;
        const auto result = avoip::Dialogue_ask(dialogue, question, timeout_ms,
                                                avoip::Deadline_in(timeout_ms), &copy);
        text = copy == nullptr ? "" : copy;
        std::free(copy);
        return result;
    }

    std::string text;
    avoip::Connection connection;
    avoip::Segment segment;
    avoip::Turn turn;
    avoip::Reason reason{};
    avoip::Dialogue dialogue{connection, segment, turn, reason};
};

avoip::Question oneWay(const char* command, const char* name) {
    avoip::Question question;
    question.command = command;
    question.names[0] = name;
    question.shared_ms = 0;
    return question;
}

}  // namespace

TEST_F(FrontEndOwed, is_thrown_away_when_its_name_is_not_the_questions) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string& line) -> std::optional<std::string> {
        if (line == "matrix set a b!") {
            standIn->post(answer("matrix get"));
            std::this_thread::sleep_for(20ms);
            return answer("matrix sets");
        }
        return answer("matrix get");
    });
    standIn = &daemon;
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix set a b!", "matrix sets", "matrix set"), AVOIP_OK);
    EXPECT_EQ(asker.answer, answer("matrix sets"));
    EXPECT_EQ(asker.askNamed("matrix get b!", "x", "matrix get"), AVOIP_OK);
    EXPECT_EQ(asker.askNamed("matrix get b!", "x", "y", 100), AVOIP_TIME_OUT);
}

TEST_F(FrontEndOwed, is_awaited_by_the_next_one_whose_answer_has_the_same_name) {
    std::atomic<bool> released = false;
    bed::StandIn daemon([&](const std::string& line) {
        while (line == "matrix get a!" && !released) {
            std::this_thread::sleep_for(1ms);
        }
        return answer("matrix get", line);
    });
    Asker first;
    EXPECT_EQ(first.askNamed("matrix get a!", "matrix get", nullptr, 100), AVOIP_TIME_OUT);
    Asker second;
    EXPECT_EQ(second.askNamed("matrix get b!", "matrix get", nullptr, 100), AVOIP_TIME_OUT);
    EXPECT_EQ(second.error(),
              "The daemon is still at work on a command that somebody gave up on (\"matrix get\"), "
              "and has not answered it within the time-out. Nothing was sent; try again later, or "
              "give a longer time-out.");
    EXPECT_EQ(daemon.lines(), Lines{"matrix get a!"});
    std::jthread release([&] {
        std::this_thread::sleep_for(100ms);
        released = true;
    });
    EXPECT_EQ(second.askNamed("matrix get b!", "matrix get"), AVOIP_OK) << second.error();
    EXPECT_EQ(second.answer, answer("matrix get", "matrix get b!"));
    EXPECT_EQ(daemon.lines(), (Lines{"matrix get a!", "matrix get b!"}));
}

TEST_F(FrontEndOwed, that_stands_in_the_segment_already_holds_nobody_up) {
    bed::StandIn daemon([](const std::string& line) { return answer("matrix get", line); });
    leave(owed("matrix get", 60'000, 60'000));
    daemon.post(answer("matrix get", "late"));
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix get b!", "matrix get"), AVOIP_OK) << asker.error();
    EXPECT_EQ(asker.answer, answer("matrix get", "matrix get b!"));
    EXPECT_EQ(notes().find("owed"), std::string::npos) << notes();
}

TEST_F(FrontEndOwed, of_a_sender_that_was_killed_is_noted_from_the_moment_it_was_sent) {
    Kept kept;
    bed::StandIn daemon([&](const std::string&) {
        kept.put(notes());
        return answer("matrix sets");
    });
    const std::int64_t before = avoip::BootClock_ms();
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix set a b!", "matrix sets", "matrix set"), AVOIP_OK);
    const std::string seen = kept.get();
    const avoip::Notes during = avoip::Notes_parse(seen);
    ASSERT_EQ(during.owedCount, 1U) << seen;
    EXPECT_EQ(during.daemon, avoip::Sockets_listener(AVOIP_CONSOLE_PORT));
    EXPECT_EQ(during.owed[0].pid, ::getpid());
    EXPECT_STREQ(during.owed[0].names[0].data(), "matrix sets");
    EXPECT_STREQ(during.owed[0].names[1].data(), "matrix set");
    EXPECT_GE(during.owed[0].until_ms, before + 15'000);
    EXPECT_LE(during.owed[0].until_ms, avoip::BootClock_ms() + 15'000);
    EXPECT_EQ(avoip::Notes_parse(notes()).owedCount, 0U);
}

TEST_F(FrontEndOwed, of_one_who_gives_up_may_come_for_a_while_from_then_on) {
    bed::StandIn daemon(nothing);
    const std::int64_t before = avoip::BootClock_ms();
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix get a!", "matrix get", nullptr, 300), AVOIP_TIME_OUT);
    const avoip::Notes left = avoip::Notes_parse(notes());
    ASSERT_EQ(left.owedCount, 1U);
    EXPECT_GE(left.owed[0].until_ms, before + 15'300);
    EXPECT_GE(left.owed[0].sharedUntil_ms, before + 15'300);
}

TEST_F(FrontEndOwed, holds_up_whoever_reads_while_its_command_may_read_too) {
    bed::StandIn daemon([](const std::string&) { return answer("matrix get"); });
    leave(owed("config get devices", 60'000, 60'000));
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix get b!", "matrix get", nullptr, 100), AVOIP_TIME_OUT);
    EXPECT_TRUE(daemon.lines().empty());
    leave(owed("config get devices", 60'000, 200));
    EXPECT_EQ(asker.askNamed("matrix get b!", "matrix get"), AVOIP_OK) << asker.error();
}

TEST_F(FrontEndOwed, holds_up_nobody_who_reads_nothing_and_has_another_name) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string&) {
        standIn->post(answer("config get devices"));
        return std::nullopt;
    });
    standIn = &daemon;
    leave(owed("config get devices", 60'000, 60'000));
    Steps steps;
    EXPECT_EQ(steps.ask(oneWay("device showme a!", "device showme"), 200), AVOIP_TIME_OUT);
    // It has come meanwhile, and was crossed off.
    EXPECT_EQ(notes().find("config get devices"), std::string::npos) << notes();
    EXPECT_NE(notes().find("device showme"), std::string::npos) << notes();
}

TEST_F(FrontEndOwed, of_a_daemon_that_is_gone_holds_nobody_up) {
    bed::StandIn daemon([](const std::string&) { return answer("matrix get"); });
    std::ofstream(lockFile) << "avoip 1\ndaemon 1\nclean\n"
                            << owed("matrix get", 60'000, 60'000) << "end\n";
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix get b!", "matrix get"), AVOIP_OK) << asker.error();
    EXPECT_EQ(notes(), "avoip 1\ndaemon " +
                           std::to_string(avoip::Sockets_listener(AVOIP_CONSOLE_PORT)) + "\nend\n");
}

TEST_F(FrontEndOwed, holds_nobody_up_when_its_time_is_over) {
    bed::StandIn daemon([](const std::string&) { return answer("matrix get"); });
    leave(owed("matrix get", 300, 300));
    const auto begin = std::chrono::steady_clock::now();
    Asker asker;
    EXPECT_EQ(asker.askNamed("matrix get b!", "matrix get"), AVOIP_OK) << asker.error();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
}

TEST_F(FrontEndOwed, of_any_name_holds_everybody_up_until_it_has_come) {
    bed::StandIn daemon([](const std::string&) { return answer("device showme"); });
    leave(owed("*", 60'000, 60'000));
    Steps steps;
    const auto question = oneWay("device showme a!", "device showme");
    EXPECT_EQ(steps.ask(question, 100), AVOIP_TIME_OUT);
    daemon.post(answer("something"));
    EXPECT_EQ(steps.ask(question), AVOIP_OK) << steps.reason.text;
}

TEST_F(FrontEndOwed, is_not_taken_by_one_who_takes_any_other_answer) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string&) {
        standIn->post(answer("update all encoders"));
        std::this_thread::sleep_for(20ms);
        return answer("mine");
    });
    standIn = &daemon;
    leave(owed("update all encoders", 60'000, -1));
    Asker asker;
    EXPECT_EQ(asker.ask("anything!"), AVOIP_OK) << asker.error();
    EXPECT_EQ(asker.answer, answer("mine"));
}

TEST_F(FrontEndOwed, is_no_hindrance_to_one_who_may_be_asked_beside_its_namesakes) {
    bed::StandIn daemon([](const std::string&) { return answer("update all encoders"); });
    leave(owed("update all encoders", 60'000, -1));
    Steps steps;
    auto question = oneWay("update all encoders x!", "update all encoders");
    EXPECT_EQ(steps.ask(question, 100), AVOIP_TIME_OUT);
    question.besideNamesakes = true;
    EXPECT_EQ(steps.ask(question), AVOIP_OK) << steps.reason.text;
}

TEST_F(FrontEndOwed, is_known_to_be_overwritten_by_a_marker) {
    bed::StandIn daemon([](const std::string& line) -> std::optional<std::string> {
        return line.starts_with("avoip marker ") ? std::optional(answer(line)) : std::nullopt;
    });
    Steps steps;
    auto question = oneWay("device showme a!", "device showme");
    question.markerAfter_ms = 50;
    EXPECT_EQ(steps.ask(question), AVOIP_OVERWRITTEN);
    EXPECT_STREQ(steps.reason.text,
                 "The daemon is done with the command, but another answer has overwritten the one "
                 "to it. Whether it succeeded is not known.");
    EXPECT_EQ(daemon.lines().size(), 2U);
    EXPECT_EQ(avoip::Notes_parse(notes()).owedCount, 0U);
}

TEST_F(FrontEndOwed, tells_that_the_daemons_socket_is_not_clean_from_the_moment_one_reads) {
    Kept kept;
    bed::StandIn daemon([&](const std::string&) {
        kept.put(notes());
        return answer("x");
    });
    leave("clean\n");
    Steps steps;
    EXPECT_EQ(steps.ask(oneWay("device showme a!", "x")), AVOIP_OK);
    EXPECT_TRUE(avoip::Notes_parse(kept.get()).clean) << kept.get();
    steps.turn.leave();
    Asker asker;
    EXPECT_EQ(asker.ask("matrix get a!"), AVOIP_OK);
    EXPECT_FALSE(avoip::Notes_parse(kept.get()).clean) << kept.get();
    EXPECT_FALSE(avoip::Notes_parse(notes()).clean);
}
