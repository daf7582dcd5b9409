// How long the upload waits for what, proved without waiting: here poll(), send(), usleep() and
// fcntl() are the test's own. They hand on to the system's what the test does not change.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bed/image_file.hpp"
#include "bed/namespaces.hpp"
#include "bed/upload_port.hpp"
#include "call_outcome.hpp"
#include "firmware/tcp.hpp"
#include "firmware/upload.hpp"

namespace {

using testing::Test;

// What the thread that has set it sees in place of the system.
struct Seam {
    std::vector<int> waits;
    std::vector<useconds_t> pauses;
    int flagChanges = 0;

    /// The time-out to wait for in fact.
    std::function<int(int timeout_ms)> shorten = [](int timeout_ms) { return timeout_ms; };
    /// The error of each send to come, 0 for one that goes through with a single byte.
    std::vector<int> sendErrors;
    /// The number of the change of flags that fails, and of the wait; -1 for none.
    int failingFlagChange = -1;
    int failingWait = -1;
};

thread_local Seam* seam = nullptr;

template <class Function>
Function* systemsOwn(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int failWith(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" int poll(pollfd* entries, nfds_t count, int timeout_ms) {
    static const auto real = systemsOwn<int(pollfd*, nfds_t, int)>("poll");
    if (seam == nullptr) {
        return real(entries, count, timeout_ms);
    }
    seam->waits.push_back(timeout_ms);
    if (std::cmp_equal(seam->waits.size(), seam->failingWait + 1)) {
        return failWith(EINTR);
    }
    return real(entries, count, seam->shorten(timeout_ms));
}

extern "C" ssize_t send(int socket, const void* bytes, size_t count, int flags) {
    static const auto real = systemsOwn<ssize_t(int, const void*, size_t, int)>("send");
    if (seam == nullptr || seam->sendErrors.empty()) {
        return real(socket, bytes, count, flags);
    }
    const int error = seam->sendErrors.front();
    seam->sendErrors.erase(seam->sendErrors.begin());
    return error != 0 ? failWith(error) : real(socket, bytes, 1, flags);
}

extern "C" int usleep(useconds_t microseconds) {
    static const auto real = systemsOwn<int(useconds_t)>("usleep");
    if (seam == nullptr) {
        return real(microseconds);
    }
    seam->pauses.push_back(microseconds);
    return 0;
}

extern "C" int fcntl(int descriptor, int command, ...) {
    static const auto real = systemsOwn<int(int, int, ...)>("fcntl");
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (seam != nullptr && command == F_SETFL && seam->flagChanges++ == seam->failingFlagChange) {
        return failWith(EPERM);
    }
    return real(descriptor, command, argument);
}

namespace {

constexpr const char* kAddress = "127.0.0.1";
constexpr const char* kConnectErrno = "115 Operation now in progress";
constexpr int kFiveMinutesMs = 300'000;

/// Makes the call with the seam in the system's place.
template <class Call>
CallOutcome outcomeWith(Seam& set, Call call) {
    return outcomeOf([&] {
        seam = &set;
        const int result = call();
        seam = nullptr;
        return result;
    });
}

// A device that has its port open and accepts, reads and answers nothing until it is told to.
class Waits : public Test {
  protected:
    Waits() { ::signal(SIGPIPE, SIG_IGN); }

    CallOutcome upload(const bed::ImageFile& image, bool wait) {
        return outcomeWith(seam_, [&] {
            return Main_update_encoder(nullptr, kAddress, image.path().c_str(), wait);
        });
    }

    /// All but the wait for the connection.
    std::vector<int> laterWaits() const { return {seam_.waits.begin() + 1, seam_.waits.end()}; }

    bed::Namespaces namespaces_{bed::Control::kAbsent};
    bed::UploadPort port_{kAddress};
    Seam seam_;
};

TEST_F(Waits, a_connection_is_given_one_second) {
    EXPECT_EQ(upload(bed::ImageFile(), false).result, 0);
    ASSERT_FALSE(seam_.waits.empty());
    EXPECT_EQ(seam_.waits.front(), 1000);
}

TEST_F(Waits, a_device_that_has_room_is_not_waited_for) {
    EXPECT_EQ(upload(bed::ImageFile({.size = 10000}), false).result, 0);
    EXPECT_EQ(laterWaits(), std::vector<int>{});
}

TEST_F(Waits, the_reply_is_given_five_minutes_and_its_absence_changes_nothing) {
    seam_.shorten = [](int timeout_ms) { return timeout_ms == kFiveMinutesMs ? 0 : timeout_ms; };
    const bed::ImageFile image({.size = 1});
    const CallOutcome outcome = upload(image, true);
    EXPECT_EQ(laterWaits(), std::vector<int>{kFiveMinutesMs});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output,
              image.description() + "select error:" + kConnectErrno + "read \n");
    EXPECT_EQ(outcome.leftOpen, 0);
}

TEST_F(Waits, nothing_is_waited_for_after_an_image_of_no_bytes) {
    EXPECT_EQ(upload(bed::ImageFile({.size = 0}), true).result, 0);
    EXPECT_EQ(laterWaits(), std::vector<int>{});
}

TEST_F(Waits, a_device_that_stops_reading_is_given_up) {
    seam_.shorten = [this](int timeout_ms) { return seam_.waits.size() > 1 ? 0 : timeout_ms; };
    const bed::ImageFile image({.size = bed::kWholeImage});
    const CallOutcome outcome = upload(image, true);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output,
              image.description() + "select error:" + kConnectErrno + "Tcp_Send err!\n");
    EXPECT_EQ(outcome.leftOpen, 0);
    // The socket still takes a little in between at first; then five waits in a row end it.
    const std::vector<int> waits = laterWaits();
    ASSERT_GE(waits.size(), 5U);
    EXPECT_EQ(std::vector<int>(waits.end() - 5, waits.end()), std::vector<int>(5, 1000));
}

TEST_F(Waits, a_wait_for_the_connection_that_fails_names_the_socket) {
    seam_.failingWait = 0;
    int lowestFree = -1;
    const CallOutcome outcome = outcomeWith(seam_, [&] {
        lowestFree = ::dup(0);
        ::close(lowestFree);
        return Tcp_Connect(kAddress, bed::kUploadPort);
    });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output,
              "select error:4 Interrupted system call,Sockfd=" + std::to_string(lowestFree) + "\n");
    EXPECT_EQ(outcome.leftOpen, 0);
}

