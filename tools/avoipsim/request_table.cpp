#include "avoipsim/request_table.hpp"

#include <span>
#include <string_view>

#include "lib/wire/wire.hpp"

namespace avoip::sim {
namespace {

std::string code(std::string_view word) {
    return "`" + std::string(word) + "`";
}

std::string codes(std::span<const std::string_view> words) {
    std::string text;
    for (const std::string_view word : words) {
        text.append(text.empty() ? "" : " ").append(code(word));
    }
    return text;
}

std::string_view forWhom(WireDevices devices) {
    switch (devices) {
        case WireDevices::kAny:
            break;
        case WireDevices::kEncoders:
            return "encoders";
        case WireDevices::kDecoders:
            return "decoders";
    }
    return "all";
}

std::string_view waitsFor(WireExchange exchange) {
    switch (exchange) {
        case WireExchange::kOneWay:
            break;
        case WireExchange::kSingleReply:
            return "a reply";
        case WireExchange::kCollecting:
            return "replies";
    }
    return "";
}

/// What stands beside "request", or beside "ack" of the reply.
std::string carried(const WireRequest& request) {
    const std::string record = code(request.record.key) + ": " + codes(request.record.fields);
    switch (request.act) {
        case WireAct::kReads:
            return "reply: " + record;
        case WireAct::kSets:
            return "request: " + record;
        case WireAct::kClears:
            return "empties " + record;
        case WireAct::kOrders:
        case WireAct::kUploads:
            break;
    }
    return request.texts.empty() ? "" : "request: " + codes(request.texts);
}

}  // namespace

std::string RequestTable_print() {
    std::string table =
        "| `cmd` | for | waits for | data | sent to groups too |\n"
        "|---|---|---|---|---|\n";
    for (const WireRequest& request : Wire_requests()) {
        table.append("| ").append(code(request.cmd)).append(" | ");
        table.append(forWhom(request.devices)).append(" | ");
        table.append(waitsFor(request.exchange)).append(" | ");
        table.append(carried(request)).append(" | ");
        table.append(codes(request.groups)).append(" |\n");
    }
    return table;
}

}  // namespace avoip::sim
