// What tests of the library for front ends share: an asker, and a bed without a network.
#pragma once

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "bed/namespaces.hpp"
#include "bed/stand_in.hpp"
#include "gtest/gtest.h"
#include "lib/frontend/avoip_frontend.h"

inline constexpr int kPatienceMs = 20'000;

/// A front end whose answers are C++ texts.
class Asker {
  public:
    avoip_result ask(const std::string& command, int timeout_ms = kPatienceMs) {
        return askNamed(command, nullptr, nullptr, timeout_ms);
    }

    avoip_result askNamed(const std::string& command, const char* name,
                          const char* otherName = nullptr, int timeout_ms = kPatienceMs) {
        char* copy = nullptr;
        const avoip_result result = avoip_frontend_ask_named(frontend_.get(), command.c_str(), name,
                                                             otherName, timeout_ms, &copy);
        EXPECT_EQ(result == AVOIP_OK, copy != nullptr);
        answer = copy == nullptr ? "" : copy;
        std::free(copy);
        return result;
    }

    [[nodiscard]] std::string error() const { return avoip_frontend_error(frontend_.get()); }

    std::string answer;

  private:
    struct Close {
        void operator()(avoip_frontend* frontend) const { avoip_frontend_close(frontend); }
    };

    std::unique_ptr<avoip_frontend, Close> frontend_{
        avoip_frontend_open("127.0.0.1", AVOIP_CONSOLE_PORT)};
};

/// Namespaces without a network beyond this machine, and a lock file of the test's own.
class FrontEnd : public testing::Test {
  protected:
    FrontEnd() { ::setenv("AVOIP_LOCK_FILE", lockFile.c_str(), 1); }
    ~FrontEnd() override { std::filesystem::remove_all(folder); }

    static std::string makeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "avoipXXXXXX").string();
        return ::mkdtemp(pattern.data());
    }

    const bed::Namespaces namespaces{bed::Control::kAbsent};
    const std::string folder = makeFolder();
    const std::string lockFile = folder + "/lock";
};

inline bed::StandIn::Answers always(const std::string& answer) {
    return [answer](const std::string&) { return answer; };
}

inline std::optional<std::string> nothing(const std::string&) {
    return std::nullopt;
}
