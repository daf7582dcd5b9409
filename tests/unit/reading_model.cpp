#include "reading_model.hpp"

#include <algorithm>
#include <utility>

#include "lib/catalogue/arguments.hpp"

namespace model {

namespace {

constexpr double kSilence_s = 0.5;
constexpr double kPatience_s = 3;
constexpr double kEdidPatience_s = 5;

bool isFor(const avoip::Command& command, const Device& device) {
    const avoip::DeviceKind kind = command.exchange.kind == avoip::ExchangeKind::kListing
                                       ? command.lists
                                       : command.arguments.front().device;
    return kind == avoip::DeviceKind::kAny ||
           device.type == (kind == avoip::DeviceKind::kEncoder ? "TX" : "RX");
}

avoip::Reply answered(const avoip::Request& request, avoip::End end) {
    avoip::Reply reply{end, avoip::Arguments_consoleText(*request.command, request.values)};
    reply.answer.readable = true;
    reply.answer.status = end == avoip::End::kSuccess ? "success" : "failure";
    return reply;
}

/// The row of an answer: what the daemon repeats is as it was asked, the rest as the device says
/// it.
avoip::Row rowOf(const avoip::Request& request, const Reply& said) {
    const bool listing = request.command->exchange.kind == avoip::ExchangeKind::kListing;
    const bool own = listing || request.command->witness == avoip::Witness::kIdentity;
    avoip::Row row;
    for (const avoip::Member& member : request.command->shape.members) {
        if (member.key == request.command->shape.device) {
            row.push_back(own ? said.device : request.values.front());
        } else if (member.key == "devmac") {
            row.push_back(said.mac);
        } else {
            row.push_back(said.value);
        }
    }
    return row;
}

}  // namespace

std::string Daemon::valueOf(const Device& device, const avoip::Command& command) {
    const auto said = device.said.find(command.text);
    return said != device.said.end() ? said->second
                                     : device.identity + " " + std::string(command.text) + " #" +
                                           std::to_string(device.version);
}

Device& Daemon::find(std::string_view identity) {
    const auto found = std::ranges::find(devices, identity, &Device::identity);
    return found != devices.end()
               ? *found
               : devices.emplace_back(Device{std::string(identity), "?", "", 0.001, 0, true, {}});
}

void Daemon::sendStray(const avoip::Command& command, const Device& device, double later_s) {
    arrive({now_s_ + later_s, std::string(command.text), false, false, device.identity, device.mac,
            valueOf(device, command)});
}

avoip::Reply Daemon::ask(const avoip::Request& request) {
    asked.push_back(avoip::Arguments_consoleText(*request.command, request.values));
    return request.command->exchange.kind == avoip::ExchangeKind::kListing ? list(request)
                                                                           : read(request);
}

void Daemon::send(const avoip::Command& command, Device& device) {
    if (device.silent || !isFor(command, device)) {
        return;
    }
    const bool listing = command.exchange.kind == avoip::ExchangeKind::kListing;
    Reply reply;
    reply.text = listing ? std::string(avoip::Catalogue_listing().text) : std::string(command.text);
    reply.device = device.identity;
    reply.mac = device.mac;
    reply.value = listing ? device.type : valueOf(device, command);
    // A device replies in the order in which it was asked.
    double& last_s = lastArrival_s_[device.identity];
    last_s = std::max(last_s, now_s_ + device.latency_s * (0.5 + fraction()));
    reply.arrives_s = last_s;
    const auto fault = faults.find(replies++);
    if (fault == faults.end()) {
        arrive(reply);
        return;
    }
    switch (fault->second) {
        case Fault::kLost:
            break;
        case Fault::kLate:
            reply.arrives_s = now_s_ + kEdidPatience_s + fraction() * 4;
            if (fraction() < 0.7) {
                reply.arrives_s -= kEdidPatience_s - kPatience_s;
            }
            arrive(reply);
            break;
        case Fault::kDoubled:
            arrive(reply);
            reply.arrives_s += fraction() < 0.5 ? 0 : fraction() * 5;
            arrive(reply);
            break;
        case Fault::kForeign:
            arrive(reply);
            sendForeign(command, device, now_s_ + fraction() * (fraction() < 0.7 ? 0.002 : 2));
            break;
    }
}

void Daemon::sendForeign(const avoip::Command& command, const Device& device, double arrives_s) {
    const auto commands = avoip::Catalogue_commands();
    Reply reply;
    reply.arrives_s = arrives_s;
    // As a rule of the same kind, which is the worst, from another device or from this one.
    const avoip::Command* kind = fraction() < 0.7 ? &command : &commands[below(commands.size())];
    const Device& sender = fraction() < 0.8 ? devices[below(devices.size())] : device;
    reply.text = kind->text;
    reply.device = sender.identity;
    reply.mac = sender.mac;
    reply.value = "foreign";
    reply.refused = fraction() < 0.1;
    reply.garbage = fraction() < 0.1;
    arrive(reply);
}

bool Daemon::receive(double within_s, Reply& reply) {
    if (socket_.empty() || socket_.begin()->first > now_s_ + within_s) {
        now_s_ += within_s;
        return false;
    }
    now_s_ = std::max(now_s_, socket_.begin()->first);
    reply = std::move(socket_.begin()->second);
    socket_.erase(socket_.begin());
    return true;
}

avoip::Reply Daemon::list(const avoip::Request& request) {
    for (Device& device : devices) {
        send(*request.command, device);
    }
    avoip::Reply result = answered(request, avoip::End::kSuccess);
    for (Reply reply; receive(kSilence_s, reply);) {
        const bool right = reply.text == avoip::Catalogue_listing().text && !reply.refused;
        if (right && !reply.garbage) {
            result.answer.rows.push_back(rowOf(request, reply));
        }
    }
    return result;
}

avoip::Reply Daemon::read(const avoip::Request& request) {
    send(*request.command, find(request.values.front()));
    const double patience_s =
        request.command->shape.key == "rxedid" ? kEdidPatience_s : kPatience_s;
    for (Reply reply; receive(patience_s, reply);) {
        if (reply.garbage) {
            continue;
        }
        if (reply.refused || reply.text != request.command->text) {
            break;
        }
        avoip::Reply result = answered(request, avoip::End::kSuccess);
        result.answer.rows = {rowOf(request, reply)};
        return result;
    }
    return answered(request, avoip::End::kFailure);
}

}  // namespace model
