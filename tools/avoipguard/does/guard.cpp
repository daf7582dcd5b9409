#include "avoipguard/does/guard.hpp"

#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "avoipguard/concludes/course.hpp"
#include "avoipguard/does/announcement.hpp"
#include "avoipguard/does/child.hpp"
#include "avoipguard/does/watch.hpp"
#include "avoipguard/sees/shared_segment.hpp"
#include "avoipguard/sees/sockets.hpp"

namespace avoip::guard {

namespace {

constexpr std::int64_t kLookEveryMs = 250;
/// While a daemon starts: front ends find no console until it has.
constexpr std::int64_t kLookAtStartEveryMs = 2;
constexpr std::int64_t kLookAtSlowStartEveryMs = 20;
constexpr std::int64_t kSlowStartMs = 300;

constexpr std::int64_t kTurnAtMostMs = 2000;
constexpr std::int64_t kTurnWithinMs = 150;
constexpr std::int64_t kQuietTurnWithinMs = 50;
/// So long an end of a connection may take.
constexpr std::int64_t kQuietWithinMs = 20;
constexpr std::int64_t kLongestQuietPauseMs = 60'000;

constexpr std::int64_t kEndsWithinMs = 2000;
constexpr std::int64_t kLastWordsWithinMs = 1000;
constexpr int kUploadsMatterFromPercent = 60;
constexpr int kPrecedence = -10;

struct Guard {
    Options options;
    Notify notify;
    Relay output;
    Relay errors;
    Descriptor signals;
    Descriptor bell;
    Announcement announcement;

    Course course;
    Child child;
    std::optional<Watch> watch;  ///< of the child
    bool isOrdinary = false;     ///< the child, among other processes
    int starts = 0;
    bool wasReady = false;
    /// What became of the last daemon, and what of it the system may not have cleared away yet.
    std::string end;
    std::uint64_t dyingSocket = 0;
    pid_t dying = 0;  ///< killed, and not waited for yet; 0 for none
    std::vector<int> segments;

