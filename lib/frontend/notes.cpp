#include "lib/frontend/notes.hpp"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>

namespace avoip {

namespace {

constexpr std::string_view kEnd = "end";

// An update of many devices takes at most an hour. What is said to take much longer was written
// before the machine was started again.
constexpr std::int64_t kLongestMs = 7'200'000;

/// Takes the text up to `mark`, and the mark, off the front of `text`; all of it without a mark.
std::string_view takeUpTo(std::string_view& text, char mark) {
    const std::size_t length = std::min(text.find(mark), text.size());
    const std::string_view taken = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    return taken;
}

/// Takes "KEY " off the front of `line`, if it begins with that.
bool takeKey(std::string_view& line, std::string_view key) {
    if (!line.starts_with(key) || line.substr(key.size(), 1) != " ") {
        return false;
    }
    line.remove_prefix(key.size() + 1);
    return true;
}

/// Takes a number and the blank behind it off the front of `line`; 0 when there is none.
template <class Number>
Number takeNumber(std::string_view& line) {
    const std::string_view digits = takeUpTo(line, ' ');
    Number number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

void readOwed(Notes& notes, std::string_view line) {
    OwedAnswer owed;
    owed.until_ms = takeNumber<std::int64_t>(line);
    owed.sharedUntil_ms = takeNumber<std::int64_t>(line);
    owed.pid = takeNumber<int>(line);
    owed.number = takeNumber<int>(line);
    OwedAnswer_setName(owed, 0, line);
    Notes_add(notes, owed);
}

void readLine(Notes& notes, std::string_view line) {
    if (line == "clean") {
        notes.clean = true;
    } else if (takeKey(line, "daemon")) {
        notes.daemon = takeNumber<std::uint64_t>(line);
    } else if (takeKey(line, "owed")) {
        readOwed(notes, line);
    } else if (takeKey(line, "or") && notes.owedCount > 0) {
        OwedAnswer_setName(notes.owed[notes.owedCount - 1], 1, line);
    }
}

}  // namespace

Notes Notes_parse(std::string_view text) {
    if (!text.starts_with(kNotesBegin)) {
        return {};
    }
    text.remove_prefix(kNotesBegin.size());
    Notes notes;
    while (!text.empty()) {
        const std::string_view line = takeUpTo(text, '\n');
        if (line == kEnd) {
            return notes;
        }
        readLine(notes, line);
    }
    return {};
}

std::size_t Notes_print(const Notes& notes, char* text) {
    char* end = text;
    const auto room = [&] { return kNotesMax - static_cast<std::size_t>(end - text); };
    end += std::snprintf(end, room(), "avoip 1\ndaemon %" PRIu64 "\n%s", notes.daemon,
                         notes.clean ? "clean\n" : "");
    for (std::size_t i = 0; i < notes.owedCount; ++i) {
        const OwedAnswer& owed = notes.owed[i];
        end += std::snprintf(end, room(), "owed %" PRId64 " %" PRId64 " %d %d %s\n", owed.until_ms,
                             owed.sharedUntil_ms, owed.pid, owed.number, owed.names[0].data());
        if (owed.names[1][0] != '\0') {
            end += std::snprintf(end, room(), "or %s\n", owed.names[1].data());
        }
    }
    end += std::snprintf(end, room(), "end\n");
    return static_cast<std::size_t>(end - text);
}

void OwedAnswer_setName(OwedAnswer& owed, std::size_t place, std::string_view name) {
    auto& kept = owed.names[place];
    kept = {};
    // No name holds a line end; one would end its line of the text.
    name = takeUpTo(name, '\n');
    std::copy_n(name.begin(), std::min(name.size(), kNameMax), kept.begin());
}

bool OwedAnswer_isNamed(const OwedAnswer& owed, std::string_view name) {
    return std::any_of(owed.names.begin(), owed.names.end(), [&](const auto& kept) {
        const std::string_view own = kept.data();
        return !own.empty() && (own == kAnyName || AnswerName_fits(name, own));
    });
}

void Notes_add(Notes& notes, const OwedAnswer& owed) {
    if (notes.owedCount == kOwedMax) {
        Notes_drop(notes, 0);
    }
    notes.owed[notes.owedCount] = owed;
    ++notes.owedCount;
}

OwedAnswer* Notes_find(Notes& notes, int pid, int number) {
    for (std::size_t i = 0; i < notes.owedCount; ++i) {
        if (notes.owed[i].pid == pid && notes.owed[i].number == number) {
            return &notes.owed[i];
        }
    }
    return nullptr;
}

void Notes_drop(Notes& notes, std::size_t place) {
    std::copy(notes.owed.begin() + place + 1, notes.owed.begin() + notes.owedCount,
              notes.owed.begin() + place);
    --notes.owedCount;
}

void Notes_lapse(Notes& notes, std::uint64_t daemon, std::int64_t now_ms) {
    if (daemon != 0 && daemon != notes.daemon) {
        notes = {};
        notes.daemon = daemon;
    }
    for (std::size_t i = notes.owedCount; i > 0; --i) {
        const std::int64_t until_ms = notes.owed[i - 1].until_ms;
        if (until_ms <= now_ms || until_ms > now_ms + kLongestMs) {
            Notes_drop(notes, i - 1);
        }
    }
}

}  // namespace avoip
