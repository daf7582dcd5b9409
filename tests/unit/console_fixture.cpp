#include "console_fixture.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "bed/console.hpp"
#include "bed/wait.hpp"
#include "capture_output.hpp"
#include "scarcity.hpp"

namespace {

struct Record {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Handled> calls;
};

/// Never destroyed: connection threads, which nobody joins, may still stand when the process ends.
Record& record = *new Record;

bool isZero(const char* buffer, std::size_t size) {
    return buffer[0] == '\0' && std::memcmp(buffer, buffer + 1, size - 1) == 0;
}

}  // namespace

int recordingHandler(int socket, const char* line, char* answer) {
    const std::string text(line);
    const bool zero = isZero(answer, kAnswerBufferSize);
    std::string stored = "answer to " + text;
    if (text.starts_with("long")) {
        stored.append(1'000'000, 'x');
    }
    std::ranges::copy(stored, answer);
    if (text.starts_with("behind")) {
        for (std::size_t at = stored.size() + 1; at < kAnswerBufferSize; at += 1000) {
            answer[at] = 'b';
        }
        answer[kAnswerBufferSize - 1] = 'b';
    }
    int result = 0;
    std::from_chars(text.data(), text.data() + text.size(), result);
    const std::lock_guard lock(record.mutex);
    record.calls.push_back({.socket = socket, .line = text, .answerWasZero = zero});
    record.changed.notify_all();
    return result;
}

ConsoleFixture::ConsoleFixture() {
    Telnet_init();
    Telnet_setHandler(recordingHandler);
    const std::lock_guard lock(record.mutex);
    record.calls.clear();
}

ConsoleFixture::~ConsoleFixture() {
    std::ranges::for_each(listeningSockets(), ::close);
}

Handled ConsoleFixture::awaitHandled(std::size_t count) {
    std::unique_lock lock(record.mutex);
    if (!record.changed.wait_for(lock, bed::kPatience,
                                 [&] { return record.calls.size() >= count; })) {
        throw bed::Error("the handler was called " + std::to_string(record.calls.size()) +
                         " times, not " + std::to_string(count));
    }
    return record.calls[count - 1];
}

std::vector<std::string> ConsoleFixture::handledLines() {
    const std::lock_guard lock(record.mutex);
    std::vector<std::string> lines;
    std::ranges::transform(record.calls, std::back_inserter(lines), &Handled::line);
    return lines;
}

void ConsoleFixture::startWithoutListener() {
    captureOutput([] {
        const NoMoreThreads none;
        Telnet_start(6888);
    });
}

std::vector<int> ConsoleFixture::listeningSockets() {
    std::vector<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        int listening = 0;
        socklen_t size = sizeof listening;
        if (::getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 &&
            listening != 0) {
            found.push_back(descriptor);
        }
    }
    return found;
}

avoip::Descriptor ConsoleFixture::failAccept() {
    avoip::Descriptor listening(listeningSockets().at(0));
    ::shutdown(listening.get(), SHUT_RDWR);
    return listening;
}

void ConsoleFixture::makeReady() {
    startWithoutListener();
    captureOutput([] {
        RunningListener listener;
        bed::Console console;
        console.send("exit!");
        console.awaitClosed();
        const avoip::Descriptor listening = failAccept();
        listener.result();
    });
}

std::size_t ConsoleFixture::openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}
