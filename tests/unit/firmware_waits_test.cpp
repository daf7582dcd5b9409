// How long the upload waits for what, and what it makes of calls that the system half fulfils.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "bed/image_file.hpp"
#include "bed/namespaces.hpp"
#include "bed/upload_port.hpp"
#include "call_outcome.hpp"
#include "firmware/tcp.hpp"
#include "firmware/upload.hpp"
#include "system_calls.hpp"

namespace {

using testing::Test;

constexpr const char* kAddress = "127.0.0.1";
constexpr const char* kConnectErrno = "115 Operation now in progress";
constexpr int kFiveMinutesMs = 300'000;

// What is called here meets system calls that are in the test's hand.
class WithSystemCalls : public Test {
  protected:
    template <class Call>
    CallOutcome callOutcome(const Call& call) {
        return outcomeOf([&] { return calls_.during(call); });
    }

    SystemCalls calls_;
};

// A device that has its port open and accepts, reads and answers nothing until it is told to.
class Waits : public WithSystemCalls {
  protected:
    Waits() { ::signal(SIGPIPE, SIG_IGN); }

    CallOutcome upload(const bed::ImageFile& image, bool wait) {
        return callOutcome(
            [&] { return Main_update_encoder(nullptr, kAddress, image.path().c_str(), wait); });
    }

    // All but the wait for the connection.
    std::vector<int> laterWaits() const { return {calls_.waits.begin() + 1, calls_.waits.end()}; }

    bed::Namespaces namespaces_{bed::Control::kAbsent};
    bed::UploadPort port_{kAddress};
};

TEST_F(Waits, a_connection_is_given_one_second) {
    EXPECT_EQ(upload(bed::ImageFile(), false).result, 0);
    ASSERT_FALSE(calls_.waits.empty());
    EXPECT_EQ(calls_.waits.front(), 1000);
}

TEST_F(Waits, a_device_that_has_room_is_not_waited_for) {
    EXPECT_EQ(upload(bed::ImageFile({.size = 10000}), false).result, 0);
    EXPECT_EQ(laterWaits(), std::vector<int>{});
}

TEST_F(Waits, the_reply_is_given_five_minutes_and_its_absence_changes_nothing) {
    calls_.shorten = [this](int /*descriptor*/, int timeout_ms) {
        return calls_.waits.size() > 1 ? 0 : timeout_ms;
    };
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

TEST_F(Waits, an_image_that_the_system_gives_in_short_pieces_is_sent_whole) {
    calls_.readAtMost = 1000;
    const bed::ImageFile image({.size = 10000});
    EXPECT_EQ(upload(image, false).result, 0);
    EXPECT_TRUE(port_.accept().receiveAll() == bed::chunkStream("ABD", image.payload()));
}

TEST_F(Waits, a_device_that_stops_reading_is_given_up_after_five_waits_of_a_second) {
    // At first the socket still takes a little in between, and then the waits are counted anew.
    std::size_t bytesBefore = 0;
    std::vector<int> inARow;
    calls_.shorten = [&](int /*descriptor*/, int timeout_ms) {
        if (calls_.waits.size() == 1) {
            return timeout_ms;
        }
        if (calls_.bytesSent != bytesBefore) {
            bytesBefore = calls_.bytesSent;
            inARow.clear();
        }
        inARow.push_back(timeout_ms);
        return 0;
    };
    const bed::ImageFile image({.size = bed::kWholeImage});
    const CallOutcome outcome = upload(image, true);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output,
              image.description() + "select error:" + kConnectErrno + "Tcp_Send err!\n");
    EXPECT_EQ(outcome.leftOpen, 0);
    EXPECT_EQ(inARow, std::vector<int>(5, 1000));
}

TEST_F(Waits, a_wait_for_the_connection_that_fails_names_the_socket) {
    calls_.failingWait = 0;
    int lowestFree = -1;
    const CallOutcome outcome = callOutcome([&] {
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
    calls_.failingFlagChange = 1;
    const CallOutcome outcome = callOutcome([] { return Tcp_Connect(kAddress, bed::kUploadPort); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(outcome.leftOpen, 0);
}

// Two connected stream sockets.
class Pair : public WithSystemCalls {
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
};

// Pieces sent into a socket that is full.
class FullSocket : public Pair {
  protected:
    FullSocket() {
        while (::send(near_.get(), piece_.data(), piece_.size(), MSG_DONTWAIT) > 0) {
        }
    }

    CallOutcome sendPieces(int count) {
        return callOutcome([this, count] {
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
    calls_.shorten = [](int /*descriptor*/, int /*timeout_ms*/) { return 0; };
    const CallOutcome outcome = sendPieces(1);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "select error:0 Success");
    EXPECT_EQ(calls_.waits, std::vector<int>(5, 1000));
}

TEST_F(FullSocket, takes_all_pieces_for_a_reader_that_is_always_just_in_time) {
    // Far too little for the system to call the socket writable.
    calls_.shorten = [this](int /*descriptor*/, int /*timeout_ms*/) {
        if (calls_.waits.size() % 5 == 0) {
            EXPECT_EQ(received(), piece_);
        }
        return 0;
    };
    const CallOutcome outcome = sendPieces(8);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(calls_.waits, std::vector<int>(40, 1000));
}

// The sends of one Tcp_Send with errors in their way.
class Retries : public Pair {
  protected:
    CallOutcome sendHello() {
        return callOutcome([this] { return Tcp_Send(near_.get(), "hello", 5, 0); });
    }
};

TEST_F(Retries, nine_are_allowed) {
    calls_.sendErrors = {EAGAIN, EINTR, EAGAIN, EINTR, EAGAIN, EINTR, EAGAIN, EINTR, EAGAIN};
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(received(), "hello");
    EXPECT_EQ(calls_.pauses, std::vector<useconds_t>(9, 5000));
}

TEST_F(Retries, the_tenth_is_the_end) {
    calls_.sendErrors = std::vector<int>(10, EAGAIN);
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "send error:11 Resource temporarily unavailable");
    EXPECT_EQ(received(), "");
    EXPECT_EQ(calls_.pauses, std::vector<useconds_t>(10, 5000));
}

TEST_F(Retries, are_counted_over_the_whole_call) {
    calls_.sendErrors = {EAGAIN, EINTR, EINTR, EINTR, EINTR, EINTR,
                         0,      EINTR, EINTR, EINTR, EINTR, EINTR};
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "send error:4 Interrupted system call");
    EXPECT_EQ(received(), "h");
}

TEST_F(Retries, any_other_error_is_final) {
    calls_.sendErrors = {0, ECONNRESET};
    const CallOutcome outcome = sendHello();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "send error:104 Connection reset by peer");
    EXPECT_EQ(received(), "h");
    EXPECT_EQ(calls_.pauses, std::vector<useconds_t>{});
}

}  // namespace
