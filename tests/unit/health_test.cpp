// The text of the daemon's health and the folder in which it stands.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "lib/health/health_reader.hpp"
#include "lib/health/state_folder.hpp"

namespace avoip {
namespace {

/// 2026-01-02T03:04:05Z
constexpr std::time_t kMoment = 1767323045;

class StateFolder : public testing::Test {
  protected:
    StateFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "avoipXXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    ~StateFolder() override { std::filesystem::remove_all(folder); }

    std::string folder;
    std::string problem;
};

/// What `act` says in another process: 0 to 255.
template <class Act>
int inAnotherProcess(Act act) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(act());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

TEST(Health, has_one_text) {
    EXPECT_EQ(Health_text({HealthState::kOk, "", kMoment, 0, 4711}),
              R"({"state":"ok","reason":"","since":"2026-01-02T03:04:05Z","restarts":0,)"
              R"("daemon_pid":4711})");
    EXPECT_EQ(Health_text({HealthState::kUseless, "a \"b\" \\ \n\x7f ä", kMoment, 3, 0}),
              R"({"state":"useless","reason":"a \"b\" \\ \u000a\u007f ä",)"
              R"("since":"2026-01-02T03:04:05Z","restarts":3,"daemon_pid":0})");
}

TEST(Health, is_read_from_its_text) {
    for (const HealthState state :
         {HealthState::kWaiting, HealthState::kStarting, HealthState::kOk, HealthState::kUseless,
          HealthState::kStopping, HealthState::kAbsent}) {
        const Health health{state, "\"why\"\n", kMoment, 7, 4711};
        EXPECT_EQ(Health_read(Health_text(health)), health);
    }
}

TEST(Health, is_not_read_from_another_text) {
    const std::string whole = Health_text({HealthState::kOk, "", kMoment, 0, 4711});
    for (const auto& [part, instead] : {std::pair<std::string, std::string>{"\"ok\"", "\"fine\""},
                                        {"\"ok\"", "1"},
                                        {"\"\"", "0"},
                                        {"03:04:05Z", "03:04:05"},
                                        {"\"restarts\":0", "\"restarts\":-1"},
                                        {"\"restarts\":0", "\"restarts\":\"0\""},
                                        {"4711", "1e99"},
                                        {"}", ""}}) {
        std::string text = whole;
        text.replace(text.find(part), part.size(), instead);
        EXPECT_EQ(Health_read(text), std::nullopt) << text;
    }
    EXPECT_EQ(Health_read(""), std::nullopt);
}

TEST_F(StateFolder, is_kept_by_one_process_at_a_time_and_while_it_lives) {
    EXPECT_EQ(StateFolder_keeper(folder), 0);
    const Health health{HealthState::kOk, "", kMoment, 0, 4711};
    const int status = inAnotherProcess([&] {
        const Descriptor kept = StateFolder_keep(folder, problem);
        const bool written = StateFolder_write(folder, Health_text(health));
        // Seen by others as this process's.
        const int seen = inAnotherProcess([&, keeper = ::getpid()] {
            return StateFolder_keeper(folder) == keeper && Health_readFolder(folder) == health &&
                           !StateFolder_keep(folder, problem).isOpen() &&
                           problem.starts_with("Another process (" + std::to_string(keeper) + ") ")
                       ? 7
                       : 0;
        });
        return kept.isOpen() && written ? seen : 0;
    });
    EXPECT_EQ(status, 7);
    EXPECT_TRUE(std::filesystem::exists(folder + "/state.json"));
    EXPECT_EQ(StateFolder_keeper(folder), 0);
    EXPECT_EQ(Health_readFolder(folder), std::nullopt);
}

TEST_F(StateFolder, has_no_state_when_it_is_newly_kept) {
    std::ofstream(folder + "/state.json") << "old";
    const Descriptor kept = StateFolder_keep(folder, problem);
    EXPECT_TRUE(kept.isOpen()) << problem;
    EXPECT_FALSE(std::filesystem::exists(folder + "/state.json"));
}

TEST_F(StateFolder, is_not_kept_by_whoever_may_only_read_there) {
    const Descriptor file(::open((folder + "/guard.lock").c_str(), O_RDWR | O_CREAT, 0644));
    const int status = inAnotherProcess([&] {
        struct flock lock {};
        lock.l_type = F_RDLCK;
        lock.l_whence = SEEK_SET;
        const Descriptor reader(::open((folder + "/guard.lock").c_str(), O_RDONLY));
        const bool locked = ::fcntl(reader.get(), F_SETLK, &lock) == 0;
        return locked && inAnotherProcess(
                             [&] { return StateFolder_keeper(folder) == 0 ? 7 : 0; }) == 7
                   ? 7
                   : 0;
    });
    EXPECT_EQ(status, 7);
}

TEST_F(StateFolder, is_made_and_its_state_is_for_all_to_read) {
    const std::string made = folder + "/made";
    const mode_t old = ::umask(0077);
    const Descriptor kept = StateFolder_keep(made, problem);
    ASSERT_TRUE(kept.isOpen()) << problem;
    EXPECT_TRUE(StateFolder_write(made, "text"));
    ::umask(old);
    for (const auto& [name, mode] :
         {std::pair{"", 0755U}, {"/guard.lock", 0644U}, {"/state.json", 0644U}}) {
        struct stat facts {};
        ASSERT_EQ(::stat((made + name).c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 0777U, mode) << name;
    }
    StateFolder_clear(made);
    EXPECT_FALSE(std::filesystem::exists(made + "/state.json"));
}

TEST_F(StateFolder, is_not_written_through_a_link_that_somebody_has_laid) {
    std::filesystem::create_symlink(folder + "/elsewhere", folder + "/state.json.new");
    EXPECT_TRUE(StateFolder_write(folder, "text"));
    EXPECT_FALSE(std::filesystem::exists(folder + "/elsewhere"));
    EXPECT_TRUE(std::filesystem::is_regular_file(folder + "/state.json"));
}

TEST_F(StateFolder, that_cannot_be_made_says_so) {
    EXPECT_FALSE(StateFolder_keep("/proc/no/folder", problem).isOpen());
    EXPECT_EQ(problem,
              "The state folder /proc/no/folder cannot be made (No such file or directory). Make "
              "it, or name another one with --state-folder.");
    EXPECT_FALSE(StateFolder_write("/proc/no/folder", "text"));
}

}  // namespace
}  // namespace avoip
