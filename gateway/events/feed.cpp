#include "gateway/events/feed.hpp"

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <deque>
#include <mutex>
#include <set>
#include <system_error>
#include <vector>

#include "lib/base/descriptor.hpp"

namespace avoip::gw {

struct Event {
    std::uint64_t revision = 0;
    std::string text;
    std::string name;
    std::string key;
};

struct Feed {
    std::string epoch;
    mutable std::mutex mutex;
    std::deque<Event> kept;
    /// The events that were ever added have the numbers from 0; this is the number of kept[0].
    std::uint64_t first = 0;
    /// The bytes of all events before kept[0], and of all that were ever added.
    std::uint64_t bytesBefore = 0;
    std::uint64_t bytesAdded = 0;
    /// The greatest revision that was added, and the greatest that is not kept any more.
    std::uint64_t last = 0;
    std::uint64_t forgotten = 0;
    std::set<Follower*> followers;
    bool stopped = false;
};

struct Follower {
    Feed& feed;
    Descriptor wake;
    int socket = -1;
    FeedFilter wants;
    /// The number of the event to take next, and the bytes of all events before that one.
    std::uint64_t next = 0;
    std::uint64_t taken = 0;
    /// The bytes of all events that were there when it began.
    std::uint64_t told = 0;
    bool dropped = false;
    /// What is to be sent before anything else: the rest of what did not fit.
    std::string pending = {};
};

namespace {

void wakeUp(const Follower& follower) {
    const std::uint64_t one = 1;
    // A counter that is full already wakes as well.
    static_cast<void>(::write(follower.wake.get(), &one, sizeof one) == sizeof one);
}

std::string idOf(const Feed& feed, std::uint64_t revision) {
    return feed.epoch + ":" + std::to_string(revision);
}

bool isFar(const Feed& feed, const Follower& follower) {
    return feed.bytesAdded - std::max(follower.taken, follower.told) > kBacklogMax;
}

/// Drops whoever is too far behind, and forgets what nobody needs any more.
void tidy(Feed& feed) {
    std::uint64_t needed = feed.first + feed.kept.size();
    for (Follower* const follower : feed.followers) {
        if (!follower->dropped && isFar(feed, *follower)) {
            follower->dropped = true;
            ::shutdown(follower->socket, SHUT_RDWR);
        }
        needed = follower->dropped ? needed : std::min(needed, follower->next);
    }
    while (feed.first < needed &&
           (feed.kept.size() > kKeptEvents || feed.bytesAdded - feed.bytesBefore > kKeptBytes)) {
        feed.forgotten = feed.kept.front().revision;
        feed.bytesBefore += feed.kept.front().text.size();
        feed.kept.pop_front();
        ++feed.first;
    }
}

/// The revision that an id names; nothing when it is of another epoch, or none.
std::optional<std::uint64_t> revisionOf(const Feed& feed, std::string_view id) {
    if (!id.starts_with(feed.epoch) || !id.substr(feed.epoch.size()).starts_with(':')) {
        return std::nullopt;
    }
    id.remove_prefix(feed.epoch.size() + 1);
    std::uint64_t revision = 0;
    const auto read = std::from_chars(id.data(), id.data() + id.size(), revision);
    const bool whole = read.ec == std::errc{} && read.ptr == id.data() + id.size();
    return whole ? std::optional(revision) : std::nullopt;
}

/// Puts the follower behind everything.
void placeAtEnd(Follower& follower) {
    follower.next = follower.feed.first + follower.feed.kept.size();
    follower.taken = follower.feed.bytesAdded;
}

/// Puts the follower before the first event with a greater revision.
void placeBehind(Follower& follower, std::uint64_t revision) {
    const Feed& feed = follower.feed;
    follower.next = feed.first;
    follower.taken = feed.bytesBefore;
    for (const Event& event : feed.kept) {
        if (event.revision > revision) {
            break;
        }
        ++follower.next;
        follower.taken += event.text.size();
    }
}

/// Takes events until there are `most` bytes with what is pending; wakes the follower when more are
/// left.
void take(Follower& follower, std::size_t most, std::vector<Event>& taken) {
    const Feed& feed = follower.feed;
    const std::uint64_t end = feed.first + feed.kept.size();
    for (std::size_t size = follower.pending.size(); size < most && follower.next < end;
         ++follower.next) {
        const Event& event = feed.kept[static_cast<std::size_t>(follower.next - feed.first)];
        size += event.text.size();
        follower.taken += event.text.size();
        taken.push_back(event);
    }
    if (follower.next < end) {
        wakeUp(follower);
    }
}

}  // namespace

void FeedClose::operator()(Feed* feed) const {
    delete feed;
}

FeedHandle Feed_open(std::string epoch) {
    FeedHandle feed(new Feed);
    feed->epoch = std::move(epoch);
    return feed;
}

void Feed_add(Feed& feed, std::uint64_t revision, std::string_view event, std::string_view data,
              std::string_view key) {
    std::string text = "id: " + idOf(feed, revision) + "\nevent: ";
    text.append(event).append("\ndata: ").append(data).append("\n\n");
    const std::lock_guard lock(feed.mutex);
    feed.last = revision;
    feed.bytesAdded += text.size();
    feed.kept.push_back({revision, std::move(text), std::string(event), std::string(key)});
    tidy(feed);
    for (const Follower* const follower : feed.followers) {
        wakeUp(*follower);
    }
}

void Feed_stop(Feed& feed) {
    const std::lock_guard lock(feed.mutex);
    feed.stopped = true;
    for (const Follower* const follower : feed.followers) {
        wakeUp(*follower);
    }
}

std::size_t Feed_clients(const Feed& feed) {
    const std::lock_guard lock(feed.mutex);
    return feed.followers.size();
}

void FollowerClose::operator()(Follower* follower) const {
    {
        const std::lock_guard lock(follower->feed.mutex);
        follower->feed.followers.erase(follower);
    }
    delete follower;
}

FollowerHandle Feed_follow(Feed& feed, const std::optional<std::string>& lastEventId, int socket,
                           FeedFilter wants) {
    Descriptor wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    const std::lock_guard lock(feed.mutex);
    FollowerHandle follower(new Follower{feed, std::move(wake), socket, std::move(wants)});
    follower->told = feed.bytesAdded;
    placeAtEnd(*follower);
    const auto revision =
        lastEventId ? revisionOf(feed, *lastEventId) : std::optional<std::uint64_t>(feed.last);
    if (!revision || *revision < feed.forgotten || *revision > feed.last) {
        follower->pending = "id: " + idOf(feed, feed.last) + "\nevent: reset\ndata: {\"epoch\":\"" +
                            feed.epoch + "\",\"revision\":" + std::to_string(feed.last) + "}\n\n";
    } else if (lastEventId) {
        placeBehind(*follower, *revision);
    }
    feed.followers.insert(follower.get());
    wakeUp(*follower);
    return follower;
}

Fetched Feed_take(Follower& follower, std::size_t most, std::string& text) {
    Feed& feed = follower.feed;
    std::uint64_t count = 0;
    static_cast<void>(::read(follower.wake.get(), &count, sizeof count) == sizeof count);
    std::vector<Event> taken;
    {
        const std::lock_guard lock(feed.mutex);
        if (follower.dropped || feed.stopped) {
            return follower.dropped ? Fetched::kDropped : Fetched::kStopped;
        }
        take(follower, most, taken);
    }
    // The filter may wait for whoever adds events, so the feed is not locked.
    for (const Event& event : taken) {
        if (!follower.wants || follower.wants(event.name, event.key)) {
            follower.pending.append(event.text);
        }
    }
    text = follower.pending.substr(0, most);
    follower.pending.erase(0, most);
    if (!follower.pending.empty()) {
        wakeUp(follower);
    }
    return text.empty() ? Fetched::kNothingYet : Fetched::kText;
}

int Feed_descriptor(const Follower& follower) {
    return follower.wake.get();
}

}  // namespace avoip::gw
