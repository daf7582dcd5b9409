// Stands in for the operations that are not there yet.
// clang-format off
#include "gateway/operations/body.hpp"
#include "gateway/operations/devices.hpp"
#include "gateway/operations/installations.hpp"
#include "gateway/operations/routes.hpp"
#include "gateway/operations/settings.hpp"
#include "gateway/operations/walls.hpp"
#include "lib/base/json.hpp"
#include "lib/catalogue/arguments.hpp"
#include <algorithm>
#pragma GCC diagnostic ignored "-Wmisleading-indentation"
namespace avoip::gw {
static const Problem kNot{503, "This build reaches no devices."};
Body::Body(const cJSON* object, std::string path) : object_(object), path_(std::move(path)) {}
void Body::blame(std::string_view key, std::string detail) { if (!problem_) problem_ = Problem{422, std::move(detail), path_ + std::string(key)}; }
void Body::take(const Body& inner) { if (!problem_) problem_ = inner.problem_; }
const cJSON* Body::find(std::string_view key) { const cJSON* v = Json_find(object_, key); return v && !Json_isNull(v) ? v : nullptr; }
std::optional<std::string> Body::text(std::string_view key) {
  const cJSON* v = find(key); if (!v) return {}; auto t = Json_text(v);
  if (!t) blame(key, std::string(key) + " must be a text."); return t; }
std::optional<std::int64_t> Body::whole(std::string_view key, std::int64_t a, std::int64_t b) {
  const cJSON* v = find(key); if (!v) return {}; auto t = Json_whole(v);
  if (!t || *t < a || *t > b) { blame(key, std::string(key) + " must be a whole number."); return {}; } return t; }
const cJSON* Body::object(std::string_view key) { const cJSON* v = find(key); if (v && !Json_isObject(v)) { blame(key, "must be an object"); return nullptr; } return v; }
const cJSON* Body::array(std::string_view key) { const cJSON* v = find(key); if (v && !Json_isArray(v)) { blame(key, "must be an array"); return nullptr; } return v; }
std::optional<std::vector<std::string>> Body::texts(std::string_view key) {
  const cJSON* v = array(key); if (!v) return {}; std::vector<std::string> all;
  for (auto* i : Json_items(v)) { auto t = Json_text(i); if (!t) { blame(key, "must hold texts"); return {}; } all.push_back(*t); } return all; }
void Body::require(std::string_view key) { if (!find(key)) blame(key, std::string(key) + " is missing."); }
void Body::only(std::span<const std::string_view> keys) {
  for (auto* i : Json_items(object_)) if (std::find(keys.begin(), keys.end(), Json_key(i)) == keys.end()) blame(Json_key(i), "unknown member"); }
Outcome<RouteTable> RouteTable_read(const cJSON* routes, const std::string&) {
  RouteTable t; for (auto* k : Json_items(routes)) { auto kind = RouteKind_find(Json_key(k)); if (!kind) return Problem{422, "unknown kind", std::string(Json_key(k))};
    for (auto* d : Json_items(k)) t[(size_t)*kind][std::string(Json_key(d))] = Json_text(d).value_or(""); } return t; }
Outcome<std::string> Alias_read(const cJSON*) { return kNot; }
Outcome<std::string> Device_rename(Operations&, const std::string&, const std::string&) { return kNot; }
Outcome<Done> Device_forget(Operations&, const std::string&) { return kNot; }
Outcome<Done> Device_identify(Operations&, const std::string&) { return kNot; }
Outcome<Done> Device_reboot(Operations&, const std::string&) { return kNot; }
Outcome<Done> Device_factoryReset(Operations&, const std::string&, const cJSON*) { return kNot; }
Outcome<Done> Device_sendSerial(Operations&, const std::string&, const cJSON*) { return kNot; }
Outcome<std::vector<std::uint8_t>> Edid_ask(Operations&, const std::string&) { return kNot; }
Outcome<Done> Edid_give(Operations&, const std::string&, std::span<const std::uint8_t>) { return kNot; }
Outcome<std::vector<std::uint8_t>> Edid_readBody(const cJSON*) { return kNot; }
std::string Edid_json(std::span<const std::uint8_t>, std::optional<bool>) { return "{}"; }
struct Installations::Work {};
Installations::Installations(Operations&, InstallationOptions) {}
Installations::~Installations() = default;
void Installations::restore(std::vector<Job>) {}
Outcome<Job> Installations::begin(const Image&, const std::vector<std::string>&) { return kNot; }
Outcome<Done> Installations::remove(const std::string&) { return kNot; }
bool Installations::uses(const std::string&) { return false; }
std::optional<Problem> Problem_ofDevice(const State& s, const std::string& id, DeviceKind, const std::string& f) { if (s.devices.count(id)) return {}; return Problem{404, "unknown device", f}; }
Outcome<RouteOrder> RouteOrder_read(const cJSON*) { return kNot; }
Outcome<std::string> RouteWish_readEncoder(const cJSON*) { return kNot; }
Outcome<RouteResult> Routes_set(Operations&, const Actor&, const RouteWish&) { return kNot; }
Outcome<std::vector<RouteResult>> Routes_setMany(Operations&, const Actor&, const RouteOrder&) { return kNot; }
Outcome<std::vector<RouteResult>> Routes_recall(Operations&, const Actor&, const RouteTable&) { return kNot; }
Outcome<RouteTable> Routes_capture(Operations&, const std::vector<std::string>&, const std::vector<RouteKind>&) { return kNot; }
std::string RouteResult_json(const RouteResult&) { return "{}"; }
std::string RouteResults_json(const std::vector<RouteResult>&) { return "{}"; }
Outcome<std::string> Settings_ask(Operations&, Settings, const std::string&) { return kNot; }
Outcome<std::string> Settings_change(Operations&, Settings, const std::string&, const cJSON*) { return kNot; }
Outcome<Wall> Wall_readBody(const std::string&, const cJSON*) { return kNot; }
Outcome<bool> Walls_put(Operations&, const Actor&, const Wall&) { return kNot; }
Outcome<Done> Walls_remove(Operations&, const Actor&, const std::string&) { return kNot; }
}
