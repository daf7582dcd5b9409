// What all load figures stand on: the daemon in its private network, and the commands it is given.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/front_end.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "load/load.hpp"

namespace load {

/// Whether what the daemon prints is kept or thrown away; there can be a lot of it.
enum class Words { kKept, kThrownAway };

/// The network and the daemon, which serves when this stands.
struct LoadBed {
    /// `program` starts the daemon, with `arguments`; empty for the daemon itself.
    explicit LoadBed(Words words = Words::kThrownAway, const std::string& program = {},
                     const std::vector<std::string>& arguments = {});

    Footprint footprint() const;
    /// Waits until every connection but `console` has ended.
    void awaitIdle() const;

    bed::Namespaces namespaces;
    avoip::Descriptor nowhere;
    bed::Daemon daemon;
    /// A connection that stands from the beginning and has been served.
    bed::Console console;
    bed::Segment segment;
};

/// The line of the one-way command with that number, the request that it becomes, and its answer.
std::string commandLine(std::size_t number);
std::string commandRequest(std::size_t number);
inline constexpr const char* kCommandAnswer =
    R"({"ack":{"cmd":"device showme","status":"success"}})";

/// Asks for that command. @return what was wrong: another answer, or why there was none; else empty
std::string askCommand(bed::FrontEnd& frontEnd, std::size_t number,
                       std::chrono::milliseconds patience = bed::kPatience);

/// A finding with the time that `act` takes, and what the daemon takes up before and behind it.
Finding measure(const LoadBed& bed, const std::function<void()>& act);

/// A number as people read it: 1,000,000.
std::string grouped(std::size_t number);

/// Adds "N what" to a list of losses, where N is not 0.
void addLoss(std::string& lost, std::size_t count, const std::string& what);

}  // namespace load
