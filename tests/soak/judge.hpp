// The judge: asks the daemon and says whether each answer is the only one, and a right one.
//
// The segment holds one answer, so what must be answered takes turns here. It is cleared before a
// line and right behind its answer; what stands there in between is one answer too many.
#pragma once

#include <functional>
#include <string>

#include "bed/front_end.hpp"
#include "soak/account.hpp"
#include "soak/bed.hpp"
#include "soak/lines.hpp"
#include "soak/replies.hpp"
#include "soak/report.hpp"

namespace soak {

class Judge {
  public:
    Judge(Bed& bed, Account& account, Report& report)
        : bed_(bed), account_(account), report_(report) {}

    /// Asks through the front end library, on the connection that stays or on one that comes and
    /// goes; expects all that must come of the line, and reports what is wrong with its answer.
    void ask(const Line& line) { askThrough(bed_.frontEnd, line); }
    void askAsVisitor(const Line& line);

    /// Clears the segment, calls `send`, which sends the end of `line`, and judges the answer. For
    /// lines that the front end library would not send so.
    void askBy(const Line& line, const std::function<void()>& send);

    /// The same for a line that `send` sends behind others: their answers come before its own,
    /// which is a failure that no other line has.
    void askBehindOthers(const Line& line, const std::function<void()>& send);

    /// An upload on a connection of its own runs from now on; its answer may come at any time, and
    /// is told from others by its text.
    void beginUpload(const Line& line);
    /// Its connection has ended; judges its answer, if that has not been seen yet. `amongOthers`:
    /// it ended while others were asked for, so that one of those may have overwritten it.
    void endUpload(bool amongOthers);

    /// Reports an answer that is there though nobody has asked.
    void checkSegment();

    /// Waits until no connection is open but the one that stays, and clears the segment: behind
    /// connections that have not taken turns.
    void forgetAnswers();

  private:
    /// Takes the answer that stands in the segment, waited for.
    std::string takeAnswer();
    /// Waits until the answer of `line` stands there, a failure that no other line has; clears it.
    void awaitLast(const Line& line);
    std::string answerTo(const Line& line, const std::function<std::string()>& ask);
    void judge(const Line& line, const std::string& answer);
    void judgeData(const Line& line, const std::string& answer);
    void askThrough(bed::FrontEnd& frontEnd, const Line& line);
    bool isAnswerOfUpload(const std::string& answer);

    Bed& bed_;
    Account& account_;
    Report& report_;
    Replies replies_;
    /// The upload whose answer is still to come.
    const Line* upload_ = nullptr;
};

}  // namespace soak
