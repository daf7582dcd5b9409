#include "gateway/asking/desk.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "gateway/asking/uploads.hpp"
#include "lib/frontend/answer_name.hpp"

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// Others look for their turn every few milliseconds. Whoever has had it for so long, all in all,
/// leaves it free for so long that they find it.
constexpr Span kLongestHold = 100ms;
constexpr Span kRest = 6ms;

/// The turn is asked for in pieces of this length, so that the end of the program is seen.
constexpr Span kTakePiece = 100ms;

/// How long one question waits for the end of another one of this process, so that their answers do
/// not come at the same moment: most are answered within that, and what is not has to wait for a
/// device.
constexpr Span kStepAside = 10ms;

/// Between two looks at the segment. Less than it takes to answer, at first, then so long that a
/// wait for a device costs little.
constexpr Span kFirstLook = 40us;
constexpr Span kLongestLook = 2ms;

struct Free {
    void operator()(char* text) const { std::free(text); }
};

Deadline deadlineOf(Moment moment) {
    return std::chrono::duration_cast<Span>(moment.time_since_epoch()).count();
}

bool isUpdate(const Ticket& ticket) {
    return ticket.question->besideNamesakes;
}

bool isRead(const Ticket& ticket) {
    return ticket.question->shared_ms > 0;
}

/// Whether an answer says success. What stands behind its ack may say so too.
bool saysSuccess(std::string_view answer) {
    constexpr std::string_view kSuccess = R"(","status":"success"})";
    const std::size_t end = answer.find('}');
    return answer.substr(0, end + 1).ends_with(kSuccess);
}

/// Whether the ticket's question is answered so.
bool fits(const Ticket& ticket, std::string_view name, bool success) {
    const char* const expected = ticket.question->names[success ? 0 : 1];
    return ticket.came == Came::kNothing && AnswerName_fits(name, expected);
}

}  // namespace

Desk::Desk(std::function<void(double seconds)> waited)
    : waited_(std::move(waited)), reader_([this](const std::stop_token& stop) { read(stop); }) {}

Desk::~Desk() {
    reader_.request_stop();
    changed_.notify_all();
}

bool Desk::mayJoin(bool passes) const {
    return isOpen() && (passes || Steady::now() < heldSince_ + kLongestHold);
}

avoip_result Desk::enter(Moment until, bool passes, Reason& reason) {
    Lock held(mutex_);
    const Moment began = Steady::now();
    avoip_result result = AVOIP_NO_TURN;
    while (result == AVOIP_NO_TURN && !ending_) {
        const Moment now = Steady::now();
        if (mayJoin(passes)) {
            ++holders_;
            result = AVOIP_OK;
        } else if (!isOpen() && !taking_ && now >= restUntil_) {
            result = take(held, std::min(until, now + kTakePiece), reason);
        } else {
            changed_.wait_until(held, std::min(until, std::max(restUntil_, now + kRest)));
            Reason_set(reason, "Too much is asked of the daemon at the same time. Try again.");
        }
        if (result == AVOIP_NO_TURN && Steady::now() >= until) {
            break;
        }
    }
    if (waited_) {
        waited_(std::chrono::duration<double>(Steady::now() - began).count());
    }
    return result;
}

/// Takes the turn. What stands in the segment then is handed out, and nothing stands there any
/// more.
avoip_result Desk::take(Lock& held, Moment until, Reason& reason) {
    taking_ = true;
    held.unlock();
    avoip_result result = turn_.take(deadlineOf(until), reason);
    if (result == AVOIP_OK) {
        result = segment_.attach(deadlineOf(until), reason);
        if (result != AVOIP_OK) {
            turn_.leave();
        }
    }
    held.lock();
    taking_ = false;
    attached_ = result == AVOIP_OK || (attached_ && result == AVOIP_NO_TURN);
    if (result == AVOIP_OK) {
        holders_ = 1;
        heldSince_ = Steady::now();
        if (!settled_.empty()) {
            forgetSettled();
        }
        if (segment_.hasAnswer()) {
            takeAnswer();
        }
    }
    changed_.notify_all();
    return result;
}

void Desk::leave() {
    const Lock held(mutex_);
    if (--holders_ == 0) {
        const Moment now = Steady::now();
        held_ += std::chrono::duration_cast<Span>(now - heldSince_);
        restUntil_ = now;
        if (held_ >= kLongestHold) {
            restUntil_ = now + kRest;
            held_ = Span{0};
        }
        turn_.leave();
    }
    changed_.notify_all();
}

