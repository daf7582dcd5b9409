#include "soak/lines.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace soak {

namespace {

constexpr std::size_t kLongestEcho = 127;

/// A request: its "cmd", the device it names, and what stands beside "request".
struct Sent {
    std::string_view cmd{};
    std::string_view id{};
    std::string_view members{};
};

/// A command that only sends. "$" stands for an identity of its own.
struct OneWay {
    std::string_view line;
    std::string_view success;
    std::string_view failure;
    Sent first;
    Sent second{};
};

constexpr std::string_view kAlias = "config set device alias";
constexpr std::string_view kNoAlias = "config remove device alias";
constexpr std::string_view kTxParams = "config set tx params";
constexpr std::string_view kRxParams = "config set rx params";
constexpr std::string_view kTxEdid = "config set tx edid";
constexpr std::string_view kNetParams = "config set net params";
constexpr std::string_view kSerialSet = "serial matrix set";

constexpr OneWay kOneWays[] = {
    {"config set device alias $ Room",
     kAlias,
     kAlias,
     {"config set alias", "$", R"(,"alias":{"name":"Room"})"}},
    {"config remove device alias $", kNoAlias, kNoAlias, {"config remove alias", "$"}},
    {"config set tx params $ H265 1920x1080 25 VBR 8000 hdmi AAC 48000 256",
     kTxParams,
     kTxParams,
     {kTxParams, "$",
      R"(,"txparams":{"enctype":"H265","encres":"1920x1080","fps":"25","ratecontrol":"VBR",)"
      R"("bitrate":"8000","audioinput":"hdmi","audiocodec":"AAC","audiofreq":"48000",)"
      R"("audiobitrate":"256"})"}},
    {"config set rx params $ 40 50 60 70 2",
     kTxParams,
     kRxParams,
     {kRxParams, "$",
      R"(,"rxparams":{"luma":"40","contrast":"50","hue":"60","saturation":"70",)"
      R"("videoformat":"2"})"}},
    {"config set tx edid $ 00FFFFFFFFFFFF00",
     kTxEdid,
     kTxEdid,
     {"edid set", "$", R"(,"txedid":{"edid":"AP///////wA="})"}},
    {"config set net params $ 1 1 10.77.1.77 255.255.0.0 10.77.0.1",
     kNetParams,
     kNetParams,
     {kNetParams, "$",
      R"(,"netparams":{"hdcpserver":"1","static":"1","devaddr":"10.77.1.77",)"
      R"("devnetmask":"255.255.0.0","devgateway":"10.77.0.1","devmac":""})"}},
    {"matrix all set $",
     "matrix all set",
     "matrix all set",
     {"matrix set", "All_RX", R"(,"rxsource":{"txid":"$"})"}},
    {"matrix set $ RX-0001",
     "matrix sets",
     "matrix set",
     {"matrix set", "RX-0001", R"(,"rxsource":{"txid":"$"})"}},
    {"matrix clear $", "matrix clear", "matrix clear", {"matrix clear", "$"}},
    {"serial set params $ 9600 7 even 2",
     "serial set params",
     "serial set params",
     {"serial set params", "$",
      R"(,"serialparams":{"baudrate":"9600","databits":"7","parity":"even","stopbits":"2"})"}},
    {"serial matrix set $ RX-0001",
     kSerialSet,
     kSerialSet,
     {kSerialSet, "RX-0001", R"(,"serialsource":{"txid":"$"})"},
     {kSerialSet, "$", R"(,"serialsource":{"txid":"RX-0001"})"}},
    {"serial matrix all set $",
     "serial matrix all set",
     "serial matrix all set",
     {kSerialSet, "All", R"(,"serialsource":{"txid":"$"})"},
     {kSerialSet, "$", R"(,"serialsource":{"txid":"All"})"}},
    {"serial matrix clear $",
     "serial matrix clear",
     "serial matrix clear",
     {"serial matrix clear", "$"}},
    {"serial data $ 48656C6C6F",
     "serial data",
     "serial data",
     {"serial data", "$", R"(,"data":"SGVsbG8=")"}},
    {"ir matrix set $ RX-0001",
     "ir matrix set",
     "ir matrix set",
     {"ir matrix set", "RX-0001", R"(,"irsource":{"txid":"$"})"}},
    {"ir matrix clear $", "ir matrix clear", "ir matrix clear", {"ir matrix clear", "$"}},
    {"vw set 3840 1080 0 0 1 0 1920 0 $ RX-0002",
     "vw set",
     "vw set",
     {"vw set", "RX-0002",
      R"(,"vwsource":{"txid":"$","deviceid":"RX-0002","wigth":"3840","height":"1080",)"
      R"("horcut":"0","vercut":"0","row":"0","column":"1","x":"1920","y":"0"})"}},
    {"vw remove $", "vw remove", "vw remove", {"vw remove", "$"}},
    {"device showme $", "device showme", "device showme", {"device showme", "$"}},
    {"device reboot $", "device reboot", "device reboot", {"device reboot", "$"}},
    {"device factory $", "device factory", "device factory", {"device factory", "$"}},
};

/// A command that asks one device.
struct Reading {
    std::string_view name;
    std::string_view failure;
    bool ofDecoder;
    std::string_view cmd;
    std::string_view data;
};

constexpr Reading kReadings[] = {
    {"config get tx params", "config get tx params", false, "config get tx params", "txparamsinfo"},
    {"config get rx params", "config get rx params", true, "config get rx params", "rxparamsinfo"},
    {"config get net params", kNetParams, false, "config get net params", "netparamsinfo"},
    {"config get rx edid", "config get rx edid", true, "edid get", "rxedid"},
    {"matrix get", "matrix get", true, "matrix get", "rxsource"},
    {"serial get params", "serial get params", false, "serial get params", "serialparams"},
    {"serial matrix get", "serial matrix get", true, "serial matrix get", "serialsource"},
    {"ir matrix get", "ir matrix get", true, "ir matrix get", "irsource"},
};

struct Listing {
    std::string_view name;
    std::string_view group;
};

constexpr Listing kListings[] = {
    {"config get devices", "All"},
    {"config get encoders", "All_TX"},
    {"config get decoders", "All_RX"},
};

std::string filled(std::string_view pattern, const std::string& id) {
    std::string text(pattern);
    const std::size_t place = text.find('$');
    return place == std::string::npos ? text : text.replace(place, 1, id);
}

std::string requestText(const Sent& sent, const std::string& id) {
    return R"({"request":{"cmd":")" + std::string(sent.cmd) +
           R"(","hostid":"001122aabbcc","device":[{"id":")" + filled(sent.id, id) + R"("}]})" +
           filled(sent.members, id) + "}";
}

