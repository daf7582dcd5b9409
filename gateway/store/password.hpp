// Passwords, hashed with yescrypt by the system's crypt.
//
// A hash takes memory and time on purpose; one is made at a time, whoever asks.
#pragma once

#include <string>
#include <string_view>

namespace avoip::gw {

/// What is wrong with a text as a password; nothing when it is 1 to 511 bytes without NUL.
std::string Password_problem(std::string_view password);

/// The hash to be stored. Throws std::runtime_error when the system cannot make one.
std::string Password_hash(const std::string& password);

/// Whether `hash` was made of `password`. An empty hash was made of none, and takes as long.
bool Password_matches(const std::string& password, const std::string& hash);

}  // namespace avoip::gw