bool Desk::isClean() {
    const Lock held(mutex_);
    return turn_.notes().clean;
}

void Desk::setClean(bool clean) {
    const Lock held(mutex_);
    if (std::exchange(turn_.notes().clean, clean) != clean) {
        turn_.save();
    }
}

/// Whether something is under way that will be answered at once, or that has a device to wait for
/// and may be answered at once all the same.
bool Desk::stepsAside(const Question& question) const {
    const bool read = question.shared_ms > 0;
    return (read && sendsWaiting_ > 0) ||
           std::ranges::any_of(underWay_, [](const Ticket* other) { return !isUpdate(*other); });
}

/// Waits until no owed answer stands in the way.
avoip_result Desk::awaitOwed(Lock& held, const Ticket& ticket, std::uint64_t daemon, Moment until,
                             Reason& reason) {
    ++owedWaiting_;
    const OwedAnswer* owed = nullptr;
    while (true) {
        Notes_lapse(turn_.notes(), daemon, BootClock_ms());
        owed = Question_obstacle(*ticket.question, turn_.notes());
        if (owed == nullptr || ending_ || Steady::now() >= until) {
            break;
        }
        changed_.notify_all();
        changed_.wait_until(held, std::min(until, Steady::now() + kStepAside));
    }
    --owedWaiting_;
    if (owed == nullptr) {
        return AVOIP_OK;
    }
    Reason_set(
        reason,
        "The daemon is still at work on a command that somebody gave up on (\"%s\"). Nothing "
        "was sent; try again later.",
        owed->names[0].data());
    return owed->pid == ::getpid() ? AVOIP_TIME_OUT : AVOIP_NO_TURN;
}

avoip_result Desk::put(Ticket& ticket, Connection& connection, Moment until, Reason& reason) {
    Lock held(mutex_);
    const bool send = !isRead(ticket);
    sendsWaiting_ += send ? 1 : 0;
    changed_.wait_until(held, std::min(until, Steady::now() + kStepAside),
                        [&] { return !stepsAside(*ticket.question); });
    sendsWaiting_ -= send ? 1 : 0;
    const auto free = awaitOwed(held, ticket, connection.daemon(), until, reason);
    if (free != AVOIP_OK) {
        changed_.notify_all();
        return free;
    }
    ticket.number = Question_nextNumber();
    Notes& notes = turn_.notes();
    Notes_add(notes, Question_note(*ticket.question, ticket.number));
    notes.clean = notes.clean && send;
    turn_.save();
    underWay_.push_back(&ticket);
    changed_.notify_all();
    held.unlock();
    if (connection.send(ticket.question->command, deadlineOf(until))) {
        return AVOIP_OK;
    }
    withdraw(ticket);
    Reason_set(reason, "The daemon takes no commands. Look at its output.");
    return AVOIP_NO_DAEMON;
}

bool Desk::mark(Ticket& ticket, Connection& connection) {
    const Marker marker = Marker_make();
    {
        const Lock held(mutex_);
        ticket.marker = marker;
        changed_.notify_all();
    }
    return connection.send(marker.line, deadlineOf(Steady::now() + 1s));
}

Came Desk::await(const Ticket& ticket, Moment until) {
    Lock held(mutex_);
    changed_.wait_until(held, until, [&] { return ending_ || ticket.came != Came::kNothing; });
    return ticket.came;
}

/// Takes back the notes of questions that are withdrawn.
void Desk::forgetSettled() {
    Notes& notes = turn_.notes();
    for (const int number : std::exchange(settled_, {})) {
        if (const OwedAnswer* const owed = Notes_find(notes, ::getpid(), number)) {
            Notes_drop(notes, static_cast<std::size_t>(owed - notes.owed.begin()));
        }
    }
    turn_.save();
}

void Desk::withdraw(Ticket& ticket) {
    const Lock held(mutex_);
    std::erase(underWay_, &ticket);
    settled_.push_back(ticket.number);
    if (isOpen()) {
        forgetSettled();
    }
    changed_.notify_all();
}

void Desk::giveUp(Ticket& ticket) {
    const Lock held(mutex_);
    std::erase(underWay_, &ticket);
    OwedAnswer* const owed = Notes_find(turn_.notes(), ::getpid(), ticket.number);
    if (isOpen() && owed != nullptr) {
        *owed = Question_note(*ticket.question, ticket.number);
        turn_.save();
    }
    changed_.notify_all();
}

void Desk::shareNoMore(const Ticket& ticket) {
    const Lock held(mutex_);
    if (OwedAnswer* const owed = Notes_find(turn_.notes(), ::getpid(), ticket.number)) {
        owed->sharedUntil_ms = 0;
        turn_.save();
    }
}

