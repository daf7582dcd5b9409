#include "soak/phases.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <list>
#include <string>
#include <utility>

#include "bed/wait.hpp"
#include "soak/noise.hpp"

namespace soak {

namespace {

using std::chrono::steady_clock;

enum class Phase : std::uint8_t {
    kDisturbed,
    kCrowd,
    kWithoutAddress,
    kStalledUpload,
    kOtherUploads,
};

/// How long the daemon waits for a device that reads no more, at least.
constexpr std::chrono::seconds kStallLeast{5};
/// The daemon waits 3 s for a reply; the rest is for a busy machine.
constexpr std::chrono::seconds kReplyWaitMost{13};

/// How often each comes in a deck.
constexpr std::array kDeck{
    Phase::kDisturbed,      Phase::kDisturbed,      Phase::kDisturbed,     Phase::kDisturbed,
    Phase::kCrowd,          Phase::kCrowd,          Phase::kCrowd,         Phase::kWithoutAddress,
    Phase::kWithoutAddress, Phase::kWithoutAddress, Phase::kStalledUpload, Phase::kOtherUploads,
};

/// A line whose "!" comes 4,095 bytes too late, or twice as many: the daemon makes lines of their
/// own of those, and answers them too.
void askLongLine(Soak& soak, Random& random) {
    const std::string filling(kLongestLine * random.between(1, 2), 'x');
    const Line line = unknownLine(soak.bed.number());
    bed::Console console;
    soak.account.expectUnknown(filling);
    soak.judge.askBehindOthers(line, [&] { console.send(filling + line.text); });
    soak.account.countEnded();
    soak.report.inject(Fault::kLongLine);
}

/// A line that makes no device reply.
Line quickLine(Soak& soak, Random& random) {
    return random.percent(80) ? oneWayLine(random, soak.bed.number())
                              : unknownLine(soak.bed.number());
}

void askSomething(Soak& soak, Random& random) {
    const std::uint64_t choice = random.below(100);
    if (choice < 78) {
        soak.judge.ask(quickLine(soak, random));
    } else if (choice < 90) {
        soak.judge.askAsVisitor(quickLine(soak, random));
        soak.report.inject(Fault::kVisitor);
    } else if (choice < 95) {
        soak.judge.ask(readingLine(random));
    } else if (choice < 99) {
        askLongLine(soak, random);
    } else {
        soak.judge.ask(listingLine(random));
    }
}

/// Commands one after the other, among connections that come and go and send what is not answered.
void runDisturbed(Soak& soak, Random& random) {
    SilentNoise noise(soak);
    for (std::uint64_t left = random.between(200, 500); left > 0 && soak.bed.pause(); --left) {
        if (random.percent(35)) {
            noise.step(random);
            noise.finishLines();
        } else {
            askSomething(soak, random);
        }
    }
}

/// One of many that command at the same time, and take no turns.
struct Member {
    bed::Console console;
    bool resets = false;
    Use use = Use::kLight;
};

/// Gives a line to one of the crowd, which is carried out, or perhaps is when a reset follows it.
void giveLine(Soak& soak, Random& random, Member& member) {
    const int least = member.resets ? 0 : 1;
    const std::uint64_t choice = random.below(100);
    std::string bytes;
    if (choice < 70) {
        const Line line = quickLine(soak, random);
        soak.account.expect(line, least);
        bytes = line.text;
    } else if (choice < 82) {
        bytes = garbage(random, random.between(1, 300)) + "!";
        soak.account.expectUnknown(bytes, least);
        soak.report.inject(Fault::kCrowdGarbage);
    } else if (choice < 90) {
        bytes = std::string(kLongestLine + random.between(1, 2000), 'y') + "!";
        soak.account.expectUnknown(bytes, least);
        soak.report.inject(Fault::kCrowdLongLine);
    } else {
        const Line line = choice < 98 ? readingLine(random) : listingLine(random);
        soak.account.expect(line, least);
        bytes = line.text;
        member.use = std::max(member.use, choice < 98 ? Use::kReading : Use::kListing);
    }
    member.console.send(bytes);
    ++soak.report.counts.lines;
}

/// Many connections at once, each with a few lines; they go without waiting for an answer. Who has
/// answered what cannot be told here, but what was carried out and what was sent can.
void gather(Soak& soak, Random& random) {
    std::list<Member> crowd(random.between(4, 32));
    for (Member& member : crowd) {
        member.resets = random.percent(40);
    }
    for (std::uint64_t lines = random.between(1, 3); lines > 0; --lines) {
        for (Member& member : crowd) {
            giveLine(soak, random, member);
            soak.account.hear();
        }
    }
    for (Member& member : crowd) {
        if (member.resets) {
            member.console.reset();
        }
        soak.report.inject(member.resets ? Fault::kCrowdReset : Fault::kCrowdLeave);
        soak.account.countEnded(member.use);
    }
}

void runCrowd(Soak& soak, Random& random) {
    for (std::uint64_t crowds = random.between(2, 8); crowds > 0 && soak.bed.pause(); --crowds) {
        gather(soak, random);
        soak.judge.forgetAnswers();
    }
}

/// A command waits for a device when the address goes.
void loseAddressWhileWaiting(Soak& soak) {
    const Line line = unansweredLine(soak.bed.number());
    bed::Console console;
    const auto begin = steady_clock::now();
    soak.judge.askBy(line, [&] {
        console.send(line.text);
        soak.account.awaitRequests();
        soak.bed.removeAddress();
    });
    if (steady_clock::now() - begin > kReplyWaitMost) {
        soak.report.notKept("a command waited too long for a reply that cannot come");
    }
    soak.account.countEnded();
    soak.report.inject(Fault::kAddressLostWaiting);
}

/// Commands while the control interface has no address, or is down. They begin when it has gone and
/// end before it comes back: an address without its route would be another fault, after which the
/// daemon sends nothing more (kept: failed-send-closes-socket).
void runWithoutAddress(Soak& soak, Random& random) {
    const bool link = random.percent(40);
    if (link) {
        soak.bed.linkDown();
        soak.report.inject(Fault::kLinkLost);
    } else if (random.percent(40)) {
        loseAddressWhileWaiting(soak);
    } else {
        soak.bed.removeAddress();
        soak.report.inject(Fault::kAddressLost);
    }
    {
        SilentNoise noise(soak);
        for (std::uint64_t left = random.between(4, 12); left > 0 && soak.bed.pause(); --left) {
            noise.step(random);
            askSomething(soak, random);
        }
    }
    link ? soak.bed.linkUp() : soak.bed.addAddress();
    for (int i = 0; i < 3; ++i) {
        soak.judge.ask(oneWayLine(random, soak.bed.number()));
    }
}

/// An upload to a device that stops to read, while the other connections go on.
void runStalledUpload(Soak& soak, Random& random, const Images& images) {
    const auto encoder = static_cast<int>(random.between(1, kStallingEncoders));
    const Line line = uploadLine(encoder, images.whole.path());
    bed::Console console;
    const auto begin = steady_clock::now();
    soak.judge.beginUpload(line);
    console.send(line.text);
    console.finishSending();
    // The devices' faults may hide the device, and the command ends without an upload.
    const std::uint64_t begunBefore = soak.printed.uploadsBegun;
    const std::uint64_t brokenBefore = soak.printed.uploadsBroken;
    bool begun = false;
    bed::awaitCondition("the upload to begin", [&] {
        soak.printed.follow();
        begun = soak.printed.uploadsBegun > begunBefore;
        return begun || !console.hasHeardNothing();
    });
    {
        SilentNoise noise(soak);
        for (std::uint64_t left = random.between(30, 80); left > 0 && soak.bed.pause(); --left) {
            noise.step(random);
            soak.judge.ask(quickLine(soak, random));
        }
    }
    const bool endedBefore = !console.hasHeardNothing();
    console.awaitClosed();
    soak.judge.endUpload(endedBefore);
    soak.account.countEnded(Use::kListing);
    soak.printed.follow();
    if (begun) {
        soak.report.inject(Fault::kUploadStalled);
        if (soak.printed.uploadsBroken == brokenBefore ||
            steady_clock::now() - begin < kStallLeast) {
            soak.report.notKept("an upload whose device stopped to read did not end after 5 s");
        }
    }
}

/// Uploads that take their turn: to a device that takes them, and of images that are no good.
void runOtherUploads(Soak& soak, Random& random, const Images& images) {
    for (std::uint64_t left = random.between(2, 4); left > 0 && soak.bed.pause(); --left) {
        const auto encoder = static_cast<int>(random.between(kStallingEncoders + 1, kEncoders));
        switch (random.below(3)) {
            case 0:
                soak.judge.ask(uploadLine(encoder, images.small.path()));
                soak.report.inject(Fault::kImageGood);
                break;
            case 1:
                soak.judge.ask(uploadLine(encoder, images.bad.path()));
                soak.report.inject(Fault::kImageBad);
                break;
            default:
                soak.judge.ask(uploadLine(encoder, images.forDecoders.path()));
                soak.report.inject(Fault::kImageForOthers);
        }
    }
}

void run(Phase phase, Soak& soak, Random& random, const Images& images) {
    switch (phase) {
        case Phase::kDisturbed:
            return runDisturbed(soak, random);
        case Phase::kCrowd:
            return runCrowd(soak, random);
        case Phase::kWithoutAddress:
            return runWithoutAddress(soak, random);
        case Phase::kStalledUpload:
            return runStalledUpload(soak, random, images);
        case Phase::kOtherUploads:
            return runOtherUploads(soak, random, images);
    }
}

}  // namespace

void runPhases(Soak& soak, std::uint64_t seed, const Images& images) {
    for (std::uint64_t round = 1;; ++round) {
        Random random(seed, round);
        auto deck = kDeck;
        for (std::size_t left = deck.size(); left > 1; --left) {
            std::swap(deck[left - 1], deck[random.below(left)]);
        }
        for (const Phase phase : deck) {
            if (!soak.bed.pause()) {
                return;
            }
            run(phase, soak, random, images);
            settle(soak);
        }
    }
}

}  // namespace soak
