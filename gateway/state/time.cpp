#include "gateway/state/time.hpp"

#include <cstdio>

namespace avoip::gw {

Time Time_now() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

std::string Time_text(Time time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char text[48];
    std::snprintf(
        text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    return text;
}

std::optional<Time> Time_read(std::string_view text) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
    const int read = std::sscanf(std::string(text).c_str(), "%4d-%2u-%2uT%2d:%2d:%2d.%3dZ", &year,
                                 &month, &day, &hour, &minute, &second, &millisecond);
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    if (read != 7 || !date.ok()) {
        return std::nullopt;
    }
    const Time time = std::chrono::sys_days(date) + std::chrono::hours(hour) +
                      std::chrono::minutes(minute) + std::chrono::seconds(second) +
                      std::chrono::milliseconds(millisecond);
    return Time_text(time) == text ? std::optional(time) : std::nullopt;
}

}  // namespace avoip::gw
