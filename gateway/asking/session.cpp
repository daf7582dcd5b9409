#include "gateway/asking/session.hpp"

#include <array>

#include "lib/catalogue/shapes.hpp"

namespace avoip::gw {

namespace {

constexpr std::array<std::string_view, kRouteKinds> kRouteReads{"matrix get", "serial matrix get",
                                                                "ir matrix get"};

}  // namespace

const Command& RouteKind_read(RouteKind kind) {
    return *Catalogue_findText(kRouteReads.at(static_cast<std::size_t>(kind)));
}

std::optional<RouteKind> RouteKind_of(const Command& command) {
    for (const RouteKind kind : kAllRouteKinds) {
        if (command.text == kRouteReads.at(static_cast<std::size_t>(kind))) {
            return kind;
        }
    }
    return std::nullopt;
}

std::vector<DeviceReport> DeviceReports_of(const Answer& answer) {
    std::vector<DeviceReport> reports;
    for (const Row& row : answer.rows) {
        const auto said = [&](std::string_view key) {
            return Answer_member(shapes::kDeviceList, row, key);
        };
        reports.push_back({said("hostid"), said("devtype"), said("alias"), said("devaddr"),
                           said("devnetmask"), said("devgateway"), said("devmac"), said("status"),
                           said("version")});
    }
    return reports;
}

void Session_learn(Session& session, SharedState& state, std::span<const Request> reads,
                   const Batch& batch, Time now) {
    if (!batch.outcome.succeeded()) {
        return;
    }
    const std::string& device = reads.front().values.front();
    state.with([&](State& held) {
        State_heard(held, device, now);
        for (std::size_t i = 0; i < reads.size(); ++i) {
            const Command& command = *reads[i].command;
            if (const auto kind = RouteKind_of(command)) {
                const Row& row = batch.replies[i].answer.rows.front();
                State_routeSaid(held, *kind, device, Answer_member(command.shape, row, "txid"),
                                now);
                session.learned.emplace_back(device, *kind);
            }
        }
    });
}

}  // namespace avoip::gw