void Desk::end() {
    const Lock held(mutex_);
    ending_ = true;
    changed_.notify_all();
}

bool Desk::isEnding() {
    const Lock held(mutex_);
    return ending_;
}

bool Desk::hasAnswer() {
    const Lock held(mutex_);
    return !taking_ && attached_ && segment_.hasAnswer();
}

std::size_t Desk::room() {
    const Lock held(mutex_);
    return !taking_ && attached_ ? segment_.room() : 0;
}

/// The one reader: looks at the segment for as long as somebody waits for an answer in a turn.
void Desk::read(const std::stop_token& stop) {
    Lock held(mutex_);
    Span pause = kFirstLook;
    std::size_t waiting = 0;
    while (!stop.stop_requested()) {
        const auto wanted = [&] { return isOpen() && (owedWaiting_ > 0 || !underWay_.empty()); };
        if (!wanted()) {
            changed_.wait(held, stop, wanted);
            pause = kFirstLook;
        } else if (segment_.hasAnswer()) {
            takeAnswer();
            changed_.notify_all();
            pause = kFirstLook;
        } else {
            // What was put anew is answered soon.
            pause = underWay_.size() > waiting ? kFirstLook : std::min(pause * 5 / 4, kLongestLook);
            waiting = underWay_.size();
            changed_.wait_for(held, pause);
        }
    }
}

/// Takes the answer that stands in the segment, and hands it out. The prefix is cleared before the
/// copy is made: an answer that is posted meanwhile is not lost, but seen next.
void Desk::takeAnswer() {
    segment_.clearPrefix();
    const std::unique_ptr<char, Free> text(segment_.copyAnswer());
    if (text == nullptr) {
        return;
    }
    const AnswerName name = Answer_name(text.get());
    for (Ticket* const ticket : underWay_) {
        if (ticket->marker.isSent() && AnswerName_fits(name.text, ticket->marker.line)) {
            ticket->came = ticket->came == Came::kNothing ? Came::kMarker : ticket->came;
            return;
        }
    }
    if (Ticket* const ticket = addressee(text.get())) {
        ticket->came = Came::kAnswer;
        ticket->answer = text.get();
    } else {
        settleOwed(name.text);
    }
}

/// Whose answer it is; null when it is nobody's here, or cannot be told.
Ticket* Desk::addressee(std::string_view answer) {
    const AnswerName name = Answer_name(std::string(answer).c_str());
    const bool success = saysSuccess(answer);
    const auto found = std::ranges::find_if(underWay_, [&](const Ticket* ticket) {
        // What carries no name at all is no answer of a daemon that works: that is for the asker to
        // see, if there is but one.
        return !isUpdate(*ticket) &&
               (name.exists ? fits(*ticket, name.text, success) : underWay_.size() == 1);
    });
    return found != underWay_.end() ? *found : updateOf(name.text, success);
}

/// Which update an answer under this name belongs to: the only one that is not uploading. Null when
/// that is not clear, or when somebody else may have one under way.
Ticket* Desk::updateOf(std::string_view name, bool success) {
    Ticket* candidate = nullptr;
    for (Ticket* const ticket : underWay_) {
        if (isUpdate(*ticket) && fits(*ticket, name, success) && !Uploads_to(ticket->uploadTo)) {
            if (candidate != nullptr) {
                return nullptr;
            }
            candidate = ticket;
        }
    }
    const Notes& notes = turn_.notes();
    const auto* const end = notes.owed.begin() + notes.owedCount;
    const bool crowded = std::any_of(notes.owed.begin(), end, [&](const OwedAnswer& owed) {
        return OwedAnswer_isNamed(owed, name) && !isUnderWay(owed);
    });
    return crowded ? nullptr : candidate;
}

bool Desk::isUnderWay(const OwedAnswer& owed) const {
    return owed.pid == ::getpid() && std::ranges::any_of(underWay_, [&](const Ticket* ticket) {
               return ticket->number == owed.number;
           });
}

/// Crosses off the first note of others that an answer under this name may belong to, or of this
/// process's own that was given up.
void Desk::settleOwed(std::string_view name) {
    Notes& notes = turn_.notes();
    for (std::size_t i = 0; i < notes.owedCount; ++i) {
        if (OwedAnswer_isNamed(notes.owed[i], name) && !isUnderWay(notes.owed[i])) {
            Notes_drop(notes, i);
            turn_.save();
            return;
        }
    }
}

}  // namespace avoip::gw