    HeldTurn turn;
    std::int64_t turnSince_ms = 0;
    /// When a quiet moment is looked for again, and the pause behind that.
    std::int64_t quietTry_ms = 0;
    std::int64_t quietPause_ms = kLookEveryMs;
    SocketOwner consoleHolder;
    SocketOwner replyHolder;
};

std::int64_t now_ms() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

/// Reads what the daemon has printed by now and takes it to the relay; false when it was nothing.
bool passOn(const Descriptor& from, Relay& relay, Watch* watch) {
    std::array<char, 65536> piece;
    // As much at once as the daemon may have on its way; what comes meanwhile is for the next time.
    for (int i = 0; i < 4; ++i) {
        const ssize_t count = ::read(from.get(), piece.data(), piece.size());
        if (count <= 0) {
            return i > 0;
        }
        const std::string_view bytes(piece.data(), static_cast<std::size_t>(count));
        if (watch != nullptr) {
            Watch_hear(*watch, bytes);
        }
        Relay_take(relay, bytes);
    }
    return true;
}

/// Passes on what there is to pass on; false when the daemon has printed nothing, and so had no
/// command.
bool passAllOn(Guard& guard) {
    bool hasPrinted = false;
    if (guard.child.pid != 0) {
        hasPrinted = passOn(guard.child.output, guard.output, &*guard.watch);
        passOn(guard.child.errors, guard.errors, nullptr);
    }
    Relay_write(guard.output);
    Relay_write(guard.errors);
    return hasPrinted;
}

/// The child is there no more, or is about to be.
void forgetChild(Guard& guard) {
    passAllOn(guard);
    Relay_endLine(guard.output);
    Relay_endLine(guard.errors);
    guard.dyingSocket = guard.watch->replySocket;
    if (!guard.watch->segments.empty()) {
        guard.segments = guard.watch->segments;
    }
    guard.watch.reset();
    guard.child = {};
    guard.quietPause_ms = kLookEveryMs;
}

/// Waits for children that have ended; the one that is watched is forgotten then.
void reap(Guard& guard) {
    siginfo_t end{};
    while (::waitid(P_ALL, 0, &end, WEXITED | WNOHANG) == 0 && end.si_pid != 0) {
        if (end.si_pid == guard.child.pid) {
            guard.end = Child_endText(end);
            forgetChild(guard);
        }
        guard.dying = end.si_pid == guard.dying ? 0 : guard.dying;
        end = {};
    }
}

void endChild(Guard& guard) {
    Child_kill(guard.child.pid, guard.watch->listener);
    guard.dying = guard.child.pid;
    forgetChild(guard);
}

/// A segment that a daemon of this user could not use, or not for all its answers, makes room for
/// one of its own.
void clearSegment(Guard& guard) {
    const auto segment = SharedSegment_look();
    if (segment && !(segment->isOwn && segment->isFull) && SharedSegment_remove(*segment)) {
        Relay_line(guard.errors, "avoipguard: Removed an answer segment of " + segment->owner +
                                     " that avoipd could not have used as it should.");
    }
}

void startChild(Guard& guard, std::int64_t now) {
    clearSegment(guard);
    guard.child = Child_start(guard.options.daemon, guard.end);
    ++guard.starts;
    if (guard.child.pid != 0) {
        guard.watch.emplace();
        guard.isOrdinary = false;
        guard.watch->pid = guard.child.pid;
        guard.watch->lastLook_ms = now;
    }
}

/// Who has the port; empty when the daemon could have it.
std::string holderOf(int type, std::uint16_t port, SocketOwner& known) {
    if (Sockets_canBind(type, port)) {
        return {};
    }
    const auto sockets = type == SOCK_STREAM ? Sockets_listeners(port) : Sockets_bound(port);
    return sockets && !sockets->empty()
               ? SocketOwner_find(known, sockets->front().inode, sockets->front().user)
               : "another process";
}

Holders lookAtHolders(Guard& guard) {
    Holders holders;
    holders.consolePort = holderOf(SOCK_STREAM, kConsolePort, guard.consoleHolder);
    holders.replyPort = holderOf(SOCK_DGRAM, kReplyPort, guard.replyHolder);
    const auto segment = SharedSegment_look();
    if (segment && !segment->isOwn && !segment->isRemovable) {
        holders.segment = segment->owner;
    }
    return holders;
}

Seen look(Guard& guard, std::int64_t now) {
    Seen seen;
    seen.control = Control_look();
    if (guard.child.pid != 0) {
        seen.runs = true;
        seen.daemon = Watch_look(*guard.watch, guard.turn, guard.dyingSocket, now);
        if (seen.daemon.hasConsole &&
            (seen.daemon.wear.percent >= kUploadsMatterFromPercent || Fault_find(seen))) {
            seen.daemon.uploads = Watch_uploads(*guard.watch);
        }
        // What was seen of a daemon that has ended meanwhile says nothing.
        reap(guard);
    }
    if (guard.child.pid == 0) {
        seen.runs = false;
        seen.end = guard.end;
        seen.lingers = guard.dying != 0;
        seen.holders = lookAtHolders(guard);
    }
    return seen;
}

/// Whether no connection but the own one stands, or is about to.
bool becomesQuiet(Guard& guard) {
    const std::int64_t end = now_ms() + kQuietWithinMs;
    while (!Watch_isQuiet(*guard.watch, now_ms())) {
        if (now_ms() > end) {
            return false;
        }
        ::poll(nullptr, 0, 1);
    }
    return true;
}

/// Takes the turn and ends the daemon to have it replaced; false when it was not the moment.
bool replace(Guard& guard, bool quietly, const Wear& wear, std::int64_t now) {
    if (quietly && now < guard.quietTry_ms) {
        return false;
    }
    guard.quietTry_ms = now + guard.quietPause_ms;
    guard.quietPause_ms = std::min(2 * guard.quietPause_ms, kLongestQuietPauseMs);
    if (!HeldTurn_take(guard.turn, quietly ? kQuietTurnWithinMs : kTurnWithinMs) ||
        (quietly && !becomesQuiet(guard))) {
        return false;
    }
    endChild(guard);
    Course_replaced(guard.course, wear, now);
    return true;
}

/// Carries the step out. True when the daemon was ended, so that a new look may find more to do.
bool carryOut(Guard& guard, const Step& step, const Wear& wear, std::int64_t now) {
    switch (step.action) {
        case Action::kNone:
            return false;
        case Action::kStart:
            startChild(guard, now);
            return false;
        case Action::kEnd:
            endChild(guard);
            return true;
        case Action::kReplaceInTurn:
            return replace(guard, false, wear, now);
        case Action::kReplaceQuietly:
            return replace(guard, true, wear, now);
    }
    return false;
}

void announce(Guard& guard, HealthState state, const std::string& reason) {
    Health health;
    health.state = state;
    health.reason = reason;
    health.restarts = std::max(guard.starts - 1, 0);
    health.daemonPid = guard.child.pid;
    Announcement_make(guard.announcement, health, guard.notify, guard.errors);
}

/// The turn is kept until the daemon that it was taken for serves, but never for long.
void leaveTurn(Guard& guard, std::int64_t now) {
    if (guard.turn == nullptr) {
        guard.turnSince_ms = now;
    } else if (guard.course.phase == Phase::kServing || now - guard.turnSince_ms > kTurnAtMostMs) {
        guard.turn.reset();
    }
}

/// One round: look, conclude, act, and say what came of it.
void lookAndAct(Guard& guard) {
    reap(guard);
    Step step;
    bool wasEnded = true;
    while (wasEnded) {
        passAllOn(guard);
        const std::int64_t now = now_ms();
        const Seen seen = look(guard, now);
        step = Course_next(guard.course, seen, now);
        wasEnded = carryOut(guard, step, seen.daemon.wear, now);
    }
    leaveTurn(guard, now_ms());
    if (guard.watch && guard.watch->isComplete && !guard.isOrdinary) {
        guard.isOrdinary = true;
        Child_endPrecedence(guard.child.pid);
    }
    if (guard.course.phase == Phase::kServing && !guard.wasReady) {
        guard.wasReady = true;
        Notify_send(guard.notify, "READY=1");
    }
    announce(guard, step.state, step.reason);
    Notify_watchdog(guard.notify, now_ms());
}

/// When the next look is due, whatever happens.
std::int64_t nextLook_ms(const Guard& guard, std::int64_t now) {
    const Course& course = guard.course;
    if (course.phase == Phase::kStarting) {
        return now + (now - course.phaseSince_ms < kSlowStartMs ? kLookAtStartEveryMs
                                                                : kLookAtSlowStartEveryMs);
    }
    const bool isPausing = course.phase == Phase::kNoDaemon && course.notBefore_ms > now;
    return isPausing ? std::min(course.notBefore_ms, now + kLookEveryMs) : now + kLookEveryMs;
}

/// Waits for something to happen until `until_ms`, and passes on what the daemon prints meanwhile.
/// True when it is something to look at.
bool wait(Guard& guard, std::int64_t until_ms) {
    const auto wantsToWrite = [](const Relay& relay) {
        return Relay_isWaiting(relay) ? relay.target : -1;
    };
    const int kept = guard.watch ? guard.watch->console.connection.descriptor() : -1;
    std::array<pollfd, 7> watched{{
        {guard.signals.get(), POLLIN, 0},
        {guard.bell.get(), POLLIN, 0},
        {kept, POLLIN, 0},
        {guard.child.output.get(), POLLIN, 0},
        {guard.child.errors.get(), POLLIN, 0},
        {wantsToWrite(guard.output), POLLOUT, 0},
        {wantsToWrite(guard.errors), POLLOUT, 0},
    }};
    const std::int64_t left_ms = std::max<std::int64_t>(until_ms - now_ms(), 0);
    ::poll(watched.data(), watched.size(), static_cast<int>(left_ms));
    if (watched[1].revents != 0) {
        ControlBell_silence(guard.bell);
    }
    const bool hasPrinted = passAllOn(guard);
    return std::any_of(watched.begin(), watched.begin() + 3,
                       [](const pollfd& entry) { return entry.revents != 0; }) ||
           (hasPrinted && Watch_hasGrown(*guard.watch, now_ms()));
}

/// The signal that asks for the end; 0 when none has come. A child's end is looked for elsewhere.
int takeSignals(const Guard& guard) {
    signalfd_siginfo signal{};
    int asked = 0;
    while (::read(guard.signals.get(), &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo != SIGCHLD) {
            asked = static_cast<int>(signal.ssi_signo);
        }
    }
    return asked;
}

/// Waits for the daemon's end, and forces it when it does not come or is asked for once more.
void awaitEnd(Guard& guard) {
    const std::int64_t end = now_ms() + kEndsWithinMs;
    for (reap(guard); guard.child.pid != 0; reap(guard)) {
        wait(guard, std::min(end, now_ms() + kLookEveryMs));
        if (takeSignals(guard) != 0 || now_ms() >= end) {
            ::kill(guard.child.pid, SIGKILL);
        }
    }
}

/// Ends the daemon, and leaves nothing of it behind.
void stop(Guard& guard, int signal) {
    Notify_send(guard.notify, "STOPPING=1");
    guard.turn.reset();
    announce(guard, HealthState::kStopping, "");
    if (guard.child.pid != 0) {
        ::kill(guard.child.pid, signal);
        // One that is stopped takes no signal until it goes on.
        ::kill(guard.child.pid, SIGCONT);
        awaitEnd(guard);
    }
    // A daemon of another user could not use the segment.
    const auto segment = SharedSegment_look();
    if (segment && std::ranges::find(guard.segments, segment->identifier) != guard.segments.end()) {
        SharedSegment_remove(*segment);
    }
    StateFolder_clear(guard.options.stateFolder);
    const std::int64_t end = now_ms() + kLastWordsWithinMs;
    while ((Relay_isWaiting(guard.output) || Relay_isWaiting(guard.errors)) && now_ms() < end) {
        wait(guard, end);
    }
}

Descriptor openSignals() {
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t wanted;
    ::sigemptyset(&wanted);
    for (const int signal : {SIGTERM, SIGINT, SIGCHLD}) {
        ::sigaddset(&wanted, signal);
    }
    ::sigprocmask(SIG_BLOCK, &wanted, nullptr);
    return Descriptor(::signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC));
}

/// Lets this process come before the daemon and its front ends: on a busy machine they could use
/// the daemon up between two of its looks. Refused to most users, and done without then.
void takePrecedence() {
    if (::getpriority(PRIO_PROCESS, 0) == 0) {
        ::setpriority(PRIO_PROCESS, 0, kPrecedence);
    }
}

}  // namespace

