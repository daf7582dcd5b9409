#include "soak/judge.hpp"

#include <chrono>

#include "bed/wait.hpp"

namespace soak {

namespace {

constexpr std::chrono::seconds kAnswerPatience{60};

}  // namespace

bool Judge::isAnswerOfUpload(const std::string& answer) {
    if (upload_ == nullptr || !isRightAnswer(*upload_, answer, true)) {
        return false;
    }
    upload_ = nullptr;
    return true;
}

std::string Judge::takeAnswer() {
    std::string answer = bed_.segment.awaitAnswer(kAnswerPatience);
    // Cleared at once: whatever is posted from now on is one too many.
    bed_.segment.clear();
    return answer;
}

void Judge::checkSegment() {
    if (!bed_.segment.hasAnswer()) {
        return;
    }
    const std::string stray = takeAnswer();
    if (!isAnswerOfUpload(stray)) {
        report_.notKept("an answer that nobody asked for: " + stray);
    }
}

std::string Judge::answerTo(const Line& line, const std::function<std::string()>& ask) {
    checkSegment();
    bed_.segment.clear();
    account_.expect(line);
    ++report_.counts.asked;
    replies_.beginCommand();
    std::string answer = ask();
    account_.hear();
    return answer;
}

void Judge::judge(const Line& line, const std::string& answer) {
    if (isRightAnswer(line, answer, bed_.devicesCanBeReached())) {
        ++report_.counts.answered;
    } else {
        report_.notKept("a wrong answer to " + line.text + " : " + answer);
    }
    if (line.hasData && answer != line.failure) {
        judgeData(line, answer);
    }
}

void Judge::judgeData(const Line& line, const std::string& answer) {
    ++report_.counts.withData;
    switch (replies_.originOf(line, answer)) {
        case Origin::kOwn:
            return;
        case Origin::kStale:
            ++report_.counts.stale;
            return;
        case Origin::kNobody:
            report_.notKept("data that are not what devices sent, to " + line.text + " : " +
                            answer);
    }
}

void Judge::askBy(const Line& line, const std::function<void()>& send) {
    judge(line, answerTo(line, [&] {
              send();
              return takeAnswer();
          }));
}

void Judge::awaitLast(const Line& line) {
    bed::awaitCondition("the answer to " + line.text, [&] {
        return bed_.segment.hasAnswer() && bed_.segment.awaitAnswer() == line.failure;
    });
    bed_.segment.clear();
}

void Judge::askBehindOthers(const Line& line, const std::function<void()>& send) {
    checkSegment();
    bed_.segment.clear();
    account_.expect(line);
    ++report_.counts.asked;
    send();
    awaitLast(line);
    ++report_.counts.answered;
}

void Judge::askThrough(bed::FrontEnd& frontEnd, const Line& line) {
    // The library takes the answer out of the segment as well.
    const auto askFor = [&](const Line& each) {
        const auto answer = frontEnd.ask(each.text, kAnswerPatience);
        if (answer == nullptr) {
            throw bed::Error("no answer to " + each.text + " : " + frontEnd.explanation());
        }
        return std::string(answer.get());
    };
    const std::string answer = answerTo(line, [&] { return askFor(line); });
    if (isRightAnswer(line, answer, bed_.devicesCanBeReached()) || !isAnswerOfUpload(answer)) {
        judge(line, answer);
        return;
    }
    // The upload has ended meanwhile (kept: one-answer). This line's answer stood before it, or is
    // still to come; one more line shows when it has come and gone.
    ++report_.counts.overwritten;
    const Line next = unknownLine(bed_.number());
    account_.expect(next);
    if (askFor(next) != next.failure) {
        awaitLast(next);
    }
}

void Judge::askAsVisitor(const Line& line) {
    bed::FrontEnd visitor;
    askThrough(visitor, line);
    account_.countEnded();
}

void Judge::beginUpload(const Line& line) {
    account_.expect(line);
    upload_ = &line;
}

void Judge::endUpload(bool amongOthers) {
    if (upload_ == nullptr) {
        return;
    }
    if (amongOthers && !bed_.segment.hasAnswer()) {
        // Another line's answer came right behind it.
        ++report_.counts.overwritten;
        upload_ = nullptr;
        return;
    }
    const std::string answer = takeAnswer();
    if (!isAnswerOfUpload(answer)) {
        report_.notKept("a wrong answer to " + upload_->text + " : " + answer);
        upload_ = nullptr;
    }
}

void Judge::forgetAnswers() {
    account_.awaitIdle();
    bed_.segment.clear();
}

}  // namespace soak
