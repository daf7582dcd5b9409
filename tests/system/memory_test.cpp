// What a connection costs the daemon. It runs as it is built for a device.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace {

class Memory : public testing::Test {
  protected:
    static bed::DaemonOptions plainDaemon() {
        bed::DaemonOptions options;
        options.program = AVOIPD_PLAIN_PATH;
        return options;
    }

    std::string ask(bed::Console& from, const std::string& line) { return segment.ask(from, line); }

    /// Some commands with small answers, so that all that a connection ever needs has been used.
    void useLightly(bed::Console& from) {
        EXPECT_EQ(ask(from, "hello!"), families::failure("hello!"));
        EXPECT_EQ(ask(from, "vw add get!"), families::failure("vw add "));
        EXPECT_EQ(ask(from, "device showme rx01!"), families::success("device showme"));
        EXPECT_EQ(ask(from, "matrix set tx01 rx01!"), families::success("matrix sets"));
    }

    /// A number of /proc/PID/status, in KiB.
    std::size_t status(const std::string& name) const {
        std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/status");
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with(name + ":")) {
                return std::stoul(line.substr(name.size() + 1));
            }
        }
        throw bed::Error("no " + name + " in the process's status");
    }

    /// How often the daemon has been given a page of memory.
    std::size_t pageFaults() const {
        std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/stat");
        std::string word;
        // The tenth field; the second is a name without blanks.
        for (int field = 0; field < 10; ++field) {
            file >> word;
        }
        return std::stoul(word);
    }

    bed::Namespaces namespaces;
    bed::Device device{namespaces};
    bed::Daemon daemon{plainDaemon()};
    bed::Console console;
    bed::Segment segment;
};

constexpr std::size_t kConnections = 20;

TEST_F(Memory, an_open_connection_holds_well_under_100_kib) {
    useLightly(console);
    const std::size_t before = daemon.resident_kib();
    std::vector<std::unique_ptr<bed::Console>> connections;
    for (std::size_t i = 0; i < kConnections; ++i) {
        connections.push_back(std::make_unique<bed::Console>());
        useLightly(*connections.back());
    }
    const std::size_t each = (daemon.resident_kib() - before) / kConnections;
    RecordProperty("kib_per_connection", static_cast<int>(each));
    EXPECT_LT(each, 80U);
}

TEST_F(Memory, a_one_way_command_touches_no_more_of_the_answer_buffer_than_its_answer) {
    useLightly(console);
    const std::size_t before = pageFaults();
    std::vector<std::unique_ptr<bed::Console>> connections;
    for (std::size_t i = 0; i < kConnections; ++i) {
        connections.push_back(std::make_unique<bed::Console>());
        for (int command = 0; command < 5; ++command) {
            ask(*connections.back(), "device showme rx01!");
        }
    }
    const std::size_t each = (pageFaults() - before) / kConnections;
    RecordProperty("page_faults_per_connection", static_cast<int>(each));
    EXPECT_LT(each, 64U) << "4 MiB are 1,024 pages";
}

TEST_F(Memory, a_short_answer_after_a_long_one_is_followed_by_nothing_of_it) {
    for (const std::size_t length : {126U, 10U, 60U, 1U}) {
        const std::string line = std::string(length, 'x') + "!";
        EXPECT_EQ(ask(console, line), families::failure(line));
    }
}

TEST_F(Memory, an_ended_connection_leaves_its_answer_buffer_allocated) {
    useLightly(console);
    const std::size_t before = status("VmSize");
    for (std::size_t i = 0; i < kConnections; ++i) {
        bed::Console other;
        useLightly(other);
        other.send("exit!");
        other.awaitClosed();
    }
    EXPECT_GE(status("VmSize") - before, kConnections * 4096);
}

}  // namespace
