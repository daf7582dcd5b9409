#include "lib/catalogue/catalogue.hpp"

#include <algorithm>

#include "lib/catalogue/rows.hpp"
#include "lib/catalogue/shapes.hpp"

namespace avoip {
namespace {

using namespace rows;

// How long to wait. The daemon sends at once where nothing is read back, collects until 500 ms
// pass without a reply, and waits 3 s (5 s for an EDID) for a single reply, anew for each datagram
// that it has to pass over. An upload waits up to 300 s for the last device, after the others have
// had their turn. All of it may have to wait for another front end's turn first.
constexpr Exchange kSending{ExchangeKind::kSending, 5'000};
constexpr Exchange kListing{ExchangeKind::kListing, 10'000};
constexpr Exchange kReading{ExchangeKind::kReading, 15'000};
constexpr Exchange kReadingEdid{ExchangeKind::kReading, 20'000};
constexpr Exchange kUpdating{ExchangeKind::kUpdating, 600'000};
constexpr Exchange kUpdatingAll{ExchangeKind::kUpdating, 3'600'000};

constexpr Group kGroups[] = {
    {"alias", "Name devices"},
    {"encoder", "Video and audio parameters of an encoder"},
    {"decoder", "Picture parameters of a decoder"},
    {"net", "Network parameters of a device"},
    {"edid", "The EDID that a decoder's screen has, and that encoders present"},
    {"matrix", "Which encoder's video a decoder shows"},
    {"serial", "Serial ports of devices"},
    {"serial-matrix", "Which encoder a decoder's serial port talks to"},
    {"ir-matrix", "Which encoder a decoder exchanges IR signals with"},
    {"wall", "Video walls"},
    {"update", "Firmware of devices"},
    {"device", "Maintenance of devices"},
};

constexpr Command kCommands[] = {
    {.group = "devices",
     .action = "",
     .text = "config get devices",
     .summary = "List all devices",
     .shape = shapes::kDeviceList,
     .exchange = kListing},
    {.group = "encoders",
     .action = "",
     .text = "config get encoders",
     .summary = "List the encoders",
     .shape = shapes::kDeviceList,
     .exchange = kListing,
     .lists = DeviceKind::kEncoder},
    {.group = "decoders",
     .action = "",
     .text = "config get decoders",
     .summary = "List the decoders",
     .shape = shapes::kDeviceList,
     .exchange = kListing,
     .lists = DeviceKind::kDecoder},
    {.group = "alias",
     .action = "set",
     .text = "config set device alias",
     .arguments = kAliasSet,
     .summary = "Name a device",
     .exchange = kSending,
     .askedBack = {"config get devices", 0, kAliasIs}},
    {.group = "alias",
     .action = "remove",
     .text = "config remove device alias",
     .arguments = kDeviceOnly,
     .summary = "Take a device's name away",
     .exchange = kSending,
     .askedBack = {"config get devices", 0, kAliasIsGone}},
    {.group = "encoder",
     .action = "get",
     .text = "config get tx params",
     .arguments = kEncoderOnly,
     .summary = "Show an encoder's parameters",
     .shape = shapes::kEncoderParams,
     .exchange = kReading,
     .witness = Witness::kIdentity},
    {.group = "encoder",
     .action = "set",
     .text = "config set tx params",
     .arguments = kEncoderSet,
     .summary = "Change an encoder's parameters",
     .exchange = kSending,
     .askedBack = {"config get tx params", 0, kEncoderIs}},
    {.group = "decoder",
     .action = "get",
     .text = "config get rx params",
     .arguments = kDecoderOnly,
     .summary = "Show a decoder's parameters",
     .shape = shapes::kDecoderParams,
     .exchange = kReading,
     .witness = Witness::kIdentity},
    {.group = "decoder",
     .action = "set",
     .text = "config set rx params",
     .arguments = kDecoderSet,
     .summary = "Change a decoder's parameters",
     .exchange = kSending,
     .successName = "config set tx params",
     .askedBack = {"config get rx params", 0, kDecoderIs}},
    {.group = "net",
     .action = "get",
     .text = "config get net params",
     .arguments = kDeviceOnly,
     .summary = "Show a device's network parameters",
     .shape = shapes::kNetParams,
     .exchange = kReading,
     .failureName = "config set net params",
     .witness = Witness::kMac},
    {.group = "net",
     .action = "set",
     .text = "config set net params",
     .arguments = kNetSet,
     .summary = "Change a device's network parameters",
     .exchange = kSending,
     .askedBack = {"config get net params", 0, kNetIs}},
    {.group = "edid",
     .action = "get",
     .text = "config get rx edid",
     .arguments = kDecoderOnly,
     .summary = "Show the EDID of a decoder's screen",
     .shape = shapes::kEdid,
     .exchange = kReadingEdid},
    {.group = "edid",
     .action = "set",
     .text = "config set tx edid",
     .arguments = kEncoderEdid,
     .summary = "Give an encoder an EDID",
     .exchange = kSending},
    {.group = "edid",
     .action = "set-all",
     .text = "config set all edid",
     .arguments = kEdidOnly,
     .summary = "Give all encoders one EDID",
     .exchange = kSending,
     .everyone = true},
    {.group = "matrix",
     .action = "get",
     .text = "matrix get",
     .arguments = kDecoderOnly,
     .summary = "Show which encoder a decoder shows",
     .shape = shapes::kVideoRoute,
     .exchange = kReading},
    {.group = "matrix",
     .action = "set-all",
     .text = "matrix all set",
     .arguments = kEncoderOnly,
     .summary = "Route an encoder's video to all decoders",
     .exchange = kSending,
     .everyone = true,
     .askedBack = {"matrix get", kEveryDecoder, kRouteIs}},
    {.group = "matrix",
     .action = "set",
     .text = "matrix set",
     .arguments = kRoute,
     .summary = "Route an encoder's video to a decoder",
     .exchange = kSending,
     .successName = "matrix sets",
     .askedBack = {"matrix get", 1, kRouteIs}},
    {.group = "matrix",
     .action = "clear",
     .text = "matrix clear",
     .arguments = kDecoderOnly,
     .summary = "Remove a decoder's video route",
     .exchange = kSending,
     .askedBack = {"matrix get", 0, kRouteIsGone}},
    {.group = "serial",
     .action = "get",
     .text = "serial get params",
     .arguments = kDeviceOnly,
     .summary = "Show a serial port's parameters",
     .shape = shapes::kSerialParams,
     .exchange = kReading},
    {.group = "serial",
     .action = "set",
     .text = "serial set params",
     .arguments = kSerialSet,
     .summary = "Change a serial port's parameters",
     .exchange = kSending,
     .askedBack = {"serial get params", 0, kSerialIs}},
    {.group = "serial-matrix",
     .action = "get",
     .text = "serial matrix get",
     .arguments = kDecoderOnly,
     .summary = "Show a decoder's serial route",
     .shape = shapes::kSerialRoute,
     .exchange = kReading},
    {.group = "serial-matrix",
     .action = "set-all",
     .text = "serial matrix all set",
     .arguments = kEncoderOnly,
     .summary = "Route an encoder's serial port to all devices",
     .exchange = kSending,
     .everyone = true,
     .askedBack = {"serial matrix get", kEveryDecoder, kRouteIs}},
    {.group = "serial-matrix",
     .action = "set",
     .text = "serial matrix set",
     .arguments = kRoute,
     .summary = "Route an encoder's serial port to a decoder",
     .exchange = kSending,
     .askedBack = {"serial matrix get", 1, kRouteIs}},
    {.group = "serial-matrix",
     .action = "clear-all",
     .text = "serial matrix all clear",
     .summary = "Remove all serial routes",
     .exchange = kSending,
     .everyone = true,
     .failureName = "serial matrix clear",
     .askedBack = {"serial matrix get", kEveryDecoder, kRouteIsGone}},
    {.group = "serial-matrix",
     .action = "clear",
     .text = "serial matrix clear",
     .arguments = kDeviceOnly,
     .summary = "Remove a device's serial route",
     .exchange = kSending,
     .askedBack = {"serial matrix get", 0, kRouteIsGone}},
    {.group = "serial",
     .action = "send",
     .text = "serial data",
     .arguments = kSerialData,
     .summary = "Send bytes out of a device's serial port",
     .exchange = kSending},
    {.group = "ir-matrix",
     .action = "get",
     .text = "ir matrix get",
     .arguments = kDecoderOnly,
     .summary = "Show a decoder's IR route",
     .shape = shapes::kIrRoute,
     .exchange = kReading},
    {.group = "ir-matrix",
     .action = "set",
     .text = "ir matrix set",
     .arguments = kRoute,
     .summary = "Route an encoder's IR signals to a decoder",
     .exchange = kSending,
     .askedBack = {"ir matrix get", 1, kRouteIs}},
    {.group = "ir-matrix",
     .action = "clear",
     .text = "ir matrix clear",
     .arguments = kDecoderOnly,
     .summary = "Remove a decoder's IR route",
     .exchange = kSending,
     .askedBack = {"ir matrix get", 0, kRouteIsGone}},
    {.group = "wall",
     .action = "set",
     .text = "vw set",
     .arguments = kWallSet,
     .summary = "Make a decoder show one tile of a video wall",
     .exchange = kSending},
    {.group = "wall",
     .action = "remove",
     .text = "vw remove",
     .arguments = kDecoderOnly,
     .summary = "Take a decoder out of its video wall",
     .exchange = kSending},
    {.group = "update",
     .action = "all-encoders",
     .text = "update all encoders",
     .arguments = kImageOnly,
     .summary = "Push a firmware image to all encoders",
     .exchange = kUpdatingAll,
     .everyone = true},
    {.group = "update",
     .action = "encoder",
     .text = "update device encoder",
     .arguments = kEncoderImage,
     .summary = "Push a firmware image to an encoder",
     .exchange = kUpdating},
    {.group = "update",
     .action = "all-decoders",
     .text = "update all decoders",
     .arguments = kImageOnly,
     .summary = "Push a firmware image to all decoders",
     .exchange = kUpdatingAll,
     .everyone = true},
    {.group = "update",
     .action = "decoder",
     .text = "update device decoder",
     .arguments = kDecoderImage,
     .summary = "Push a firmware image to a decoder",
     .exchange = kUpdating},
    {.group = "device",
     .action = "showme",
     .text = "device showme",
     .arguments = kDeviceOnly,
     .summary = "Make a device show where it is",
     .exchange = kSending},
    {.group = "device",
     .action = "reboot-all",
     .text = "device all reboot",
     .summary = "Reboot all devices",
     .exchange = kSending,
     .everyone = true},
    {.group = "device",
     .action = "reboot",
     .text = "device reboot",
     .arguments = kDeviceOnly,
     .summary = "Reboot a device",
     .exchange = kSending},
    {.group = "device",
     .action = "factory",
     .text = "device factory",
     .arguments = kDeviceOnly,
     .summary = "Return a device to its factory settings",
     .exchange = kSending},
};

// Texts of no command that the daemon takes for one all the same: the name of their answer is not
// the text.
struct OddText {
    std::string_view text;
    std::string_view name;
};
constexpr OddText kOddTexts[] = {
    {"vw add get", "vw add "},
    {"config set net param", "config set net params"},
};

}  // namespace

std::span<const Command> Catalogue_commands() {
    return kCommands;
}

std::span<const Group> Catalogue_groups() {
    return kGroups;
}

const Command* Catalogue_find(std::string_view group, std::string_view action) {
    const auto* const found = std::ranges::find_if(kCommands, [&](const Command& command) {
        return command.group == group && command.action == action;
    });
    return found == std::end(kCommands) ? nullptr : found;
}

const Command* Catalogue_findText(std::string_view line) {
    const Command* longest = nullptr;
    for (const Command& command : kCommands) {
        if (line.starts_with(command.text) &&
            (longest == nullptr || command.text.size() > longest->text.size())) {
            longest = &command;
        }
    }
    return longest;
}

const Command* Catalogue_commandOf(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const Command* const command = Catalogue_findText(line);
    const bool whole = command != nullptr && command->exchange.kind == ExchangeKind::kListing;
    return whole && line.substr(command->text.size()) != "!" ? nullptr : command;
}

const Command& Catalogue_listing() {
    return *Catalogue_findText("config get devices");
}

std::string_view Catalogue_successName(const Command& command) {
    return command.successName.empty() ? command.text : command.successName;
}

std::string_view Catalogue_failureName(const Command& command) {
    return command.failureName.empty() ? command.text : command.failureName;
}

AnswerNames Catalogue_answerNames(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (const Command* const command = Catalogue_commandOf(line)) {
        return {Catalogue_successName(*command), Catalogue_failureName(*command)};
    }
    for (const OddText& odd : kOddTexts) {
        if (line.starts_with(odd.text)) {
            return {odd.name, odd.name};
        }
    }
    return {line, line};
}

}  // namespace avoip
