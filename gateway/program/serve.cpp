#include "gateway/program/serve.hpp"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <stdexcept>

#include "gateway/api/gateway.hpp"
#include "gateway/api/journal.hpp"
#include "gateway/asking/room.hpp"
#include "gateway/base/secret.hpp"
#include "gateway/http/server.hpp"
#include "gateway/http/sockets.hpp"
#include "gateway/state/json.hpp"
#include "gateway/state/restore.hpp"
#include "gateway/store/images.hpp"

namespace avoip::gw {
namespace {

/// Everything is refused that would let the first who comes do what they like.
void checkReach(const Config& config, Store& store) {
    const bool beyond =
        std::any_of(config.http.listen.begin(), config.http.listen.end(),
                    [](const auto& text) { return !Listen_isLoopback(*Listen_parse(text)); });
    if (beyond && !config.http.open && !Store_hasUsers(store)) {
        throw std::runtime_error(
            "there is no user yet, and http.listen reaches beyond this machine; make one first:\n"
            "  avoipgw user add NAME --role admin");
    }
}

/// Puts into the state what is kept under a kind.
template <class Restore>
void restore(Store& store, State& state, std::string_view kind, Restore read) {
    for (const Document& document : Store_list(store, kind)) {
        if (auto resource = read(document.body)) {
            State_put(state, *std::move(resource));
        }
    }
}

State firstState(const Config& config, Store& store) {
    State state = State_begin(Secret_random(8), Time_now());
    state.site = config.site;
    state.version = AVOIP_VERSION;
    state.offlineAfter = config.poll.offlineAfter;
    restore(store, state, kPresetKind, Preset_restore);
    restore(store, state, kLockKind, Lock_restore);
    restore(store, state, kRoomKind, Room_restore);
    restore(store, state, kWallKind, Wall_restore);
    // What was kept is no change, and nobody is told of it: whoever reads now, and follows then,
    // misses nothing.
    state.revision = 0;
    return state;
}

std::vector<Job> keptJobs(Store& store) {
    std::vector<Job> jobs;
    for (const Document& document : Store_list(store, kJobKind)) {
        if (auto job = Job_restore(document.body)) {
            jobs.push_back(*std::move(job));
        }
    }
    return jobs;
}

/// Runs a change of the store; gives the problem instead of throwing.
template <class Change>
std::optional<Problem> kept(Change change) {
    try {
        change();
        return std::nullopt;
    } catch (const StoreError& error) {
        return Problem{error.full ? 507 : 500, "It could not be kept: " + error.text + "."};
    }
}

Keeping keepingIn(Store& store) {
    return {
        [&store](const Wall& wall) {
            return kept([&] { Store_put(store, kWallKind, wall.name, Wall_json(wall)); });
        },
        [&store](const std::string& name) {
            return kept([&] { Store_remove(store, kWallKind, name); });
        },
        [&store](const Job& job) {
            return kept([&] { Store_put(store, kJobKind, job.id, Job_json(job)); });
        },
        [&store](const std::string& id) {
            return kept([&] { Store_remove(store, kJobKind, id); });
        },
    };
}

/// "address:port", which the configuration has checked.
ConsoleAddress consoleOf(const Config& config) {
    const std::string& text = config.console.address;
    const std::size_t colon = text.rfind(':');
    return {text.substr(0, colon), *Listen_port(text.substr(colon + 1))};
}

RoomOptions roomOptions(const Config& config, Metrics& metrics) {
    RoomOptions options;
    options.console = consoleOf(config);
    options.polling.devices = std::chrono::seconds(config.poll.devices_s);
    options.polling.routes = std::chrono::seconds(config.poll.routes_s);
    options.watch = {
        [&metrics](std::string_view command, std::string_view result, double seconds) {
            Metrics_countCommand(metrics, command, result, seconds);
        },
        [&metrics](double seconds) { Metrics_countTurn(metrics, seconds); },
        [&metrics](double seconds) { Metrics_pollRound(metrics, seconds); },
    };
    return options;
}

void awaitSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    int signal = 0;
    ::sigwait(&signals, &signal);
}

void serve(const Config& config, const std::string& data) {
    const Descriptor claim = Store_claim(data);
    const StoreHandle store = Store_open(data);
    Image_prepare(*store, data);
    checkReach(config, *store);
    SharedState state(firstState(config, *store));
    const std::string epoch = state.with([](const State& shared) { return shared.epoch; });
    const FeedHandle feed = Feed_open(epoch);
    Journal journal(*store, state, Time_now, config.log.keepDays);
    state.with([&](State& shared) {
        shared.changed = [&feed](const Change& change) {
            Feed_add(*feed, change.revision, ChangeKind_name(change.kind), change.json, change.key);
        };
        shared.happened = [&journal](const Incident& incident) {
            LogEntry entry;
            entry.action = incident.action;
            entry.target = incident.target;
            entry.detail = incident.detail;
            journal.add(std::move(entry));
        };
    });
    Metrics metrics;
    AskingRoom room(roomOptions(config, metrics), state);
    const Keeping keeping = keepingIn(*store);
    Operations operations{state, room.asking(), keeping, Time_now};
    Installations installations(
        operations, {std::chrono::seconds(config.firmware.return_s), config.firmware.parallel});
    installations.restore(keptJobs(*store));
    Gateway gateway{config, data,    AVOIP_VERSION, state,         *store,
                    *feed,  metrics, operations,    installations, Time_now};
    const ServerHandle server = Server_open(gateway);
    std::cerr << "avoipgw: serving on";
    for (const std::string& text : config.http.listen) {
        std::cerr << " " << text;
    }
    std::cerr << std::endl;
    if (!config.mqtt.broker.empty()) {
        std::cerr << "avoipgw: this version connects to no broker; [mqtt] is passed over\n";
    }
    awaitSignal();
    room.stop();
}

}  // namespace

int Serve_run(const Config& config, const std::string& data) {
    const std::string problem = Image_pathProblem(data);
    try {
        if (!problem.empty()) {
            throw std::runtime_error("data: the path of an image in " + data + " " + problem);
        }
        serve(config, data);
        return 0;
    } catch (const StoreError& error) {
        std::cerr << "avoipgw: " << error.text << "\n";
    } catch (const ServerError& error) {
        std::cerr << "avoipgw: " << error.text << "\n";
    } catch (const std::exception& error) {
        std::cerr << "avoipgw: " << error.what() << "\n";
    }
    return 1;
}

}  // namespace avoip::gw
