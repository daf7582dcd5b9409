// What the handlers share.
#include "gateway/api/handlers.hpp"
#include "gateway/base/text.hpp"
#include "lib/base/json.hpp"

namespace avoip::gw::handlers {

void check(const Body& body) {
    if (body.problem()) {
        throw *body.problem();
    }
}

void checkName(const Call& call) {
    const std::string problem = Text_nameProblem(call.parts.at(0));
    if (!problem.empty()) {
        throw Problem{422, "The name " + problem + ".", "name"};
    }
}

Actor actorOf(const Call& call) {
    Actor actor;
    actor.user = call.caller.name.value_or("");
    actor.admin = call.caller.role == Role::kAdmin;
    actor.overrides = actor.admin && flag(call, "override").value_or(false);
    return actor;
}

std::optional<bool> flag(const Call& call, std::string_view name) {
    const auto found = call.query.find(name);
    if (found == call.query.end()) {
        return std::nullopt;
    }
    if (found->second != "true" && found->second != "false") {
        throw Problem{422, std::string(name) + " must be true or false.", std::string(name)};
    }
    return found->second == "true";
}

std::string collection(Gateway& gateway, std::string_view name,
                       const std::vector<std::string>& rows) {
    std::string text = gateway.state.with([](const State& state) {
        return "{\"epoch\":\"" + state.epoch + "\",\"revision\":" + std::to_string(state.revision);
    });
    text.append(",\"").append(name).append("\":[");
    for (const std::string& row : rows) {
        text.append(&row == rows.data() ? "" : ",").append(row);
    }
    return text.append("]}");
}

Problem unknown(std::string_view what, const std::string& name) {
    return {404, "There is no " + std::string(what) + " \"" + name + "\"."};
}

}  // namespace avoip::gw::handlers
