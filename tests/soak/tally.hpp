// Texts that are expected to be seen, each so many times, and those that have been seen.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace soak {

class Tally {
  public:
    /// `text` is to be seen so many times more.
    void expect(const std::string& text, int least = 1, int most = 1);
    void see(const std::string& text);

    /// Whether everything has been seen that must be.
    bool isComplete() const { return missing_ == 0; }

    /// Says of each text that was seen too seldom or too often how it was, and begins anew: what is
    /// seen later and was not expected after this is too much.
    std::vector<std::string> settle();

    /// Since the beginning.
    std::uint64_t seen() const { return allSeen_; }

  private:
    struct Count {
        int least = 0;
        int most = 0;
        int seen = 0;
        int missing() const { return least > seen ? least - seen : 0; }
    };

    template <class Change>
    void change(const std::string& text, const Change& change);

    std::map<std::string, Count> counts_;
    int missing_ = 0;
    std::uint64_t allSeen_ = 0;
};

}  // namespace soak
