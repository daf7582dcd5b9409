// How much of the turn something may take: so much over any stretch of time of a given length.
//
// Whoever is about to take it for at most `need` asks whether there is room. Where nobody ever
// takes it for longer than he has asked for, no stretch of `window` holds more than `limit`: the
// stretches that could are those that end while it is taken, and what they hold is at most what the
// stretch before held, and `need`.
//
// Pure: time comes in as an argument, and never goes back.
#pragma once

#include <chrono>
#include <deque>

#include "gateway/state/time.hpp"

namespace avoip::gw {

struct Taken {
    Moment from = {};
    Moment to = {};
};

struct Budget {
    Span window{0};
    Span limit{0};
    std::deque<Taken> taken = {};  ///< in their order, none of them overlapping
};

/// Notes that it was taken. What no stretch holds any more that ends from then on is forgotten.
void Budget_take(Budget& budget, Moment from, Moment to);

/// How long it was taken in the stretch that ends now.
Span Budget_used(const Budget& budget, Moment now);

/// When there is room for `need`, if it is not taken meanwhile: `now`, or later. A need that is
/// greater than the limit has room when nothing is taken.
Moment Budget_roomAt(const Budget& budget, Moment now, Span need);

}  // namespace avoip::gw
