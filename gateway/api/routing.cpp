// Routes and video walls.
#include "gateway/api/handlers.hpp"
#include "gateway/api/json_body.hpp"
#include "gateway/api/limit.hpp"
#include "gateway/operations/routes.hpp"
#include "gateway/operations/walls.hpp"
#include "gateway/state/json.hpp"

namespace avoip::gw::handlers {
namespace {

Response route(Gateway& gateway, Call& call, const std::string& encoder) {
    const auto kind = RouteKind_find(call.parts.at(0));
    if (!kind) {
        throw unknown("kind of route", call.parts.at(0));
    }
    call.target = call.parts[0] + "/" + call.parts.at(1);
    call.detail = encoder;
    const RouteWish wish{*kind, call.parts[1], encoder};
    RouteOrder order;
    order.routes.at(static_cast<std::size_t>(*kind))[wish.decoder] = encoder;
    Limit_checkRoutes(gateway, call.caller, order);
    return Response_json(
        RouteResult_json(take(Routes_set(gateway.operations, actorOf(call), wish))));
}

std::string wallText(Gateway& gateway, const std::string& name) {
    return gateway.state.with([&name](const State& state) {
        const auto found = state.walls.find(name);
        if (found == state.walls.end()) {
            throw unknown("wall", name);
        }
        return Wall_json(found->second);
    });
}

}  // namespace

Response routes(Gateway& gateway, Call& call) {
    return Response_json(gateway.state.with([&call](const State& state) {
        return Routes_text(state, Limit_of(state, call.caller).devices);
    }));
}

Response setRoute(Gateway& gateway, Call& call) {
    const Json body = Body_parse(call.body);
    return route(gateway, call, take(RouteWish_readEncoder(body.get())));
}

Response clearRoute(Gateway& gateway, Call& call) {
    return route(gateway, call, "");
}

Response setRoutes(Gateway& gateway, Call& call) {
    const Json body = Body_parse(call.body);
    const RouteOrder order = take(RouteOrder_read(body.get()));
    call.detail = Json_print(body.get());
    Limit_checkRoutes(gateway, call.caller, order);
    return Response_json(
        RouteResults_json(take(Routes_setMany(gateway.operations, actorOf(call), order))));
}

Response walls(Gateway& gateway, Call& /*call*/) {
    return Response_json(gateway.state.with([](const State& state) { return Walls_text(state); }));
}

Response wall(Gateway& gateway, Call& call) {
    return Response_json(wallText(gateway, call.parts.at(0)));
}

Response putWall(Gateway& gateway, Call& call) {
    checkName(call);
    const Json body = Body_parse(call.body);
    const Wall wanted = take(Wall_readBody(call.parts.at(0), body.get()));
    const bool isNew = take(Walls_put(gateway.operations, actorOf(call), wanted));
    return Response_json(wallText(gateway, wanted.name), isNew ? 201 : 200);
}

Response removeWall(Gateway& gateway, Call& call) {
    take(Walls_remove(gateway.operations, actorOf(call), call.parts.at(0)));
    return Response_empty();
}

}  // namespace avoip::gw::handlers
