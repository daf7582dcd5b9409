// Settings that devices tell as a whole and take as a whole: parameters, network, serial port.
#pragma once

#include <string>

#include "gateway/operations/operations.hpp"

struct cJSON;

namespace avoip::gw {

enum class Settings { kParameters, kNetwork, kSerial };

/// What the device says, as a JSON object of texts.
Outcome<std::string> Settings_ask(Operations& operations, Settings settings, const std::string& id);

/// Changes what `body` holds; the rest is asked first. Gives what the device says afterwards, with
/// "confirmed".
Outcome<std::string> Settings_change(Operations& operations, Settings settings,
                                     const std::string& id, const cJSON* body);

/// What each setting may be, as JSON: {"parameters":{"encoder":[...],"decoder":[...]},
/// "network":[...],"serial":[...]}, with an object for each setting in the order in which devices
/// take them.
std::string Settings_ranges();

}  // namespace avoip::gw
