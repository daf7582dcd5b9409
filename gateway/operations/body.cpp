#include "gateway/operations/body.hpp"

#include <algorithm>
#include <utility>

#include "lib/base/json.hpp"

namespace avoip::gw {

namespace {

constexpr int kUnacceptable = 422;

}  // namespace

Body::Body(const cJSON* object, std::string path) : object_(object), path_(std::move(path)) {
    if (!Json_isObject(object_)) {
        problem_ = Problem{kUnacceptable, "This must be a JSON object.",
                           path_.empty() ? "" : path_.substr(0, path_.size() - 1)};
    }
}

const cJSON* Body::find(std::string_view key) {
    const cJSON* const member = Json_find(object_, key);
    return Json_isNull(member) ? nullptr : member;
}

std::optional<std::string> Body::text(std::string_view key) {
    const cJSON* const member = find(key);
    auto text = Json_text(member);
    if (member != nullptr && !text) {
        blame(key, "This must be a text.");
    }
    return text;
}

std::optional<std::int64_t> Body::whole(std::string_view key, std::int64_t least,
                                        std::int64_t most) {
    const cJSON* const member = find(key);
    const auto number = Json_whole(member);
    if (member != nullptr && (!number || *number < least || *number > most)) {
        blame(key, "This must be a whole number from " + std::to_string(least) + " to " +
                       std::to_string(most) + ".");
        return std::nullopt;
    }
    return number;
}

const cJSON* Body::object(std::string_view key) {
    const cJSON* const member = find(key);
    if (member != nullptr && !Json_isObject(member)) {
        blame(key, "This must be a JSON object.");
        return nullptr;
    }
    return member;
}

const cJSON* Body::array(std::string_view key) {
    const cJSON* const member = find(key);
    if (member != nullptr && !Json_isArray(member)) {
        blame(key, "This must be a JSON array.");
        return nullptr;
    }
    return member;
}

std::optional<std::vector<std::string>> Body::texts(std::string_view key) {
    const cJSON* const items = array(key);
    if (items == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    for (const cJSON* item : Json_items(items)) {
        auto text = Json_text(item);
        if (!text) {
            blame(key, "This must be an array of texts.");
            return std::nullopt;
        }
        texts.push_back(std::move(*text));
    }
    return texts;
}

void Body::require(std::string_view key) {
    if (find(key) == nullptr) {
        blame(key, "This is missing.");
    }
}

void Body::only(std::span<const std::string_view> keys) {
    for (const cJSON* member : Json_items(object_)) {
        if (std::ranges::find(keys, Json_key(member)) == keys.end()) {
            blame(Json_key(member), "There is no such member here.");
        }
    }
}

void Body::blame(std::string_view key, std::string detail) {
    if (!problem_) {
        problem_ = Problem{kUnacceptable, std::move(detail), path_ + std::string(key)};
    }
}

void Body::take(const std::optional<Problem>& problem) {
    if (!problem_) {
        problem_ = problem;
    }
}

Outcome<ByName<std::string>> RouteMap_read(const cJSON* decoders, const std::string& path) {
    Body body(decoders, path);
    ByName<std::string> routes;
    for (const cJSON* member : Json_items(decoders)) {
        const std::string decoder(Json_key(member));
        const auto encoder = body.text(decoder);
        if (encoder && encoder->empty()) {
            body.blame(decoder, "This must be the id of an encoder, or null.");
        }
        routes[decoder] = encoder.value_or("");
    }
    return body.outcome(std::move(routes));
}

Outcome<RouteTable> RouteTable_read(const cJSON* routes, const std::string& path) {
    Body body(routes, path);
    body.only(kRouteKindNames);
    RouteTable table;
    for (const cJSON* member : Json_items(routes)) {
        const std::string name(Json_key(member));
        const auto kind = RouteKind_find(name);
        const auto map = RouteMap_read(member, path + name + ".");
        body.take(map);
        if (kind && map.succeeded()) {
            table.at(static_cast<std::size_t>(*kind)) = map.value();
        }
    }
    return body.outcome(std::move(table));
}

}  // namespace avoip::gw
