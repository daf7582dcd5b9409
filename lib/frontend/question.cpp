#include "lib/frontend/question.hpp"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "lib/frontend/waiting.hpp"

namespace avoip {

namespace {

constexpr std::string_view kNoName = "";

/// Whether the owed answer may carry a name that answers to the question carry too.
bool isNamesake(const OwedAnswer& owed, const Question& question) {
    return OwedAnswer_isNamed(owed, kNoName) ||
           std::any_of(std::begin(question.names), std::end(question.names), [&](const char* name) {
               return name != nullptr && OwedAnswer_isNamed(owed, name);
           });
}

}  // namespace

bool Question_isNamed(const Question& question, std::string_view name) {
    return std::any_of(std::begin(question.names), std::end(question.names),
                       [&](const char* expected) {
                           return expected != nullptr && AnswerName_fits(name, expected);
                       });
}

const OwedAnswer* Question_obstacle(const Question& question, const Notes& notes) {
    const std::int64_t now_ms = BootClock_ms();
    const auto* const end = notes.owed.begin() + notes.owedCount;
    const auto* const found = std::find_if(notes.owed.begin(), end, [&](const OwedAnswer& owed) {
        return (question.shared_ms > 0 && owed.sharedUntil_ms > now_ms) ||
               (!question.besideNamesakes && isNamesake(owed, question));
    });
    return found == end ? nullptr : found;
}

OwedAnswer Question_note(const Question& question, int number) {
    const std::int64_t now_ms = BootClock_ms();
    OwedAnswer owed;
    owed.until_ms = now_ms + question.linger_ms;
    owed.sharedUntil_ms = question.shared_ms > 0 ? now_ms + question.shared_ms : 0;
    owed.pid = ::getpid();
    owed.number = number;
    for (std::size_t i = 0; i < owed.names.size(); ++i) {
        const char* const name = question.names[i];
        OwedAnswer_setName(owed, i, name == nullptr ? kNoName : name);
    }
    if (question.names[0] == nullptr) {
        OwedAnswer_setName(owed, 0, kAnyName);
    }
    return owed;
}

int Question_nextNumber() {
    static std::atomic<int> last = 0;
    return ++last & 0x7FFFFFFF;
}

Marker Marker_make() {
    Marker marker;
    std::snprintf(marker.line, sizeof marker.line, "avoip marker %d.%d!", ::getpid(),
                  Question_nextNumber());
    return marker;
}

}  // namespace avoip
