// What the rest of the gateway asks of the one room that talks to the daemon, and what it is told.
//
// Operations stand on these functions, so that tests can put a model in their place. Every wait
// ends at the moment that is given. The functions may be called from any number of threads at once.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/state/time.hpp"
#include "lib/client/confirm.hpp"
#include "lib/client/reading.hpp"
#include "lib/client/reply.hpp"

namespace avoip::gw {

/// How an ask ends, in the words of lib/client, with these meanings here:
///   kNoTurn    another front end has had the turn all the time, or too many commands wait
///   kNoAnswer  neither the daemon nor the device has answered in time
///   kFailure   the daemon says failure: it could not send, or the device refuses
struct Asking {
    /// Sends a one-way command. It passes every read that is in progress.
    std::function<Reply(const Request& command, Moment until)> send;

    /// Asks reads of one device, verified together. What was read of routes is in the state then.
    std::function<Batch(const std::vector<Request>& reads, Moment until)> read;

    /// Asks changes back that were sent, all in the order that suits. What is confirmed was read
    /// twice, in separately closed batches. A device that says otherwise is asked again for two
    /// seconds; one that is silent is not. Gives a verdict for each change.
    std::function<std::vector<Verdict>(const std::vector<Request>& changes, Moment until)> confirm;

    /// Has the daemon update one device, on a connection of its own, and waits for the end of that.
    /// `begun` is called when the command was sent and its opening discovery is over; where it is
    /// not, nothing was sent. kOverwritten: the daemon is done, and what came of it only the
    /// version of the device tells.
    std::function<Reply(const Request& update, const std::string& address,
                        const std::function<void()>& begun)>
        update;

    /// Wants the devices listed as soon as polling may.
    std::function<void()> listSoon;

    /// Lists the devices for somebody who waits, whatever polling may. The state knows them then.
    std::function<void(Moment until)> list;
};

/// Where those are told who count what happens. Called from several threads; empty ones are not
/// called.
struct AskingWatch {
    /// A command of the catalogue has ended so: "success", "failure", "no_answer" and so on.
    std::function<void(std::string_view command, std::string_view result, double seconds)> asked;
    std::function<void(double seconds)> turnWaited;
    /// A round over all routes is complete.
    std::function<void(double seconds)> roundDone;
};

}  // namespace avoip::gw
