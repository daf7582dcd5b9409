#include "kit/scan.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <limits>
#include <string>

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

/// What a directive may hold between its "%" and its conversion letter.
constexpr std::string_view kDirectiveParts = "-+ #0123456789*$.'hlLqjzt";

}  // namespace

void LineScan::skipWhiteSpace() {
    const std::size_t found = remaining_.find_first_not_of(kWhiteSpace);
    remaining_.remove_prefix(std::min(found, remaining_.size()));
}

std::string_view LineScan::stop() {
    complete_ = false;
    remaining_ = {};
    return {};
}

std::string_view LineScan::take(std::size_t count) {
    if (count == 0) {
        return stop();
    }
    const std::string_view taken = remaining_.substr(0, count);
    remaining_.remove_prefix(taken.size());
    return taken;
}

LineScan& LineScan::skipWords(int count) {
    for (int i = 0; i < count; ++i) {
        word();
    }
    return *this;
}

LineScan& LineScan::literal(std::string_view text) {
    for (const char expected : text) {
        if (expected == ' ') {
            skipWhiteSpace();
        } else if (remaining_.starts_with(expected)) {
            remaining_.remove_prefix(1);
        } else {
            stop();
            break;
        }
    }
    return *this;
}

std::string_view LineScan::word() {
    skipWhiteSpace();
    return take(std::min(remaining_.find_first_of(kWhiteSpace), remaining_.size()));
}

std::string_view LineScan::rest() {
    skipWhiteSpace();
    return take(std::min(remaining_.find('!'), remaining_.size()));
}

std::int32_t LineScan::number() {
    skipWhiteSpace();
    // from_chars takes a minus sign but no plus sign.
    const bool plus = remaining_.starts_with('+') && !remaining_.starts_with("+-");
    const char* begin = remaining_.data() + (plus ? 1 : 0);
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(begin, remaining_.data() + remaining_.size(), value);
    if (error == std::errc::invalid_argument) {
        stop();
        return 0;
    }
    if (error == std::errc::result_out_of_range) {
        value = *begin == '-' ? std::numeric_limits<std::int32_t>::min()
                              : std::numeric_limits<std::int32_t>::max();
    }
    take(static_cast<std::size_t>(end - remaining_.data()));
    return value;
}

DeviceId Scan_id(std::string_view identity) {
    DeviceId id{};
    id.set(identity);
    return id;
}

DeviceId Scan_expanded(std::string_view identity) {
    std::string text;
    for (std::size_t i = 0; i < identity.size(); ++i) {
        if (identity[i] != '%') {
            text += identity[i];
        } else if (identity.substr(i + 1).starts_with('%')) {
            text += '%';
            ++i;
        } else {
            i = std::min(identity.find_first_not_of(kDirectiveParts, i + 1), identity.size());
        }
    }
    return Scan_id(text);
}

DeviceId Scan_deviceEntry(std::string_view identity) {
    return Scan_expanded(Scan_id(identity).view());
}
