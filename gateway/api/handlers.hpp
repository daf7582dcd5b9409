// The functions behind the rows of endpoint.hpp. Each gives the response of a call, or throws the
// Problem that there is instead.
#pragma once

#include "gateway/api/endpoint.hpp"
#include "gateway/operations/body.hpp"

namespace avoip::gw::handlers {

using Handler = Response(Gateway& gateway, Call& call);

// fleet.cpp
Handler system, devices, device, renameDevice, forgetDevice;
Handler ranges, parameters, changeParameters, network, changeNetwork, serial, changeSerial;
Handler edid, giveEdid, sendSerial, identify, reboot, factoryReset;

// routing.cpp
Handler routes, setRoute, clearRoute, setRoutes;
Handler walls, wall, putWall, removeWall;

// kept.cpp
Handler presets, preset, putPreset, removePreset, recallPreset;
Handler locks, putLock, removeLock;
Handler rooms, room, putRoom, removeRoom;

// accounts.cpp
Handler logIn, session, logOut, changePassword;
Handler users, addUser, changeUser, removeUser;
Handler tokens, addToken, removeToken;

// firmware.cpp
Handler addImage, images, image, removeImage, install;
Handler jobs, job, removeJob;

// service.cpp
Handler log, description, live, ready, metrics;

// What they share.

/// The value of an outcome; throws its problem.
template <class Value>
Value take(Outcome<Value> outcome) {
    if (!outcome.succeeded()) {
        throw Problem(outcome.problem());
    }
    return std::move(outcome.value());
}

/// Throws the problem that a body has.
void check(const Body& body);

/// Throws the problem that an open part of the path is as a name.
void checkName(const Call& call);

/// Who acts, with the parameter "override" where the call has it.
Actor actorOf(const Call& call);

/// The parameter as true or false; nothing when it is not there. Throws the Problem 422.
std::optional<bool> flag(const Call& call, std::string_view name);

/// {"epoch","revision",NAME:[...]} of rows that are JSON texts.
std::string collection(Gateway& gateway, std::string_view name,
                       const std::vector<std::string>& rows);

/// What a 404 says.
Problem unknown(std::string_view what, const std::string& name);

}  // namespace avoip::gw::handlers
