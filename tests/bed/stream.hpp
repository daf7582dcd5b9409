// What a program has written to one of its output streams, kept to the byte while it runs.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>

namespace bed {

class Stream {
  public:
    /// Waits until `text` stands in the output, behind the end of the text that the call before
    /// found. Throws, with all that was written, when it does not come or the program ends first.
    void await(std::string_view text);

    /// Waits until all that was written so far is exactly `text`; throws with what it was instead.
    void awaitWhole(std::string_view text);

    /// Waits until nobody can write any more.
    void awaitEnd();

    /// All that was written so far.
    std::string all() const;

    /// For the one who reads the program's output: what has come, and that no more will.
    void append(std::string_view text);
    void end();

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    std::size_t searchFrom_ = 0;
    bool ended_ = false;
};

}  // namespace bed
