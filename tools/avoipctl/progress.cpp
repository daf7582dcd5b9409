#include "avoipctl/progress.hpp"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <ostream>
#include <utility>

namespace avoip::ctl {
namespace {

using namespace std::chrono_literals;

// Held while one line or the other is written.
std::mutex screenMutex;

constexpr const char* kWipeLine = "\r\x1b[K";

void show(const std::stop_token& stop, const std::string& text) {
    const auto begin = std::chrono::steady_clock::now();
    std::mutex mutex;
    std::condition_variable_any wake;
    // cppcheck-suppress localMutex ; guards nothing, the wait asks for one
    std::unique_lock lock(mutex);
    while (!stop.stop_requested()) {
        const auto passed = std::chrono::steady_clock::now() - begin;
        {
            const std::scoped_lock shown(screenMutex);
            std::fprintf(stderr, "\r%s, %lld s ", text.c_str(),
                         static_cast<long long>(passed / 1s));
        }
        wake.wait_for(lock, stop, 1s, [] { return false; });
    }
    std::fputs(kWipeLine, stderr);
}

}  // namespace

Progress::Progress(std::string text) {
    if (::isatty(STDERR_FILENO) != 0) {
        thread_ = std::jthread(
            [shown = std::move(text)](const std::stop_token& stop) { show(stop, shown); });
    }
}

Progress::~Progress() = default;

void Progress_print(std::ostream& out, const std::string& line) {
    const std::scoped_lock lock(screenMutex);
    if (::isatty(STDERR_FILENO) != 0) {
        std::fputs(kWipeLine, stderr);
    }
    out << line << std::endl;
}

}  // namespace avoip::ctl
