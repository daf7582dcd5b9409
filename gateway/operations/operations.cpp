#include "gateway/operations/operations.hpp"

#include "lib/catalogue/arguments.hpp"

namespace avoip::gw {

namespace {

constexpr int kRetryAfter_s = 2;

/// A text for people: whatever stands before it is the subject.
std::string sentence(const std::string& subject, const std::string& predicate) {
    return subject + " " + predicate + ".";
}

std::string orElse(const std::string& reason, const char* otherwise) {
    return reason.empty() ? otherwise : reason;
}

DeviceType typeOf(DeviceKind kind) {
    return kind == DeviceKind::kEncoder ? DeviceType::kEncoder : DeviceType::kDecoder;
}

/// How the console takes an identity that may stand at the end of a line.
constexpr Argument kIdentity{"id", ArgumentKind::kLastIdentity, "", ""};

}  // namespace

Problem Problem_of(const Reply& reply) {
    switch (reply.end) {
        case End::kRefused:
            return {422, orElse(reply.reason, "The console cannot carry this.")};
        case End::kNoDaemon:
            return {503, orElse(reply.reason, "The daemon is not there."), {}, kRetryAfter_s};
        case End::kNoTurn:
            return {503, orElse(reply.reason, "The daemon is busy."), {}, kRetryAfter_s};
        case End::kNoAnswer:
            return {504, orElse(reply.reason, "There was no answer in time.")};
        case End::kSuccess:
        case End::kFailure:
        case End::kOverwritten:
        case End::kUnreadable:
        case End::kUnverified:
            break;
    }
    return {502, orElse(reply.reason, "The daemon says failure.")};
}

std::optional<Problem> Problem_ofValue(const Argument& argument, const std::string& value,
                                       const std::string& field) {
    const std::string problem = Arguments_problem(argument, value);
    return problem.empty() ? std::nullopt
                           : std::optional(Problem{422, sentence("This", problem), field});
}

std::optional<Problem> Problem_ofDevice(const State& state, const std::string& id,
                                        DeviceKind wanted, const std::string& field) {
    if (auto problem = Problem_ofValue(kIdentity, id, field)) {
        return problem;
    }
    const Device* const device = State_device(state, id);
    if (device == nullptr) {
        return Problem{404, "No device \"" + id + "\" is known.", field};
    }
    if (wanted != DeviceKind::kAny && device->type != typeOf(wanted)) {
        return Problem{422,
                       "\"" + id + "\" is no " + std::string(DeviceType_name(typeOf(wanted))) + ".",
                       field};
    }
    return std::nullopt;
}

std::optional<Problem> Problem_ofLocks(const State& state, const Actor& actor,
                                       const std::set<std::string>& decoders) {
    std::string locked;
    for (const std::string& decoder : decoders) {
        const auto found = state.locks.find(decoder);
        const bool free = found == state.locks.end() || found->second.owner == actor.user ||
                          (actor.admin && actor.overrides);
        if (!free) {
            locked += (locked.empty() ? "" : ", ") + decoder + " by " + found->second.owner;
        }
    }
    return locked.empty() ? std::nullopt : std::optional(Problem{409, "Locked: " + locked + "."});
}

bool Reply_isSent(const Reply& reply) {
    return reply.succeeded() || reply.end == End::kOverwritten;
}

Outcome<Done> Operations_send(const Operations& operations, const Request& command) {
    const Reply reply =
        operations.asking.send(command, std::chrono::steady_clock::now() + kTurnPatience);
    return Reply_isSent(reply) ? Outcome<Done>(Done{}) : Outcome<Done>(Problem_of(reply));
}

}  // namespace avoip::gw
