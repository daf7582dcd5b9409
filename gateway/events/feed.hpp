// The events that clients follow, in the order of their revisions.
//
// The last ones are kept so that a client can go on where it stopped. Each client has a place of
// its own among them and takes from there at its own speed; nobody waits for anybody. A client
// whose new events, those that came while it follows, add up to more than kBacklogMax is dropped.
// What it asked to be told again does not count, and is kept until it has taken it.
//
// May be called from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace avoip::gw {

/// So many events are kept at least, unless they take more room than kKeptBytes.
inline constexpr std::size_t kKeptEvents = 12'000;
inline constexpr std::size_t kKeptBytes = std::size_t{16} * 1024 * 1024;
inline constexpr std::size_t kBacklogMax = std::size_t{1024} * 1024;

struct Feed;
struct FeedClose {
    void operator()(Feed* feed) const;
};
using FeedHandle = std::unique_ptr<Feed, FeedClose>;

/// A feed of an epoch, which is what the ids of its events begin with.
FeedHandle Feed_open(std::string epoch);

/// Adds an event. Revisions rise from call to call. `data` is one line of JSON, `key` what it is
/// about, for those who do not get everything.
void Feed_add(Feed& feed, std::uint64_t revision, std::string_view event, std::string_view data,
              std::string_view key = {});

/// Ends all clients, now and later.
void Feed_stop(Feed& feed);

/// How many clients follow.
std::size_t Feed_clients(const Feed& feed);

/// What a client gets from Feed_take().
enum class Fetched { kText, kNothingYet, kDropped, kStopped };

/// Whether a client wants an event about a key. Called by Feed_take().
using FeedFilter = std::function<bool(std::string_view event, std::string_view key)>;

struct Follower;
struct FollowerClose {
    void operator()(Follower* follower) const;
};
using FollowerHandle = std::unique_ptr<Follower, FollowerClose>;

/// Begins to follow, with what comes from now on, or behind the event that `lastEventId` names.
/// When it names none that can be gone on from, an event "reset" comes first. When the client is
/// dropped its `socket` is shut down, so that whoever writes to it stops; -1 for none. Without
/// `wants` the client gets every event. The feed, and the socket, outlive it.
FollowerHandle Feed_follow(Feed& feed, const std::optional<std::string>& lastEventId, int socket,
                           FeedFilter wants = {});

/// Gives what is there for the client, at most `most` bytes of it, as text/event-stream.
Fetched Feed_take(Follower& follower, std::size_t most, std::string& text);

/// A descriptor that is readable when there may be something to take. Stays the follower's.
int Feed_descriptor(const Follower& follower);

}  // namespace avoip::gw
