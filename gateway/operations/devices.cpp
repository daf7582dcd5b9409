#include "gateway/operations/devices.hpp"

#include "gateway/operations/body.hpp"
#include "gateway/state/json.hpp"
#include "lib/base/base64.hpp"
#include "lib/base/edid.hpp"
#include "lib/base/json.hpp"
#include "lib/base/printable.hpp"

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr Span kConfirmPatience = 6s;
constexpr Span kEdidPatience = 14s;

/// Sends a command whose first argument is a known device of this kind.
Outcome<Done> sendTo(const Operations& operations, const char* command, DeviceKind kind,
                     std::vector<std::string> values, const std::string& field) {
    const Request request{Catalogue_findText(command), std::move(values)};
    const auto problem = operations.state.with([&](const State& state) {
        const auto problemOfValue = [&](std::size_t i) {
            return Problem_ofValue(request.command->arguments[i], request.values[i],
                                   i == 0 ? "id" : field);
        };
        auto found = problemOfValue(0);
        found = found ? found : Problem_ofDevice(state, request.values.front(), kind, "id");
        for (std::size_t i = 1; !found && i < request.values.size(); ++i) {
            found = problemOfValue(i);
        }
        return found;
    });
    return problem ? Outcome<Done>(*problem) : Operations_send(operations, request);
}

/// The bytes of the member `key`, which is base64.
Outcome<std::vector<std::uint8_t>> readBase64(const cJSON* body, std::string_view key,
                                              std::span<const std::string_view> members) {
    Body read(body);
    read.only(members);
    const auto text = read.text(key);
    auto bytes = text ? Base64_decode(*text) : std::nullopt;
    if (!bytes || bytes->empty()) {
        read.blame(key, "This must be bytes in base64, at least one.");
    }
    return read.outcome(bytes.value_or(std::vector<std::uint8_t>{}));
}

}  // namespace

Outcome<std::string> Alias_read(const cJSON* body) {
    constexpr std::string_view kMembers[] = {"alias"};
    Body read(body);
    read.only(kMembers);
    if (Json_find(body, "alias") == nullptr) {
        read.blame("alias", "This is missing.");
    }
    const auto alias = read.text("alias");
    if (alias && alias->empty()) {
        read.blame("alias", "This must be a text, or null to take the name away.");
    }
    return read.outcome(alias.value_or(""));
}

Outcome<std::string> Device_rename(Operations& operations, const std::string& id,
                                   const std::string& alias) {
    const Request change =
        alias.empty() ? Request{Catalogue_findText("config remove device alias"), {id}}
                      : Request{Catalogue_findText("config set device alias"), {id, alias}};
    const auto sent =
        sendTo(operations, alias.empty() ? "config remove device alias" : "config set device alias",
               DeviceKind::kAny, change.values, "alias");
    if (!sent.succeeded()) {
        return sent.problem();
    }
    const auto verdicts = operations.asking.confirm({change}, Steady::now() + kConfirmPatience);
    return operations.state.with([&](const State& state) -> Outcome<std::string> {
        const Device* const device = State_device(state, id);
        if (device == nullptr) {
            return Problem{404, "\"" + id + "\" was forgotten meanwhile.", "id"};
        }
        return Device_jsonConfirmed(*device, verdicts.front() == Verdict::kConfirmed);
    });
}

Outcome<Done> Device_forget(Operations& operations, const std::string& id) {
    return operations.state.with([&](State& state) -> Outcome<Done> {
        if (State_device(state, id) == nullptr) {
            return Problem{404, "No device \"" + id + "\" is known.", "id"};
        }
        if (!State_forget(state, id)) {
            return Problem{409,
                           "\"" + id +
                               "\" is online: only a device that is gone can be "
                               "forgotten.",
                           "id"};
        }
        return Done{};
    });
}

Outcome<Done> Device_identify(Operations& operations, const std::string& id) {
    return sendTo(operations, "device showme", DeviceKind::kAny, {id}, "id");
}

Outcome<Done> Device_reboot(Operations& operations, const std::string& id) {
    return sendTo(operations, "device reboot", DeviceKind::kAny, {id}, "id");
}

Outcome<Done> Device_factoryReset(Operations& operations, const std::string& id,
                                  const cJSON* body) {
    constexpr std::string_view kMembers[] = {"confirm"};
    Body read(body);
    read.only(kMembers);
    if (read.text("confirm") != id) {
        read.blame("confirm", "This must be the id of the device, so that it is the one meant.");
    }
    if (read.problem()) {
        return *read.problem();
    }
    return sendTo(operations, "device factory", DeviceKind::kAny, {id}, "id");
}

Outcome<Done> Device_sendSerial(Operations& operations, const std::string& id, const cJSON* body) {
    constexpr std::string_view kMembers[] = {"data"};
    const auto bytes = readBase64(body, "data", kMembers);
    if (!bytes.succeeded()) {
        return bytes.problem();
    }
    return sendTo(operations, "serial data", DeviceKind::kAny, {id, Edid_hex(bytes.value())},
                  "data");
}

Outcome<std::vector<std::uint8_t>> Edid_ask(Operations& operations, const std::string& id) {
    const auto problem = operations.state.with([&](const State& state) {
        return Problem_ofDevice(state, id, DeviceKind::kDecoder, "id");
    });
    if (problem) {
        return *problem;
    }
    const Command& read = *Catalogue_findText("config get rx edid");
    const Batch batch = operations.asking.read({{&read, {id}}}, Steady::now() + kEdidPatience);
    if (!batch.outcome.succeeded()) {
        return Problem_of(batch.outcome);
    }
    const Row& row = batch.replies.front().answer.rows.front();
    return Edid_bytes(Answer_member(read.shape, row, "edid"));
}

Outcome<Done> Edid_give(Operations& operations, const std::string& id,
                        std::span<const std::uint8_t> edid) {
    return sendTo(operations, "config set tx edid", DeviceKind::kEncoder, {id, Edid_hex(edid)},
                  "edid");
}

Outcome<std::vector<std::uint8_t>> Edid_readBody(const cJSON* body) {
    constexpr std::string_view kMembers[] = {"edid", "decoded"};
    return readBase64(body, "edid", kMembers);
}

std::string Edid_json(std::span<const std::uint8_t> edid, std::optional<bool> confirmed) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "edid", Base64_encode(edid));
    EdidFacts facts;
    if (Edid_read(edid, facts)) {
        cJSON* const decoded = Json_addObject(root.get(), "decoded");
        Json_addText(decoded, "manufacturer", facts.manufacturer);
        Json_addText(decoded, "product", facts.product);
        Json_addText(decoded, "serial", facts.serial);
        Json_addText(decoded, "made", facts.made);
        Json_addTextOrNull(decoded, "preferred_mode", facts.preferredMode);
        Json_addTruth(decoded, "checksum_is_right", facts.checksumIsRight);
    } else {
        Json_addNull(root.get(), "decoded");
    }
    if (confirmed) {
        Json_addTruth(root.get(), "confirmed", *confirmed);
    }
    return Printable_json(Json_print(root.get()));
}

}  // namespace avoip::gw
