// What comes of an operation: a value, or the problem that stood in its way, in the terms of HTTP,
// which serve the other faces as well.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace avoip::gw {

struct Problem {
    int status = 0;           ///< the HTTP status
    std::string detail = {};  ///< a sentence or two for people
    std::string field = {};   ///< the member or the part of the path to blame; empty: none
    int retryAfter_s = 0;     ///< 0: none
};

template <class Value>
class Outcome {
  public:
    Outcome(Value value) : content_(std::move(value)) {}
    Outcome(Problem problem) : content_(std::move(problem)) {}

    [[nodiscard]] bool succeeded() const { return std::holds_alternative<Value>(content_); }
    [[nodiscard]] const Value& value() const { return std::get<Value>(content_); }
    [[nodiscard]] Value& value() { return std::get<Value>(content_); }
    [[nodiscard]] const Problem& problem() const { return std::get<Problem>(content_); }

  private:
    std::variant<Value, Problem> content_;
};

/// For operations that give nothing.
struct Done {};

}  // namespace avoip::gw
