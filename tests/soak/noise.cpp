#include "soak/noise.hpp"

#include <algorithm>

namespace soak {

namespace {

constexpr std::size_t kWritersAtMost = 6;

std::string halfLine(Random& random, Soak& soak) {
    const std::string whole = oneWayLine(random, soak.bed.number()).text;
    return whole.substr(0, random.between(1, whole.size() - 1));
}

}  // namespace

std::string garbage(Random& random, std::size_t size) {
    std::string bytes(size, '\0');
    std::ranges::generate(bytes, [&] { return static_cast<char>(random.below(256)); });
    return bytes;
}

SilentNoise::~SilentNoise() {
    std::ranges::for_each(writers_, [&](const SlowWriter&) { soak_.account.countEnded(); });
}

void SilentNoise::step(Random& random) {
    switch (random.below(12)) {
        case 0:
            return endUnfinished(random, Fault::kLeave);
        case 1:
            return endUnfinished(random, Fault::kResetAtOnce);
        case 2:
            return endUnfinished(random, Fault::kHalfLine);
        case 3:
            return endUnfinished(random, Fault::kHalfLineReset);
        case 4:
            return endUnfinished(random, Fault::kGarbage);
        case 5:
            return sendExit(random);
        case 6:
            return beginSlowly(random);
        default:
            return trickle(random);
    }
}

void SilentNoise::endUnfinished(Random& random, Fault kind) {
    bed::Console console;
    bool resets = kind == Fault::kResetAtOnce || kind == Fault::kHalfLineReset;
    if (kind == Fault::kHalfLine || kind == Fault::kHalfLineReset) {
        console.send(halfLine(random, soak_));
    } else if (kind == Fault::kGarbage) {
        std::string bytes = garbage(random, random.between(1, 4000));
        std::ranges::replace(bytes, '!', '?');
        console.send(bytes);
        resets = random.percent(50);
    }
    if (resets) {
        console.reset();
    }
    soak_.account.countEnded();
    soak_.report.inject(kind);
}

// The daemon ends the connection; what stands behind the line is not read.
void SilentNoise::sendExit(Random& random) {
    bed::Console console;
    std::string line = halfLine(random, soak_);
    line.insert(random.below(line.size() + 1), "exit");
    console.send(line + "!" + oneWayLine(random, soak_.bed.number()).text);
    console.awaitClosed();
    soak_.account.countEnded();
    soak_.report.inject(Fault::kExitLine);
}

void SilentNoise::beginSlowly(Random& random) {
    Line line = oneWayLine(random, soak_.bed.number());
    const std::size_t until =
        random.percent(50) ? line.text.size() : random.between(1, line.text.size() - 1);
    if (writers_.size() < kWritersAtMost) {
        writers_.push_back({.console = bed::Console(), .line = std::move(line), .until = until});
    }
}

void SilentNoise::trickle(Random& random) {
    if (writers_.empty()) {
        return;
    }
    const auto chosen = static_cast<std::ptrdiff_t>(random.below(writers_.size()));
    const auto writer = std::next(writers_.begin(), chosen);
    const std::size_t bytes = random.between(1, 8);
    // The "!" is left to finishLines().
    const std::size_t end = writer->isComplete() ? writer->until - 1 : writer->until;
    const std::size_t size = std::min(bytes, end - writer->sent);
    writer->console.send(std::string_view(writer->line.text).substr(writer->sent, size));
    writer->sent += size;
    if (!writer->isComplete() && writer->sent == end) {
        writers_.erase(writer);
        soak_.account.countEnded();
        soak_.report.inject(Fault::kSlowLineLeft);
    }
}

void SilentNoise::finishLines() {
    for (auto writer = writers_.begin(); writer != writers_.end();) {
        if (writer->isComplete() && writer->sent + 1 == writer->until) {
            soak_.judge.askBy(writer->line, [&] { writer->console.send("!"); });
            writer = writers_.erase(writer);
            soak_.account.countEnded();
            soak_.report.inject(Fault::kSlowLine);
        } else {
            ++writer;
        }
    }
}

}  // namespace soak
