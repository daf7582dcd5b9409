// Orders of routes and their results as JSON.
#include <utility>

#include "gateway/operations/body.hpp"
#include "gateway/operations/routes.hpp"
#include "lib/base/json.hpp"
#include "lib/base/printable.hpp"

namespace avoip::gw {

namespace {

/// Whether this is {"all":...}.
bool isForAll(const cJSON* member) {
    return Json_find(member, "all") != nullptr;
}

Outcome<std::string> readAll(const cJSON* member, RouteKind kind, const std::string& path) {
    constexpr std::string_view kMembers[] = {"all"};
    Body body(member, path);
    body.only(kMembers);
    const auto encoder = body.text("all");
    if (encoder && encoder->empty()) {
        body.blame("all", "This must be the id of an encoder, or null.");
    }
    if (kind == RouteKind::kIr) {
        body.blame("all", "The daemon has no command for the infrared of all decoders.");
    }
    return body.outcome(encoder.value_or(""));
}

}  // namespace

Outcome<RouteOrder> RouteOrder_read(const cJSON* body) {
    Body read(body);
    read.only(kRouteKindNames);
    RouteOrder order;
    for (const cJSON* member : Json_items(body)) {
        const std::string name(Json_key(member));
        const auto kind = RouteKind_find(name);
        if (!kind) {
            continue;
        }
        const auto place = static_cast<std::size_t>(*kind);
        if (isForAll(member)) {
            const auto all = readAll(member, *kind, name + ".");
            read.take(all);
            order.all.at(place) = all.succeeded() ? all.value() : "";
        } else {
            const auto map = RouteMap_read(member, name + ".");
            read.take(map);
            order.routes.at(place) = map.succeeded() ? map.value() : ByName<std::string>{};
        }
    }
    return read.outcome(std::move(order));
}

Outcome<std::string> RouteWish_readEncoder(const cJSON* body) {
    constexpr std::string_view kMembers[] = {"encoder"};
    Body read(body);
    read.only(kMembers);
    const auto encoder = read.text("encoder");
    if (!encoder || encoder->empty()) {
        read.blame("encoder", "This must be the id of an encoder.");
    }
    return read.outcome(encoder.value_or(""));
}

std::string RouteResult_json(const RouteResult& result) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "decoder", result.wish.decoder);
    Json_addTextOrNull(root.get(), "encoder", result.wish.encoder);
    Json_addTruth(root.get(), "confirmed", result.confirmed);
    return Printable_json(Json_print(root.get()));
}

std::string RouteResults_json(const std::vector<RouteResult>& results) {
    const Json root = Json_newObject();
    cJSON* const array = Json_addArray(root.get(), "results");
    for (const RouteResult& result : results) {
        cJSON* const item = Json_appendObject(array);
        Json_addText(item, "kind", RouteKind_name(result.wish.kind));
        Json_addText(item, "decoder", result.wish.decoder);
        Json_addTextOrNull(item, "encoder", result.wish.encoder);
        Json_addTruth(item, "ok", result.ok);
        Json_addTruth(item, "confirmed", result.confirmed);
        Json_addTextOrNull(item, "problem", result.problem);
    }
    return Printable_json(Json_print(root.get()));
}

}  // namespace avoip::gw
