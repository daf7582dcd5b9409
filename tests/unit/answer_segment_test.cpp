// The answer segment: how it is found or made, and what stands in it after an answer.
#include "console/answer_segment.hpp"

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "capture_output.hpp"
#include "refusals.hpp"
#include "scarcity.hpp"

namespace {

constexpr std::size_t kLargestAnswer = std::size_t{4} * 1024 * 1024;
constexpr std::size_t kWholeSize = 5 + kLargestAnswer + 1;

/// How often the process is attached to the answer segment.
int attachments() {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    int count = 0;
    while (std::getline(maps, line)) {
        count += line.find("/SYSV12345678") != std::string::npos ? 1 : 0;
    }
    return count;
}

/// An IPC namespace of the test's own, and no attachment left behind in it.
class AnswerSegmentTest : public testing::Test {
  protected:
    ~AnswerSegmentTest() override { AnswerSegment_remove(AnswerSegment_get()); }

    static std::string posted(const bed::Segment& segment, std::size_t length) {
        return {segment.bytes().data(), length};
    }

    bed::Namespaces namespaces{bed::Control::kAbsent};
};

TEST_F(AnswerSegmentTest, is_made_with_its_permissions_and_room_for_the_largest_answer) {
    int identifier = -1;
    const auto printed = captureOutput([&] { identifier = AnswerSegment_get(); });
    EXPECT_GE(identifier, 0);
    EXPECT_EQ(printed.output + printed.errors, "");
    const bed::Segment segment;
    EXPECT_EQ(segment.status().shm_perm.mode & 07777U, 0664U);
    EXPECT_EQ(segment.status().shm_segsz, kWholeSize);
    EXPECT_EQ(AnswerSegment_get(), identifier);
}

TEST_F(AnswerSegmentTest, that_is_smaller_already_is_taken_as_it_is) {
    bed::Segment::create(32);
    const bed::Segment segment;
    int identifier = -1;
    const auto printed = captureOutput([&] { identifier = AnswerSegment_get(); });
    EXPECT_EQ(identifier, ::shmget(bed::kSegmentKey, 0, 0));
    EXPECT_EQ(printed.output + printed.errors, "");
    EXPECT_EQ(segment.status().shm_segsz, 32U);
    AnswerSegment_attach(identifier);
    AnswerSegment_post("an answer of more than 26 characters");
    EXPECT_EQ(posted(segment, 42),
              std::string("end\r\nan answer of more than 26 characters\0", 42));
}

TEST_F(AnswerSegmentTest, that_is_larger_already_is_taken_as_it_is) {
    bed::Segment::create(2 * kWholeSize);
    const bed::Segment segment;
    AnswerSegment_attach(AnswerSegment_get());
    AnswerSegment_post("answer");
    EXPECT_EQ(segment.awaitAnswer(), "answer");
    EXPECT_EQ(segment.status().shm_segsz, 2 * kWholeSize);
}

TEST_F(AnswerSegmentTest, that_may_not_be_used_is_reported) {
    int identifier = 0;
    const auto printed = captureOutput([&] {
        const ForbiddenSegment forbidden;
        identifier = AnswerSegment_get();
    });
    EXPECT_EQ(identifier, -1);
    EXPECT_EQ(printed.output, "");
    EXPECT_EQ(printed.errors, "shmget errnor: Permission denied\n");
}

TEST_F(AnswerSegmentTest, holds_the_prefix_the_answer_and_a_zero_and_nothing_else_is_written) {
    AnswerSegment_attach(AnswerSegment_get());
    const bed::Segment segment;
    std::memset(segment.bytes().data(), 'x', segment.bytes().size());
    AnswerSegment_post("{\"ack\":{}}");
    EXPECT_EQ(posted(segment, 18), std::string("end\r\n{\"ack\":{}}\0xx", 18));
    const auto rest = segment.bytes().subspan(16);
    EXPECT_EQ(std::string_view(rest.data(), rest.size()).find_first_not_of('x'),
              std::string_view::npos);
}

TEST_F(AnswerSegmentTest, holds_the_latest_answer) {
    AnswerSegment_attach(AnswerSegment_get());
    const bed::Segment segment;
    AnswerSegment_post("a long answer");
    AnswerSegment_post("short");
    EXPECT_EQ(posted(segment, 19), std::string("end\r\nshort\0 answer\0", 19));
    AnswerSegment_post("");
    EXPECT_EQ(posted(segment, 7), std::string("end\r\n\0h", 7));
}

TEST_F(AnswerSegmentTest, takes_the_largest_answer_whole) {
    AnswerSegment_attach(AnswerSegment_get());
    const bed::Segment segment;
    const std::string answer(kLargestAnswer, 'x');
    const auto printed = captureOutput([&] { AnswerSegment_post(answer); });
    EXPECT_TRUE(segment.awaitAnswer() == answer);
    EXPECT_EQ(printed.output, "");
}

TEST_F(AnswerSegmentTest, has_an_answer_cut_at_its_end_and_a_line_says_so) {
    bed::Segment::create(32);
    const bed::Segment segment;
    AnswerSegment_attach(AnswerSegment_get());
    const std::size_t room = segment.bytes().size() - 6;

    const std::string fitting(room, 'x');
    const auto silent = captureOutput([&] { AnswerSegment_post(fitting); });
    EXPECT_EQ(segment.awaitAnswer(), fitting);
    EXPECT_EQ(silent.output, "");

    const auto printed = captureOutput([&] { AnswerSegment_post(fitting + "yz"); });
    EXPECT_EQ(segment.awaitAnswer(), fitting);
    EXPECT_EQ(segment.bytes().back(), '\0');
    EXPECT_EQ(printed.output, "answer of " + std::to_string(room + 2) + " characters cut to " +
                                  std::to_string(room) + ": the answer segment is too small\n");
}

TEST_F(AnswerSegmentTest, that_cannot_be_attached_gets_no_answers) {
    const int identifier = makeUnattachableSegment();
    ASSERT_GE(identifier, 0);
    ASSERT_EQ(AnswerSegment_get(), identifier);
    const auto printed = captureOutput([&] {
        AnswerSegment_attach(identifier);
        AnswerSegment_post("answer");
    });
    EXPECT_EQ(printed.output + printed.errors, "");
}

TEST_F(AnswerSegmentTest, gets_no_answers_after_another_could_not_be_attached) {
    AnswerSegment_attach(AnswerSegment_get());
    AnswerSegment_attach(-1);
    AnswerSegment_post("answer");
    EXPECT_FALSE(bed::Segment().hasAnswer());
}

TEST_F(AnswerSegmentTest, gets_no_answers_while_it_is_not_attached) {
    AnswerSegment_get();
    AnswerSegment_post("answer");
    EXPECT_FALSE(bed::Segment().hasAnswer());
}

TEST_F(AnswerSegmentTest, is_detached_and_gone_once_it_is_removed) {
    const int identifier = AnswerSegment_get();
    AnswerSegment_attach(identifier);
    const bed::Segment segment;
    EXPECT_EQ(segment.status().shm_nattch, 2U);
    AnswerSegment_remove(identifier);
    EXPECT_EQ(segment.status().shm_nattch, 1U);
    EXPECT_FALSE(bed::Segment::exists());
    AnswerSegment_post("answer");
    EXPECT_FALSE(segment.hasAnswer());
}

TEST_F(AnswerSegmentTest, whose_size_cannot_be_asked_for_is_given_up_and_gets_no_answers) {
    const int identifier = AnswerSegment_get();
    const bed::Segment segment;
    const int attached = resultWithRefusal(SYS_shmctl, 0xFF, IPC_STAT, [identifier] {
        const int before = attachments();
        AnswerSegment_attach(identifier);
        AnswerSegment_post("answer");
        return attachments() - before;
    });
    EXPECT_EQ(attached, 0);
    EXPECT_EQ(posted(segment, 12), std::string(12, '\0'));
}

TEST_F(AnswerSegmentTest, is_left_alone_by_a_post_that_comes_too_late) {
    const std::string answer(kLargestAnswer, 'x');
    const int identifier = AnswerSegment_get();
    AnswerSegment_attach(identifier);
    std::atomic<int> posts = 0;
    std::jthread poster([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            AnswerSegment_post(answer);
            ++posts;
            posts.notify_one();
        }
    });
    posts.wait(0);
    AnswerSegment_remove(identifier);
    EXPECT_FALSE(bed::Segment::exists());
}

TEST_F(AnswerSegmentTest, shows_the_whole_answer_to_whoever_cleared_the_prefix) {
    AnswerSegment_attach(AnswerSegment_get());
    bed::Segment segment;
    constexpr int kAnswers = 50;
    constexpr std::size_t kLength = 200'000;
    std::atomic<int> asked = 0;
    std::jthread poster([&] {
        for (int i = 1; i <= kAnswers; ++i) {
            for (int seen = asked; seen < i; seen = asked) {
                asked.wait(seen);
            }
            AnswerSegment_post(std::string(kLength, static_cast<char>('a' + i % 26)));
        }
    });
    for (int i = 1; i <= kAnswers; ++i) {
        segment.clear();
        asked = i;
        asked.notify_one();
        while (!segment.hasAnswer()) {
        }
        // The end of the answer is what a prefix that came too early would be ahead of.
        const auto character = static_cast<char>('a' + i % 26);
        ASSERT_EQ(segment.bytes()[bed::kAnswerPrefix.size() + kLength - 1], character);
        ASSERT_TRUE(segment.awaitAnswer() == std::string(kLength, character)) << i;
    }
}

}  // namespace
