#include "system/transcripts/play.hpp"

#include "bed/wait.hpp"

Play::Play() {
    (void)printedSinceLast();
}

bed::Recorded Play::exchange(const std::string& line) {
    bed::Recorded record{line};
    record.answer = segment_.ask(console_, line);
    for (const bed::CableDatagram& datagram : cable_.take()) {
        const std::string from = datagram.outward ? "-> " : "<- " + datagram.address + " ";
        record.cable.push_back(from + datagram.text);
    }
    record.printed = bed::linesOf(printedSinceLast());
    return record;
}

// A line of our own shows where it ends.
std::string Play::printedSinceLast() {
    const std::string fence = "pBuffData fence!\n";
    segment_.ask(console_, "fence!");
    daemon_.awaitOutput(fence);
    const std::string all = daemon_.output().all();
    std::string since = all.substr(seen_, all.size() - fence.size() - seen_);
    seen_ = all.size();
    if (!since.empty() && since.back() != '\n') {
        throw bed::Error("what was printed has no line end, for which there is no mark: " + since);
    }
    return since;
}
