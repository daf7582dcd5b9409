// What is done to single devices beside their settings. All texts are answers' bodies.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "gateway/operations/operations.hpp"

struct cJSON;

namespace avoip::gw {

/// Reads {"alias":TEXT|null}; an empty text is null.
Outcome<std::string> Alias_read(const cJSON* body);

/// Names a device, or takes its name away with an empty text. Gives the device with "confirmed".
Outcome<std::string> Device_rename(Operations& operations, const std::string& id,
                                   const std::string& alias);

/// Forgets a device that is offline: 409 while it is online.
Outcome<Done> Device_forget(Operations& operations, const std::string& id);

Outcome<Done> Device_identify(Operations& operations, const std::string& id);
Outcome<Done> Device_reboot(Operations& operations, const std::string& id);
/// `body` is {"confirm":ID}: 422 when it names another device.
Outcome<Done> Device_factoryReset(Operations& operations, const std::string& id, const cJSON* body);

/// `body` is {"data":BASE64}.
Outcome<Done> Device_sendSerial(Operations& operations, const std::string& id, const cJSON* body);

/// The EDID of a decoder's screen.
Outcome<std::vector<std::uint8_t>> Edid_ask(Operations& operations, const std::string& id);

/// Gives an encoder an EDID. No encoder can be asked for it afterwards.
Outcome<Done> Edid_give(Operations& operations, const std::string& id,
                        std::span<const std::uint8_t> edid);

/// Reads {"edid":BASE64}; "decoded" may stand beside it and is passed over.
Outcome<std::vector<std::uint8_t>> Edid_readBody(const cJSON* body);

/// {"edid":BASE64,"decoded":{...}}, with "confirmed" where there is an answer to that.
std::string Edid_json(std::span<const std::uint8_t> edid, std::optional<bool> confirmed = {});

}  // namespace avoip::gw