TEST_F(Waits, a_connection_whose_flags_cannot_be_set_back_is_given_up_without_a_word) {
    seam_.failingFlagChange = 1;
    const CallOutcome outcome =
        outcomeWith(seam_, [] { return Tcp_Connect(kAddress, bed::kUploadPort); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(outcome.leftOpen, 0);
}

// Two connected stream sockets.
class Pair : public Test {
  protected:
    Pair() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        near_ = avoip::Descriptor(ends[0]);
        far_ = avoip::Descriptor(ends[1]);
    }

    std::string received() const {
        std::array<char, 4096> buffer{};
        const ssize_t got = ::recv(far_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
    }

    avoip::Descriptor near_;
    avoip::Descriptor far_;
    Seam seam_;
};

// Pieces sent into a socket that is full.
class FullSocket : public Pair {
  protected:
    FullSocket() {
        while (::send(near_.get(), piece_.data(), piece_.size(), MSG_DONTWAIT) > 0) {
        }
    }

    CallOutcome sendPieces(int count) {
        return outcomeWith(seam_, [this, count] {
            int result = 0;
            for (int i = 0; i < count && result == 0; ++i) {
                result = Tcp_SendPiece(near_.get(), piece_.data(), piece_.size(), 5);
            }
            return result;
        });
    }

    const std::string piece_ = std::string(4096, 'p');
};

TEST_F(FullSocket, is_given_up_when_nothing_is_read_for_five_seconds) {
    seam_.shorten = [](int /*timeout_ms*/) { return 0; };
    const CallOutcome outcome = sendPieces(1);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "select error:0 Success");
    EXPECT_EQ(seam_.waits, std::vector<int>(5, 1000));
}

TEST_F(FullSocket, takes_all_pieces_for_a_reader_that_is_always_just_in_time) {
    // Far too little for the system to call the socket writable.
    seam_.shorten = [this](int /*timeout_ms*/) {
        if (seam_.waits.size() % 5 == 0) {
            EXPECT_EQ(received(), piece_);
        }
        return 0;
    };
    const CallOutcome outcome = sendPieces(8);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(seam_.waits, std::vector<int>(40, 1000));
}

// The sends of one Tcp_Send with errors in their way.
class Retries : public Pair {
  protected:
    CallOutcome sendHello() {
        return outcomeWith(seam_, [this] { return Tcp_Send(near_.get(), "hello", 5, 0); });
    }
};

TEST_F(Retries, nine_are_allowed) {
    seam_.sendErrors = {EAGAIN, EINTR, EAGAIN, EINTR, EAGAIN, EINTR, EAGAIN, EINTR, EAGAIN};
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(received(), "hello");
    EXPECT_EQ(seam_.pauses, std::vector<useconds_t>(9, 5000));
}

TEST_F(Retries, the_tenth_is_the_end) {
    seam_.sendErrors = std::vector<int>(10, EAGAIN);
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "send error:11 Resource temporarily unavailable");
    EXPECT_EQ(received(), "");
    EXPECT_EQ(seam_.pauses, std::vector<useconds_t>(10, 5000));
}

TEST_F(Retries, are_counted_over_the_whole_call) {
    seam_.sendErrors = {EAGAIN, EINTR, EINTR, EINTR, EINTR, EINTR,
                        0,      EINTR, EINTR, EINTR, EINTR, EINTR};
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "send error:4 Interrupted system call");
    EXPECT_EQ(received(), "h");
}

TEST_F(Retries, any_other_error_is_final) {
    seam_.sendErrors = {0, ECONNRESET};
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "send error:104 Connection reset by peer");
    EXPECT_EQ(received(), "h");
    EXPECT_EQ(seam_.pauses, std::vector<useconds_t>{});
}

}  // namespace
