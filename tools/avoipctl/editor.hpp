// Reading lines at a terminal: editing, history and completion, by libedit.
#pragma once

#include <histedit.h>

#include <memory>
#include <string>

namespace avoip::ctl {

class Editor {
  public:
    /// Takes the terminal of the standard streams. The history is read from the state folder.
    Editor();

    /// Reads one line, without its line end, and adds it to the history; false at the end of the
    /// input.
    bool read(std::string& line);

  private:
    struct HistoryEnd {
        void operator()(History* history) const { ::history_end(history); }
    };
    struct EditLineEnd {
        void operator()(EditLine* editLine) const { ::el_end(editLine); }
    };
    std::unique_ptr<History, HistoryEnd> history_;
    std::unique_ptr<EditLine, EditLineEnd> edit_;
    std::string historyPath_;
};

}  // namespace avoip::ctl