int Guard_makeSegment() {
    if (SharedSegment_make()) {
        return 0;
    }
    std::fprintf(
        stderr,
        "avoipguard: The answer segment cannot be made (%s). Raise kernel.shmall, "
        "kernel.shmmax or kernel.shmmni, or remove segments that nobody needs (ipcs -m).\n",
        std::strerror(errno));
    return kExitFailure;
}

int Guard_run(const Options& options) {
    std::string problem;
    const Descriptor keptFolder = StateFolder_keep(options.stateFolder, problem);
    if (!keptFolder.isOpen()) {
        std::fprintf(stderr, "avoipguard: %s\n", problem.c_str());
        return kExitFailure;
    }
    takePrecedence();
    Guard guard;
    guard.options = options;
    guard.notify = Notify_open();
    guard.output = Relay_open(STDOUT_FILENO);
    guard.errors = Relay_open(STDERR_FILENO);
    guard.signals = openSignals();
    guard.bell = ControlBell_open();
    guard.announcement.stateFolder = options.stateFolder;
    // One that was made before for this user's daemon is removed at the end like the daemon's own.
    if (const auto segment = SharedSegment_look(); segment && segment->isOwn) {
        guard.segments = {segment->identifier};
    }
    if (!Sockets_listeners(kConsolePort)) {
        Relay_line(guard.errors,
                   "avoipguard: This system does not list its sockets (CONFIG_INET_DIAG): less can "
                   "be seen of avoipd.");
    }
    int signal = 0;
    while (signal == 0) {
        lookAndAct(guard);
        const std::int64_t next = nextLook_ms(guard, now_ms());
        while (!wait(guard, next) && now_ms() < next) {
        }
        signal = takeSignals(guard);
    }
    stop(guard, signal);
    return 0;
}

}  // namespace avoip::guard
