// A console in namespaces of the test's own, with a handler that remembers what it was given.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "bed/namespaces.hpp"
#include "console/console.hpp"
#include "lib/base/descriptor.hpp"

/// One call of the handler.
struct Handled {
    int socket = -1;
    std::string line;
    /// Whether every byte of the answer buffer was zero.
    bool answerWasZero = false;
};

/// Remembers the call, stores "answer to LINE" and returns 0. A line that begins with a number
/// makes it return that number, and one that begins with "long" makes the answer a million
/// characters longer.
int recordingHandler(int socket, const char* line, char* answer);

/// Telnet_server on a thread of its own.
class RunningListener {
  public:
    RunningListener() = default;
    /// Stops the console if the listener's end has not been waited for.
    ~RunningListener() {
        if (thread_.joinable()) {
            Telnet_stop();
        }
    }
    RunningListener(const RunningListener&) = delete;
    RunningListener& operator=(const RunningListener&) = delete;

    /// Waits for its end.
    int result() {
        thread_.join();
        return result_;
    }

  private:
    int result_ = 0;
    std::jthread thread_{[this] { result_ = Telnet_server(); }};
};

class ConsoleFixture : public testing::Test {
  protected:
    /// The console as it is before any start, with the recording handler registered.
    ConsoleFixture();
    /// Closes the listening sockets that a listener has left open.
    ~ConsoleFixture() override;

    /// Waits until the handler has been called so many times in all; returns the latest call.
    static Handled awaitHandled(std::size_t count);
    static std::vector<std::string> handledLines();

    /// Makes the console count as started, without a listener: the test runs Telnet_server itself
    /// and sees what it returns.
    static void startWithoutListener();

    /// The process's listening sockets.
    static std::vector<int> listeningSockets();
    /// Makes the listener's next accept fail, at once. Returns its socket, which nobody closes.
    static avoip::Descriptor failAccept();

    /// Makes the console ready without a listener that has to be stopped: a failed accept ends it
    /// and leaves the console ready.
    static void makeReady();

    static std::size_t openDescriptors();

    bed::Namespaces namespaces{bed::Control::kAbsent};
};
