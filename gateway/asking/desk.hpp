// The desk: the turn, the answer segment and the notes, for all connections of this process at
// once.
//
// Other front ends see one more front end: it takes its turn, leaves notes of what is owed to it,
// and waits for what is owed to others. Within the process several questions may be under way in
// one turn (a read that waits for its device, a one-way command that passes it, the updates of
// devices), and one thread reads the segment and hands each answer out by the name that it carries.
// An answer that was overwritten by another is found missing by a marker: a line that no command
// matches, which the daemon answers when it is done with what came before it on the same
// connection.
//
// A question is put with a Ticket, which the asker keeps until it is withdrawn.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "gateway/state/time.hpp"
#include "lib/frontend/connection.hpp"
#include "lib/frontend/question.hpp"
#include "lib/frontend/segment.hpp"
#include "lib/frontend/turn.hpp"

namespace avoip::gw {

enum class Came {
    kNothing,
    kAnswer,
    kMarker  ///< the daemon is done, and its answer was not seen
};

/// A question that is under way.
struct Ticket {
    const Question* question = nullptr;
    int number = 0;  ///< of the question among those of this process; 0: not put
    Came came = Came::kNothing;
    std::string answer = {};
    Marker marker = {};
    /// Of an update, the address of its device in network byte order. Several updates may be under
    /// way that are answered by the same name: the answer is that of the one whose upload is over.
    std::uint32_t uploadTo = 0;
};

class Desk {
  public:
    /// `waited` is told how long each turn was waited for; may be empty.
    explicit Desk(std::function<void(double seconds)> waited);
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// Takes the turn until `until`, or joins those of this process who have it: who `passes`
    /// always, others only while that keeps nobody else from the turn for long. Gives AVOIP_OK, or,
    /// with a reason, what Turn::take() and Segment::attach() give. Who has been let in leaves
    /// again.
    avoip_result enter(Moment until, bool passes, Reason& reason);
    void leave();

    /// Whether no reply waits in the daemon's socket, as far as anybody knows. In a turn only.
    bool isClean();
    void setClean(bool clean);

    /// In a turn: puts a question on a connection that stands, as soon as nothing stands in its way
    /// and what this process has under way is done or takes its time. Gives AVOIP_OK;
    /// AVOIP_TIME_OUT or, when it is owed to another front end, AVOIP_NO_TURN when the daemon owed
    /// an answer until `until`; AVOIP_NO_DAEMON when it could not be sent; all but the first with a
    /// reason, and nothing is under way then.
    avoip_result put(Ticket& ticket, Connection& connection, Moment until, Reason& reason);

    /// Sends a marker behind the question; false when the connection takes nothing.
    bool mark(Ticket& ticket, Connection& connection);

    /// Waits for what comes of a question, until `until`.
    Came await(const Ticket& ticket, Moment until);

    /// Ends a question that has come to something. Its note is taken back, now or in the next turn.
    void withdraw(Ticket& ticket);
    /// Ends one to whose answer nobody waits any more: it stays noted as owed.
    void giveUp(Ticket& ticket);
    /// Says in the note of an update that it takes no more replies of devices. In its turn.
    void shareNoMore(const Ticket& ticket);

    /// Lets nobody in any more, and nobody wait any longer.
    void end();
    bool isEnding();

    /// Whether an answer stands in the segment, whosever it is. Outside of turns too.
    bool hasAnswer();

    /// The longest answer that the segment has room for.
    std::size_t room();

  private:
    using Lock = std::unique_lock<std::mutex>;

    avoip_result take(Lock& held, Moment until, Reason& reason);
    bool mayJoin(bool passes) const;
    bool isOpen() const { return holders_ > 0; }
    bool stepsAside(const Question& question) const;
    avoip_result awaitOwed(Lock& held, const Ticket& ticket, std::uint64_t daemon, Moment until,
                           Reason& reason);
    void read(const std::stop_token& stop);
    void takeAnswer();
    Ticket* addressee(std::string_view answer);
    Ticket* updateOf(std::string_view name, bool success);
    void settleOwed(std::string_view name);
    bool isUnderWay(const OwedAnswer& owed) const;
    void forgetSettled();

    std::function<void(double seconds)> waited_;
    std::mutex mutex_;
    /// Of everything below.
    std::condition_variable_any changed_;
    Turn turn_;
    Segment segment_;
    bool ending_ = false;
    bool attached_ = false;
    int holders_ = 0;
    bool taking_ = false;  ///< somebody takes the turn, without the lock
    Moment heldSince_ = {};
    Span held_{0};           ///< how long it was held since others had their chance
    Moment restUntil_ = {};  ///< not taken again before that
    std::vector<Ticket*> underWay_;
    std::vector<int> settled_;  ///< questions whose notes are to be taken back
    int sendsWaiting_ = 0;
    int owedWaiting_ = 0;
    std::jthread reader_;
};

}  // namespace avoip::gw