std::string answerText(std::string_view cmd, std::string_view status) {
    return R"({"ack":{"cmd":")" + std::string(cmd) + R"(","status":")" + std::string(status) +
           R"("}})";
}

/// A success answer up to its data.
std::string answerWith(std::string_view cmd, std::string_view data) {
    std::string text = answerText(cmd, "success");
    text.pop_back();
    return text + ",\"" + std::string(data) + "\":[";
}

std::string deviceId(const char* kind, int number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%s-%04d", kind, number);
    return text.data();
}

std::string numbered(const char* before, std::uint64_t number) {
    return before + std::to_string(number);
}

}  // namespace

std::string encoderId(int number) {
    return deviceId("TX", number);
}

std::string decoderId(int number) {
    return deviceId("RX", number);
}

Line oneWayLine(Random& random, std::uint64_t number) {
    const OneWay& way = kOneWays[random.below(std::size(kOneWays))];
    const std::string id = numbered("s", number);
    Line line{.text = filled(way.line, id) + "!",
              .datagrams = {requestText(way.first, id)},
              .success = answerText(way.success, "success"),
              .failure = answerText(way.failure, "failure")};
    if (!way.second.cmd.empty()) {
        line.datagrams.push_back(requestText(way.second, id));
    }
    return line;
}

Line readingLine(Random& random) {
    const Reading& reading = kReadings[random.below(std::size(kReadings))];
    const auto device = static_cast<int>(random.between(1, kDecoders));
    const std::string id = reading.ofDecoder ? decoderId(device) : encoderId(device);
    return {.text = std::string(reading.name) + " " + id + "!",
            .datagrams = {requestText({reading.cmd, id}, "")},
            .success = answerWith(reading.name, reading.data),
            .hasData = true,
            .data = std::string(reading.data),
            .device = id,
            .failure = answerText(reading.failure, "failure"),
            .ending = Ending::kEither};
}

Line unansweredLine(std::uint64_t number) {
    const std::string id = numbered("nobody", number);
    return {.text = "matrix get " + id + "!",
            .datagrams = {requestText({"matrix get", id}, "")},
            .success = {},
            .failure = answerText("matrix get", "failure"),
            .ending = Ending::kFails};
}

Line listingLine(Random& random) {
    const Listing& listing = kListings[random.below(std::size(kListings))];
    return {.text = std::string(listing.name) + "!",
            .datagrams = {requestText({"config get device", listing.group}, "")},
            .success = answerWith(listing.name, "devicelist"),
            .hasData = true,
            .data = "devicelist",
            .failure = answerText(listing.name, "failure")};
}

Line unknownLine(std::uint64_t number) {
    const std::string text = numbered("no command ", number) + "!";
    return {.text = text,
            .datagrams = {},
            .success = {},
            .failure = unknownAnswer(text),
            .ending = Ending::kFails};
}

Line uploadLine(int encoder, const std::string& image) {
    constexpr std::string_view kName = "update device encoder";
    return {.text = std::string(kName) + " " + encoderId(encoder) + " " + image + "!",
            .datagrams = {requestText({"config get device", "All_TX"}, "")},
            .success = answerText(kName, "success"),
            .failure = answerText(kName, "failure"),
            .ending = Ending::kEither};
}

bool isRightAnswer(const Line& line, std::string_view answer, bool devicesCanBeReached) {
    const bool mayFail = line.ending != Ending::kSucceeds || !devicesCanBeReached;
    const bool maySucceed = line.ending != Ending::kFails && devicesCanBeReached;
    const bool succeeded = line.hasData ? answer.starts_with(line.success) && answer.ends_with("]}")
                                        : answer == line.success;
    return (maySucceed && succeeded) || (mayFail && answer == line.failure);
}

std::string unknownAnswer(std::string_view text) {
    return answerText(text.substr(0, kLongestEcho), "failure");
}

std::vector<std::string> linesIn(std::string_view bytes) {
    std::vector<std::string> lines;
    while (true) {
        const std::size_t mark = bytes.substr(0, kLongestLine).find('!');
        const std::size_t size = mark == std::string_view::npos ? kLongestLine : mark + 1;
        if (size > bytes.size()) {
            return lines;
        }
        std::string line(bytes.substr(0, size));
        bytes.remove_prefix(size);
        line.resize(std::min(line.find('\0'), line.size()));
        line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
        std::erase_if(line, [](char each) { return each == '\r' || each == '\n'; });
        if (line.find("exit") != std::string::npos) {
            return lines;
        }
        lines.push_back(line);
    }
}

}  // namespace soak
