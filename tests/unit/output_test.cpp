// What the daemon says: whole, at once, in one write, wherever its output goes.
#include "base/output.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "capture_output.hpp"
#include "channel.hpp"
#include "system_calls.hpp"

namespace {

/// Sends one of the standard streams elsewhere while it lives. What the tests themselves have to
/// say comes later.
class Redirected {
  public:
    Redirected(int stream, const avoip::Descriptor& elsewhere)
        : stream_(stream), saved_(::fcntl(stream, F_DUPFD_CLOEXEC, 0)) {
        ::dup2(elsewhere.get(), stream);
    }
    ~Redirected() { ::dup2(saved_.get(), stream_); }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

  private:
    int stream_;
    avoip::Descriptor saved_;
};

TEST(Print, writes_the_formatted_text_to_standard_output) {
    const auto captured = captureOutput([] { Output_print("%s is %d\n", "this", 1); });
    EXPECT_EQ(captured.output, "this is 1\n");
    EXPECT_EQ(captured.errors, "");
}

TEST(Print, writes_each_text_in_one_piece) {
    const Channel channel = makeSocketPair(SOCK_SEQPACKET);
    const std::string longText(60'000, 'x');
    {
        const Redirected redirected(STDOUT_FILENO, channel.ours);
        Output_print("a line of %s\n", "two arguments");
        Output_print("no line end");
        Output_print("two\nlines\n");
        Output_print("%s", longText.c_str());
    }
    EXPECT_EQ(readAtOnce(channel.theirs), "a line of two arguments\n");
    EXPECT_EQ(readAtOnce(channel.theirs), "no line end");
    EXPECT_EQ(readAtOnce(channel.theirs), "two\nlines\n");
    EXPECT_EQ(readAtOnce(channel.theirs), longText);
    EXPECT_EQ(readAtOnce(channel.theirs), "");
}

TEST(Print, leaves_the_process_at_once_into_a_pipe) {
    const Channel pipe = makePipe();
    std::vector<std::string> seen;
    {
        const Redirected redirected(STDOUT_FILENO, pipe.theirs);
        Output_print("no line end");
        seen.push_back(readAtOnce(pipe.ours));
        Output_print("a line\n");
        seen.push_back(readAtOnce(pipe.ours));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"no line end", "a line\n"}));
}

TEST(Print, leaves_the_process_at_once_into_a_file) {
    const avoip::Descriptor file(::memfd_create("output", MFD_CLOEXEC));
    ASSERT_GE(file.get(), 0);
    const avoip::Descriptor reader(
        ::open(("/proc/self/fd/" + std::to_string(file.get())).c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<std::string> seen;
    {
        const Redirected redirected(STDOUT_FILENO, file);
        Output_print("no line end");
        seen.push_back(readAtOnce(reader));
        Output_print("a line\n");
        seen.push_back(readAtOnce(reader));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"no line end", "a line\n"}));
}

TEST(Print, writes_a_text_that_a_pipe_takes_in_parts_whole) {
    Channel pipe = makePipe();
    const std::string text(300'000, 'x');  // more than the pipe holds
    std::string received;
    std::jthread reader([&] {
        std::string piece(4096, '\0');
        for (ssize_t count = 0;
             (count = ::read(pipe.ours.get(), piece.data(), piece.size())) > 0;) {
            received.append(piece, 0, static_cast<std::size_t>(count));
        }
    });
    {
        const Redirected redirected(STDOUT_FILENO, pipe.theirs);
        Output_print("%s\n", text.c_str());
    }
    pipe.theirs.reset();
    reader.join();
    EXPECT_EQ(received, text + "\n");
}

TEST(Print, goes_on_where_a_signal_interrupts_it) {
    SystemCalls calls;
    calls.writeErrors = {EINTR, 0, EINTR, EINTR};
    const auto captured =
        captureOutput([&] { calls.during([] { Output_print("%s\n", "whole"); }); });
    EXPECT_EQ(captured.output, "whole\n");
    EXPECT_TRUE(calls.writeErrors.empty());
}

TEST(Print, loses_its_text_and_nothing_else_when_nobody_reads) {
    std::signal(SIGPIPE, SIG_IGN);
    Channel pipe = makePipe();
    pipe.ours.reset();
    {
        const Redirected redirected(STDOUT_FILENO, pipe.theirs);
        Output_print("lost\n");
    }
    const auto captured = captureOutput([] { Output_print("heard\n"); });
    EXPECT_EQ(captured.output, "heard\n");
}

TEST(Print, mixes_no_texts_of_several_threads) {
    const Channel channel = makeSocketPair(SOCK_SEQPACKET);
    constexpr int kThreads = 4;
    constexpr int kTexts = 20;
    {
        const Redirected redirected(STDOUT_FILENO, channel.ours);
        std::array<std::jthread, kThreads> threads;
        for (auto& thread : threads) {
            thread = std::jthread([] {
                for (int text = 0; text < kTexts; ++text) {
                    Output_print("%s, %s\n", "one half", "the other half");
                }
            });
        }
    }
    for (int i = 0; i < kThreads * kTexts; ++i) {
        ASSERT_EQ(readAtOnce(channel.theirs), "one half, the other half\n");
    }
}

TEST(Print, leaves_errno_as_it_was) {
    std::signal(SIGPIPE, SIG_IGN);
    Channel pipe = makePipe();
    pipe.ours.reset();
    int error = 0;
    {
        const Redirected redirected(STDOUT_FILENO, pipe.theirs);
        errno = EADDRINUSE;
        Output_print("lost\n");
        error = errno;
    }
    EXPECT_EQ(error, EADDRINUSE);
}

TEST(SystemError, writes_the_text_and_the_reason_to_standard_error) {
    const auto captured = captureOutput([] {
        errno = EADDRINUSE;
        Output_systemError("bind");
    });
    EXPECT_EQ(captured.output, "");
    EXPECT_EQ(captured.errors, "bind: Address already in use\n");
}

TEST(SystemError, takes_its_text_as_it_is) {
    const auto captured = captureOutput([] {
        errno = ENOENT;
        Output_systemError("100%s error:");
    });
    EXPECT_EQ(captured.errors, "100%s error:: No such file or directory\n");
}

TEST(SystemError, is_written_in_one_piece) {
    const Channel channel = makeSocketPair(SOCK_SEQPACKET);
    {
        const Redirected redirected(STDERR_FILENO, channel.ours);
        errno = EMFILE;
        Output_systemError("accept");
    }
    EXPECT_EQ(readAtOnce(channel.theirs), "accept: Too many open files\n");
    EXPECT_EQ(readAtOnce(channel.theirs), "");
}

TEST(SystemError, leaves_errno_as_it_was) {
    int error = 0;
    captureOutput([&] {
        errno = EMFILE;
        Output_systemError("accept");
        error = errno;
    });
    EXPECT_EQ(error, EMFILE);
}

}  // namespace
