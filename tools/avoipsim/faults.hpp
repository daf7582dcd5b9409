// What goes wrong on purpose between the fleet and its asker.
//
// What happens to a device at a request follows from the seed, the number of the request and the
// number of the device alone, so the same seed gives the same faults for the same sequence of
// requests, whatever the timing was and whichever other faults are asked for.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/base/json.hpp"

namespace avoip::sim {

/// Probabilities are from 0 (never) to 1 (always).
struct FaultOptions {
    std::uint64_t seed = 1;
    double loss = 0;                  ///< The request does not reach the device.
    double duplicate = 0;             ///< The reply is sent twice.
    double wrongHostid = 0;           ///< The reply names another host.
    double failed = 0;                ///< The reply's status is "failure", without data.
    double missingKey = 0;            ///< One member of the reply's objects is left out.
    double notJson = 0;               ///< A text that is not JSON is sent instead of the reply.
    int delayMin_ms = 0;              ///< The reply is sent this late at the least,
    int delayMax_ms = 0;              ///< and this late at the most.
    std::vector<std::string> silent;  ///< Identities of devices that never hear anything.
};

/// What goes wrong for one device at one request.
struct Fault {
    bool lost = false;
    bool duplicate = false;
    bool wrongHostid = false;
    bool failed = false;
    bool missingKey = false;
    bool notJson = false;
    std::uint64_t missingMember = 0;  ///< Chooses the member that is left out.
    std::chrono::milliseconds delay{0};
};

Fault Faults_draw(const FaultOptions& options, std::uint64_t request, std::uint64_t device);

/// The text of `reply` after its fault. Takes the tree apart.
std::string Faults_print(const Fault& fault, cJSON* reply);

/// The names of the faults that change the reply, for the log; empty when there is none.
std::string Faults_name(const Fault& fault);

}  // namespace avoip::sim
