// The examples for front ends: each keeps one connection, takes turns, and believes what it may.
#include <fcntl.h>
#include <sys/file.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "avoipctl_bed.hpp"
#include "bed/stand_in.hpp"
#include "bed/wait.hpp"
#include "gtest/gtest.h"
#include "lib/base/descriptor.hpp"
#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/sockets.hpp"
#include "lib/frontend/waiting.hpp"

namespace {

/// The programs, by the last part of their names.
class Example : public AvoipctlAlone, public testing::WithParamInterface<std::string> {
  protected:
    [[nodiscard]] bed::DaemonOptions example(const std::string& encoder,
                                             const std::string& decoder) const {
        bed::DaemonOptions made = options({encoder, decoder});
        made.program = GetParam() == "c" ? EXAMPLE_C_PATH : EXAMPLES "/frontend." + GetParam();
        const std::string avoipctl = std::filesystem::path(AVOIPCTL_PATH).parent_path();
        made.environment.push_back("PATH=" + avoipctl + ":" + std::getenv("PATH"));
        return made;
    }

    [[nodiscard]] std::string lockText() const {
        std::ifstream file(folder + "/lock");
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static std::string answers() {
        return *smallNetwork("config get devices!") + "\n" + success("matrix sets") + "\n";
    }
};

/// Those that do not wait for half a minute for an answer.
class QuickExample : public Example {};

std::string nameOf(const testing::TestParamInfo<std::string>& tested) {
    return tested.param;
}

}  // namespace

TEST_P(Example, keeps_one_connection_and_leaves_nothing_owed) {
    bed::StandIn daemon(smallNetwork);
    bed::Daemon program(example("tx01", "rx01"));
    EXPECT_EQ(end(program), (Outcome{0, answers(), ""}));
    EXPECT_EQ(daemon.lines(),
              (std::vector<std::string>{"config get devices!", "matrix set tx01 rx01!"}));
    EXPECT_EQ(daemon.connectionCount(), 1U);
    const std::string told =
        "avoip 1\ndaemon " + std::to_string(avoip::Sockets_listener(AVOIP_CONSOLE_PORT)) + "\n";
    EXPECT_TRUE(lockText() == told + "end\n" || lockText() == told + "clean\nend\n") << lockText();
}

TEST_P(Example, waits_for_its_turn) {
    bed::StandIn daemon(smallNetwork);
    avoip::Descriptor lock(::open((folder + "/lock").c_str(), O_RDWR | O_CREAT, 0660));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    bed::Daemon program(example("tx01", "rx01"));
    bed::awaitCondition("the lock file to be opened", [&] {
        for (const auto& [number, target] : program.descriptors()) {
            if (target == folder + "/lock") {
                return true;
            }
        }
        return GetParam() == "sh" && program.isRunning();
    });
    EXPECT_TRUE(daemon.lines().empty());
    lock.reset();
    EXPECT_EQ(end(program), (Outcome{0, answers(), ""}));
}

TEST_P(Example, does_not_take_the_answer_to_what_somebody_has_given_up) {
    std::atomic<bed::StandIn*> standIn = nullptr;
    bed::StandIn daemon([&](const std::string& line) {
        if (line.starts_with("matrix set")) {
            standIn.load()->post(success("matrix get"));
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return smallNetwork(line);
    });
    standIn = &daemon;
    const std::int64_t now = avoip::BootClock_ms();
    std::ofstream(folder + "/lock")
        << "avoip 1\ndaemon " << avoip::Sockets_listener(AVOIP_CONSOLE_PORT) << "\nowed "
        << now + 60'000 << " " << now + 60'000 << " 1 1 config get devices\nend\n";
    daemon.post(success("config get devices", ",\"devicelist\":[\"late\"]"));
    bed::Daemon program(example("tx01", "rx01"));
    EXPECT_EQ(end(program), (Outcome{0, answers(), ""}));
}

TEST_P(QuickExample, says_that_no_daemon_runs) {
    bed::Daemon program(example("tx01", "rx01"));
    const Outcome outcome = end(program);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_NE(outcome.errors, "");
}

TEST_P(Example, says_how_it_is_used) {
    bed::DaemonOptions wrong = example("tx01", "rx01");
    wrong.arguments = {"tx01"};
    bed::Daemon program(wrong);
    const Outcome outcome = end(program);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(outcome.errors.starts_with("usage: frontend")) << outcome;
}

INSTANTIATE_TEST_SUITE_P(In, Example, testing::Values("c", "py", "sh"), nameOf);

INSTANTIATE_TEST_SUITE_P(In, QuickExample, testing::Values("c", "py"), nameOf);
