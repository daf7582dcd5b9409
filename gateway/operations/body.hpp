// Bodies of requests: JSON objects whose members are all known and of the right kind, or the
// problem that names the first which is not.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gateway/operations/outcome.hpp"
#include "gateway/state/resources.hpp"

struct cJSON;

namespace avoip::gw {

/// Reads members of one object. The first problem stays; what is read behind it is empty.
class Body {
  public:
    /// `path` is put before the names of members in problems: "bezel." for an object within.
    explicit Body(const cJSON* object, std::string path = {});

    /// A member that is a text; absent or null: nothing.
    std::optional<std::string> text(std::string_view key);
    /// A member that is a whole number within these bounds; absent or null: nothing.
    std::optional<std::int64_t> whole(std::string_view key, std::int64_t least, std::int64_t most);
    /// A member that is an object or an array; null when it is absent or null.
    const cJSON* object(std::string_view key);
    const cJSON* array(std::string_view key);
    /// A member that is an array of texts; absent: nothing.
    std::optional<std::vector<std::string>> texts(std::string_view key);

    /// Says that this member has to be there; the problem if it is not.
    void require(std::string_view key);
    /// Says that there are no members but these.
    void only(std::span<const std::string_view> keys);

    /// Finds fault with a member, unless something is wrong already.
    void blame(std::string_view key, std::string detail);
    /// Takes the problem of something within this one over, if there is one.
    void take(const std::optional<Problem>& problem);
    template <class Value>
    void take(const Outcome<Value>& inner) {
        take(inner.succeeded() ? std::nullopt : std::optional(inner.problem()));
    }

    [[nodiscard]] const std::optional<Problem>& problem() const { return problem_; }

    /// What was read, unless there is a problem.
    template <class Value>
    [[nodiscard]] Outcome<Value> outcome(Value value) const {
        return problem_ ? Outcome<Value>(*problem_) : Outcome<Value>(std::move(value));
    }

  private:
    const cJSON* find(std::string_view key);

    const cJSON* object_;
    std::string path_;
    std::optional<Problem> problem_ = {};
};

/// Reads {DECODER:ID|null,...}.
Outcome<ByName<std::string>> RouteMap_read(const cJSON* decoders, const std::string& path);

/// Reads {"video":{DECODER:ID|null,...},"serial":{...},"ir":{...}}, each of which may be missing.
Outcome<RouteTable> RouteTable_read(const cJSON* routes, const std::string& path = {});

}  // namespace avoip::gw
