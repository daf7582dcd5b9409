#include "gateway/planner/budget.hpp"

#include <algorithm>

namespace avoip::gw {

namespace {

/// The part of a stretch of the past that counts from `begin` on.
Span partBehind(const Taken& taken, Moment begin) {
    const Moment from = std::max(taken.from, begin);
    return from < taken.to ? std::chrono::ceil<Span>(taken.to - from) : Span{0};
}

}  // namespace

void Budget_take(Budget& budget, Moment from, Moment to) {
    if (from < to) {
        budget.taken.push_back({from, to});
    }
    while (!budget.taken.empty() && budget.taken.front().to <= to - budget.window) {
        budget.taken.pop_front();
    }
}

Span Budget_used(const Budget& budget, Moment now) {
    Span used{0};
    for (const Taken& taken : budget.taken) {
        used += partBehind(taken, now - budget.window);
    }
    return used;
}

Moment Budget_roomAt(const Budget& budget, Moment now, Span need) {
    const Moment begin = now - budget.window;
    Span excess = Budget_used(budget, now) + std::min(need, budget.limit) - budget.limit;
    // The oldest leaves the stretch first.
    for (const Taken& taken : budget.taken) {
        if (excess <= Span{0}) {
            break;
        }
        const Span part = partBehind(taken, begin);
        if (part >= excess) {
            return std::max(taken.from, begin) + excess + budget.window;
        }
        excess -= part;
    }
    return now;
}

}  // namespace avoip::gw
