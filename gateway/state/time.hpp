// Moments as people and programs see them: UTC, in milliseconds. Where time comes from is the
// caller's business everywhere, so that tests can set it.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace avoip::gw {

using Time = std::chrono::sys_time<std::chrono::milliseconds>;

/// What gives the time to those who need it by themselves.
using Clock = std::function<Time()>;

/// A moment of the clock that never jumps, for waits and for what time costs.
using Moment = std::chrono::steady_clock::time_point;
using Span = std::chrono::microseconds;

/// The clock of this machine.
Time Time_now();

/// RFC 3339 in UTC with milliseconds: "2024-02-29T23:59:59.000Z".
std::string Time_text(Time time);

/// The moment that such a text stands for; nothing when it is none.
std::optional<Time> Time_read(std::string_view text);

}  // namespace avoip::gw
