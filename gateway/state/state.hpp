// The state: one structure that changes by events, and tells what has changed.
//
// What devices said, what people keep, and how the daemon does stand here, and nowhere else; the
// resources of the API are read out of it (json.hpp). Each change counts the revision up by one and
// is told, with the resource as it is then, to `changed`, in the order of the revisions. What
// devices and the daemon did by themselves is told to `happened` for the log.
//
// That something was heard or seen once more is no change: the moment is taken over, and `reading`
// counts it, by which texts that were made of the state are known to be old.
//
// Pure: no input, no output; time comes in as an argument. Not for two threads at once: share.hpp
// has the lock.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "gateway/state/fleet.hpp"
#include "gateway/state/resources.hpp"
#include "gateway/state/time.hpp"

namespace avoip::gw {

enum class ChangeKind {
    kDevice,
    kDeviceRemoved,
    kRoute,
    kPreset,
    kLock,
    kRoom,
    kWall,
    kJob,
    kSystem,
    kLog
};

/// The name of an event of this kind: "device", "device_removed" and so on.
std::string_view ChangeKind_name(ChangeKind kind);

struct Change {
    std::uint64_t revision = 0;
    ChangeKind kind = ChangeKind::kSystem;
    /// What it is about: an id or a name; of a route "KIND/DECODER"; empty for the system.
    std::string key = {};
    std::string json = {};  ///< the resource as its GET gives it, or what is left of it
};

/// What a device or the daemon did by itself, in the words of the log.
struct Incident {
    std::string action = {};  ///< "gone", "back", "new", "version" or "daemon"
    std::string target = {};  ///< the device's identity; empty for the daemon
    std::string detail = {};
};

enum class DaemonState {
    kOk,
    kAbsent,   ///< no console
    kStopped,  ///< no answer in time
    kUseless   ///< answers, but cannot reach devices any more
};
std::string_view DaemonState_name(DaemonState state);

struct DaemonHealth {
    DaemonState state = DaemonState::kAbsent;
    std::string reason = {};  ///< a sentence; empty when it is ok
    Time since = {};
};

/// The connection to the broker of messages.
struct BrokerHealth {
    std::string state = "off";  ///< "off", "connecting" or "connected"
    std::string broker = {};    ///< empty: none
    bool operator==(const BrokerHealth&) const = default;
};

struct DeviceCounts {
    int encoders = 0;
    int decoders = 0;
    int offline = 0;
    bool operator==(const DeviceCounts&) const = default;
};

/// Texts that were made of the state, with the reading that they show.
struct SharedText {
    std::uint64_t reading = 0;
    std::shared_ptr<const std::string> text = {};
};

/// More devices are not known at the same time: whoever lets more identities appear than any site
/// has makes those forgotten that were not heard for the longest time.
inline constexpr std::size_t kMostDevices = 4'096;

struct State {
    std::string site = "main";
    std::string version = {};  ///< the program's own
    std::string epoch = {};    ///< a random text, another one for each start
    Time startedAt = {};
    /// After so many discoveries in succession that have not heard it a device is offline.
    int offlineAfter = 3;

    std::uint64_t revision = 0;
    std::uint64_t reading = 1;  ///< counts what a GET may show otherwise than before
    DaemonHealth daemon = {};
    BrokerHealth broker = {};
    DeviceCounts counts = {};
    ByName<Device> devices = {};
    /// For each kind, the routes of all known decoders.
    std::array<ByName<Route>, kRouteKinds> routes = {};
    ByName<Preset> presets = {};
    ByName<Lock> locks = {};  ///< by decoder
    ByName<Room> rooms = {};
    ByName<Wall> walls = {};
    ByName<Job> jobs = {};

    std::function<void(const Change&)> changed = {};
    std::function<void(const Incident&)> happened = {};
    SharedText devicesText = {};
};

/// A state that has begun now, of whose daemon nothing is known yet.
State State_begin(std::string epoch, Time now);

/// A listing of all devices has come. Of two lines with one identity the later one counts. With
/// `missing`, devices that are not in it have missed a discovery.
void State_listed(State& state, std::span<const DeviceReport> reports, Time now, bool missing);

/// A known device has answered something else.
void State_heard(State& state, std::string_view id, Time now);

/// A decoder has said which encoder it has; empty for none. A decoder that is not known is passed
/// over.
void State_routeSaid(State& state, RouteKind kind, std::string_view decoder,
                     std::string_view encoder, Time now);

/// How the daemon does. The same again, with another reason, keeps the moment since when it is so.
void State_daemonIs(State& state, DaemonState nowIs, std::string_view reason, Time now);

void State_brokerIs(State& state, const BrokerHealth& broker);

/// Forgets a device that is offline, with its routes. Gives false when there is none, or when it is
/// online.
bool State_forget(State& state, std::string_view id);

/// Takes a resource in, under its name, or in place of the one that had it.
void State_put(State& state, Preset preset);
void State_put(State& state, Lock lock);
void State_put(State& state, Room room);
void State_put(State& state, Wall wall);
void State_put(State& state, Job job);

/// Take a resource out; false when there is none.
bool State_removePreset(State& state, std::string_view name);
bool State_removeLock(State& state, std::string_view decoder);
bool State_removeRoom(State& state, std::string_view name);
bool State_removeWall(State& state, std::string_view name);
bool State_removeJob(State& state, std::string_view id);

/// An entry of the log was written; `json` is the resource.
void State_logged(State& state, std::string_view id, std::string json);

/// A known device; null when there is none.
const Device* State_device(const State& state, std::string_view id);

/// What a decoder said last; null when the decoder is not known.
const Route* State_route(const State& state, RouteKind kind, std::string_view decoder);

}  // namespace avoip::gw
