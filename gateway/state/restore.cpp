#include "gateway/state/restore.hpp"

#include <utility>

#include "lib/base/json.hpp"

namespace avoip::gw {

namespace {

std::string textOf(const cJSON* object, std::string_view key) {
    return Json_text(object, key).value_or("");
}

int wholeOf(const cJSON* object, std::string_view key) {
    return static_cast<int>(Json_whole(Json_find(object, key)).value_or(0));
}

Time timeOf(const cJSON* object, std::string_view key) {
    return Time_read(textOf(object, key)).value_or(Time{});
}

std::vector<std::string> textsOf(const cJSON* object, std::string_view key) {
    std::vector<std::string> texts;
    for (const cJSON* item : Json_items(Json_find(object, key))) {
        texts.push_back(Json_text(item).value_or(""));
    }
    return texts;
}

Tile tileOf(const cJSON* item) {
    return {textOf(item, "decoder"), wholeOf(item, "column"), wholeOf(item, "row")};
}

JobDevice jobDeviceOf(const cJSON* item) {
    return {textOf(item, "id"),
            JobDeviceState_find(textOf(item, "state")).value_or(JobDeviceState::kFailed),
            textOf(item, "version_before"), textOf(item, "version_after"), textOf(item, "problem")};
}

/// The tree of a text that is an object with a text under `key`; null otherwise.
Json treeOf(std::string_view json, std::string_view key) {
    Json tree = Json_parse(json);
    return Json_text(tree.get(), key) ? std::move(tree) : nullptr;
}

}  // namespace

std::optional<Preset> Preset_restore(std::string_view json) {
    const Json tree = treeOf(json, "name");
    const cJSON* const root = tree.get();
    if (root == nullptr) {
        return std::nullopt;
    }
    Preset preset{textOf(root, "name"), textOf(root, "note"), {}, timeOf(root, "updated_at")};
    const cJSON* const all = Json_find(root, "routes");
    for (const RouteKind kind : kAllRouteKinds) {
        for (const cJSON* item : Json_items(Json_find(all, RouteKind_name(kind)))) {
            preset.routes.at(static_cast<std::size_t>(kind))[std::string(Json_key(item))] =
                Json_text(item).value_or("");
        }
    }
    return preset;
}

std::optional<Lock> Lock_restore(std::string_view json) {
    const Json tree = treeOf(json, "decoder");
    if (tree == nullptr) {
        return std::nullopt;
    }
    return Lock{textOf(tree.get(), "decoder"), textOf(tree.get(), "owner"),
                textOf(tree.get(), "note"), timeOf(tree.get(), "since")};
}

std::optional<Room> Room_restore(std::string_view json) {
    const Json tree = treeOf(json, "name");
    if (tree == nullptr) {
        return std::nullopt;
    }
    return Room{textOf(tree.get(), "name"), textsOf(tree.get(), "decoders"),
                textsOf(tree.get(), "encoders")};
}

std::optional<Wall> Wall_restore(std::string_view json) {
    const Json tree = treeOf(json, "name");
    const cJSON* const root = tree.get();
    if (root == nullptr || wholeOf(root, "columns") < 1 || wholeOf(root, "rows") < 1) {
        return std::nullopt;
    }
    const cJSON* const bezel = Json_find(root, "bezel");
    Wall wall{textOf(root, "name"),         textOf(root, "encoder"),    wholeOf(root, "columns"),
              wholeOf(root, "rows"),        wholeOf(root, "width"),     wholeOf(root, "height"),
              wholeOf(bezel, "horizontal"), wholeOf(bezel, "vertical"), {}};
    for (const cJSON* item : Json_items(Json_find(root, "tiles"))) {
        wall.tiles.push_back(tileOf(item));
    }
    return wall;
}

std::optional<Job> Job_restore(std::string_view json) {
    const Json tree = treeOf(json, "id");
    const cJSON* const root = tree.get();
    if (root == nullptr) {
        return std::nullopt;
    }
    Job job{textOf(root, "id"),
            textOf(root, "image"),
            JobState_find(textOf(root, "state")).value_or(JobState::kFailed),
            textOf(root, "problem"),
            {}};
    for (const cJSON* item : Json_items(Json_find(root, "devices"))) {
        job.devices.push_back(jobDeviceOf(item));
    }
    return job;
}

}  // namespace avoip::gw
