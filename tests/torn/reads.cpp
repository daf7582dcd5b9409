// Whether a front end ever reads half an answer: one process posts, with the daemon's own code, and
// others read, in turns, with the front end library's own code. Each read clears the prefix, asks,
// looks until the prefix stands, copies the answer and compares every byte of it.
//
//   torn_reads READS        (scripts/measure torn-reads runs it, in namespaces of its own)
//
// Most answers are asked for by a semaphore, so that millions are read in minutes; READS / 100 of
// them, and at least 10,000, with whole asks over TCP to the daemon's console. answers.hpp
// says what the answers are.
//
// Two controls break the rules, to show that torn reads would be seen, and what the rules are for:
// readers that do not clear the prefix, and a writer that stores the prefix before the text.
//
// Prints two Markdown tables. Exit status: 0; 1 when a read by the rules was torn, an answer did
// not come, or readers that do not clear the prefix saw nothing torn; 2 for wrong usage.
#include <fcntl.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "bed/front_end.hpp"
#include "console/answer_segment.hpp"
#include "console/console.hpp"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/segment.hpp"
#include "lib/frontend/waiting.hpp"
#include "torn/answers.hpp"
#include "torn/tally.hpp"

namespace torn {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kReaders = 3;
/// How many answers a reader reads before the next one has its turn.
constexpr std::uint64_t kReadsPerTurn = 256;
/// Longer than any wait for an answer or a turn on a busy machine.
constexpr int kBoundMs = 60'000;
constexpr int kQuickLooks = 10'000;
constexpr std::uint64_t kLeastConsoleReads = 10'000;

// What the processes share besides the answer segment

struct Mailbox {
    /// Given once for each answer; the numbers go up from 1.
    sem_t asks{};
    /// Of a writer that posts unasked: the number of the answer it has begun to post.
    std::atomic<std::uint64_t> begun{0};
    std::array<sem_t, kReaders> turns{};
    std::array<Tallies, kReaders> tallies{};
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "processes can share no lock");

class SharedMailbox {
  public:
    SharedMailbox()
        : memory_(::mmap(nullptr, sizeof(Mailbox), PROT_READ | PROT_WRITE,
                         MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (memory_ == MAP_FAILED) {
            throw std::runtime_error("there is no shared memory for the mailbox");
        }
        mailbox_ = new (memory_) Mailbox;
        ::sem_init(&mailbox_->asks, 1, 0);
        for (std::size_t reader = 0; reader < kReaders; ++reader) {
            // The first reader begins.
            ::sem_init(&mailbox_->turns.at(reader), 1, reader == 0 ? 1 : 0);
        }
    }
    ~SharedMailbox() { ::munmap(memory_, sizeof(Mailbox)); }
    SharedMailbox(const SharedMailbox&) = delete;
    SharedMailbox& operator=(const SharedMailbox&) = delete;

    Mailbox& get() { return *mailbox_; }

  private:
    void* memory_;
    Mailbox* mailbox_ = nullptr;
};

// Waiting: quick looks first, which cost no way through the system, and then in sleep, so that a
// busy machine has room for whoever is waited for

/// Takes what another process gives with sem_post().
void take(sem_t& given) {
    for (int look = 0; look < kQuickLooks; ++look) {
        if (::sem_trywait(&given) == 0) {
            return;
        }
    }
    timespec end{};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += kReaders * kBoundMs / 1000;
    while (::sem_clockwait(&given, CLOCK_MONOTONIC, &end) != 0) {
        if (errno != EINTR) {
            throw std::runtime_error("a turn or an ask did not come");
        }
    }
}

template <class Condition>
void lookUntil(Condition holds) {
    for (int look = 0; look < kQuickLooks; ++look) {
        if (holds()) {
            return;
        }
    }
    const avoip::Deadline deadline = avoip::Deadline_in(kBoundMs);
    for (avoip::Pauses pauses; !holds(); avoip::Pauses_sleep(pauses, deadline, -1)) {
        if (avoip::Deadline_left_us(deadline) == 0) {
            throw std::runtime_error("an answer did not come");
        }
    }
}

// Writers: each runs until it is killed

void postWhenAsked(Mailbox& mailbox) {
    AnswerSegment_attach(AnswerSegment_get());
    for (std::uint64_t number = 1;; ++number) {
        take(mailbox.asks);
        AnswerSegment_post(answerOf(number));
    }
}

void postOnAndOn(Mailbox& mailbox) {
    AnswerSegment_attach(AnswerSegment_get());
    for (std::uint64_t number = 1;; ++number) {
        mailbox.begun.store(number);
        AnswerSegment_post(answerOf(number));
    }
}

/// As postWhenAsked(), but in the wrong order.
void postPrefixFirst(Mailbox& mailbox) {
    constexpr std::string_view kPrefix = "end\r\n";
    char* const memory = static_cast<char*>(::shmat(AnswerSegment_get(), nullptr, 0));
    const auto store = [](char* destination, std::string_view text) {
        for (const char character : text) {
            std::atomic_ref(*destination++).store(character, std::memory_order_release);
        }
    };
    for (std::uint64_t number = 1;; ++number) {
        take(mailbox.asks);
        const std::string_view answer = answerOf(number);
        store(memory, kPrefix);
        store(memory + kPrefix.size(), answer);
        store(memory + kPrefix.size() + answer.size(), std::string_view("\0", 1));
    }
}

constexpr std::string_view kCommand = "answer ";

/// The console's handler for "answer N!".
int storeAnswer(int /*socket*/, const char* line, char* answer) {
    const std::string_view digits = std::string_view(line).substr(kCommand.size());
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const std::string_view text = answerOf(number);
    text.copy(answer, text.size());
    return 0;
}

void serveConsole(Mailbox& /*mailbox*/) {
    // Standard output is for the tables.
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    Telnet_init();
    Telnet_setHandler(storeAnswer);
    Telnet_start(AVOIP_CONSOLE_PORT);
    while (true) {
        ::pause();
    }
}

// Readers: each reads its part of `reads` answers

void attach(avoip::Segment& segment) {
    avoip::Reason reason{};
    if (segment.attach(avoip::Deadline_in(kBoundMs), reason) != AVOIP_OK) {
        throw std::runtime_error(reason.text);
    }
}

bed::FrontEnd::Text copyFrom(const avoip::Segment& segment) {
    bed::FrontEnd::Text text(segment.copyAnswer());
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return text;
}

void readAnswer(Mailbox& mailbox, avoip::Segment& segment, std::uint64_t number, Tallies& tallies) {
    const auto begin = Clock::now();
    segment.clearPrefix();
    ::sem_post(&mailbox.asks);
    lookUntil([&] { return segment.hasAnswer(); });
    const auto stands = Clock::now();
    const bed::FrontEnd::Text text = copyFrom(segment);
    const auto copied = Clock::now();
    const std::string_view right = answerOf(number);
    tallyFor(tallies, right.size()) +=
        {1, right == text.get() ? 0U : 1U, right.size(), stands - begin, copied - stands};
}

void readInTurns(Mailbox& mailbox, std::size_t reader, std::uint64_t reads) {
    for (std::uint64_t done = reader * kReadsPerTurn; done < reads;
         done += kReaders * kReadsPerTurn) {
        take(mailbox.turns.at(reader));
        avoip::Segment segment;
        attach(segment);
        const std::uint64_t last = std::min(done + kReadsPerTurn, reads);
        for (std::uint64_t number = done + 1; number <= last; ++number) {
            readAnswer(mailbox, segment, number, mailbox.tallies.at(reader));
        }
        ::sem_post(&mailbox.turns.at((reader + 1) % kReaders));
    }
}

/// Reads whatever stands in the segment. What is no whole answer of those that were posted
/// meanwhile is torn.
void readWithoutClearing(Mailbox& mailbox, std::size_t reader, std::uint64_t reads) {
    avoip::Segment segment;
    attach(segment);
    for (std::uint64_t number = reader; number < reads; number += kReaders) {
        lookUntil([&] { return segment.hasAnswer(); });
        std::uint64_t candidate = mailbox.begun - 1;
        const bed::FrontEnd::Text text = copyFrom(segment);
        const std::uint64_t newest = mailbox.begun;
        const std::string_view seen = text.get();
        while (candidate <= newest && answerOf(candidate) != seen) {
            ++candidate;
        }
        tallyFor(mailbox.tallies.at(reader), seen.size()) +=
            {1, candidate > newest ? 1U : 0U, seen.size(), {}, {}};
    }
}

/// Whole asks. All readers ask at once; the library makes them take turns.
void readByConsole(Mailbox& mailbox, std::size_t reader, std::uint64_t reads) {
    bed::FrontEnd frontEnd;
    const auto ask = [&](std::uint64_t number) {
        return frontEnd.ask(std::string(kCommand) + std::to_string(number) + "!",
                            std::chrono::milliseconds(kBoundMs));
    };
    // The console may still be about to listen.
    lookUntil([&] { return ask(0) != nullptr || frontEnd.result() != AVOIP_NO_DAEMON; });
    for (std::uint64_t number = reader + 1; number <= reads; number += kReaders) {
        const bed::FrontEnd::Text text = ask(number);
        if (text == nullptr) {
            throw std::runtime_error(frontEnd.explanation());
        }
        const std::string_view right = answerOf(number);
        tallyFor(mailbox.tallies.at(reader), right.size()) +=
            {1, right == text.get() ? 0U : 1U, right.size(), {}, {}};
    }
}

// Processes

/// A process that does one thing. It is killed with the object, and with the process that made it.
class Child {
  public:
    explicit Child(const std::function<void()>& act) : id_(::fork()) {
        if (id_ < 0) {
            throw std::runtime_error("there can be no other process");
        }
        if (id_ > 0) {
            return;
        }
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            act();
        } catch (const std::exception& problem) {
            std::fprintf(stderr, "torn_reads: %s\n", problem.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    ~Child() {
        if (id_ > 0) {
            ::kill(id_, SIGKILL);
            ::waitpid(id_, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Throws when it has ended in any way but its own.
    void awaitEnd() {
        int status = 0;
        ::waitpid(std::exchange(id_, -1), &status, 0);
        if (status != 0) {
            throw std::runtime_error("a reader did not get to its end");
        }
    }

  private:
    pid_t id_;
};

/// The answer segment, new and empty.
class FreshSegment {
  public:
    FreshSegment() : identifier_(AnswerSegment_get()) {
        if (identifier_ < 0) {
            throw std::runtime_error("there can be no answer segment");
        }
    }
    ~FreshSegment() { AnswerSegment_remove(identifier_); }
    FreshSegment(const FreshSegment&) = delete;
    FreshSegment& operator=(const FreshSegment&) = delete;

  private:
    int identifier_;
};

struct Trial {
    const char* name;
    void (*write)(Mailbox& mailbox);
    void (*read)(Mailbox& mailbox, std::size_t reader, std::uint64_t reads);
};

constexpr Trial kBySemaphore{"by the rules, by a semaphore", postWhenAsked, readInTurns};
constexpr Trial kByConsole{"by the rules, over TCP", serveConsole, readByConsole};
constexpr Trial kUncleared{"control: the prefix is not cleared", postOnAndOn, readWithoutClearing};
constexpr Trial kPrefixFirst{"control: the prefix is stored first", postPrefixFirst, readInTurns};

/// Runs a trial and prints its row of the table.
Tallies run(const Trial& trial, std::uint64_t reads) {
    const FreshSegment segment;
    SharedMailbox shared;
    Mailbox& mailbox = shared.get();
    const auto begin = Clock::now();
    {
        const Child writer([&] { trial.write(mailbox); });
        std::deque<Child> readers;
        for (std::size_t reader = 0; reader < kReaders; ++reader) {
            readers.emplace_back([&, reader] { trial.read(mailbox, reader, reads); });
        }
        for (Child& reader : readers) {
            reader.awaitEnd();
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    Tallies tallies{};
    for (const Tallies& some : mailbox.tallies) {
        tallies += some;
    }
    const Tally sum = sumOf(tallies);
    std::printf("| %s | %ju | %ju | %.0f | %ju |\n", trial.name, std::uintmax_t{sum.reads},
                std::uintmax_t{sum.torn}, static_cast<double>(sum.reads) / seconds,
                std::uintmax_t{sum.bytes});
    std::fflush(stdout);
    return tallies;
}

/// @return the exit status
int runAll(std::uint64_t reads) {
    const std::uint64_t consoleReads = std::max(reads / 100, kLeastConsoleReads);
    std::puts(
        "| how | reads | torn | reads per second | bytes |\n"
        "|---|---:|---:|---:|---:|");
    const Tallies bySemaphore = run(kBySemaphore, reads);
    const std::uint64_t torn = sumOf(bySemaphore).torn + sumOf(run(kByConsole, consoleReads)).torn;
    const std::uint64_t tornUncleared = sumOf(run(kUncleared, consoleReads)).torn;
    const std::uint64_t tornPrefixFirst = sumOf(run(kPrefixFirst, consoleReads)).torn;
    std::puts("");
    printBySize(bySemaphore);
    std::puts("");
    if (tornPrefixFirst == 0) {
        std::puts("Not seen on this machine: a torn read where the prefix is stored first.");
    }
    if (torn > 0) {
        std::puts("FAILED: reads that keep the rules were torn.");
    }
    if (tornUncleared == 0) {
        std::puts("FAILED: the control without clearing shows no torn read, so none can be seen.");
    }
    return torn > 0 || tornUncleared == 0 ? 1 : 0;
}

}  // namespace

}  // namespace torn

int main(int argc, char** argv) {
    const std::string_view argument = argc == 2 ? argv[1] : "";
    std::uint64_t reads = 0;
    std::from_chars(argument.data(), argument.data() + argument.size(), reads);
    if (reads == 0) {
        std::fputs("usage: torn_reads READS, a number above 0; or scripts/measure torn-reads\n",
                   stderr);
        return 2;
    }
    if (::shmget(AVOIP_SEGMENT_KEY, 0, 0) >= 0 || errno != ENOENT) {
        std::fputs(
            "torn_reads: there is an answer segment here already; run scripts/measure torn-reads, "
            "which makes namespaces of its own\n",
            stderr);
        return 2;
    }
    try {
        torn::answerOf(0);  // makes the pool before the processes part, which then share it
        return torn::runAll(reads);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "torn_reads: %s\n", problem.what());
        return 1;
    }
}
