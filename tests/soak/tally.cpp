#include "soak/tally.hpp"

#include <utility>

namespace soak {

template <class Change>
void Tally::change(const std::string& text, const Change& change) {
    Count& count = counts_[text];
    missing_ -= count.missing();
    change(count);
    missing_ += count.missing();
}

void Tally::expect(const std::string& text, int least, int most) {
    change(text, [&](Count& count) {
        count.least += least;
        count.most += most;
    });
}

void Tally::see(const std::string& text) {
    ++allSeen_;
    change(text, [](Count& count) { ++count.seen; });
}

std::vector<std::string> Tally::settle() {
    std::vector<std::string> wrong;
    for (const auto& [text, count] : std::exchange(counts_, {})) {
        if (count.seen < count.least || count.seen > count.most) {
            wrong.push_back("expected " + std::to_string(count.least) +
                            (count.most > count.least ? " to " + std::to_string(count.most) : "") +
                            " and seen " + std::to_string(count.seen) + " times: " + text);
        }
    }
    missing_ = 0;
    return wrong;
}

}  // namespace soak
