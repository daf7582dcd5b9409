// A file descriptor with one owner, closed when the owner goes.
#pragma once

#include <unistd.h>

#include <utility>

namespace avoip {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { reset(); }

    /// The number; negative where there is none.
    [[nodiscard]] int get() const { return number_; }

    /// Whether there is one: a call that makes descriptors gives a negative number when it fails.
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }

    /// Gives the number away: whoever takes it closes it.
    [[nodiscard]] int release() { return std::exchange(number_, -1); }

    /// Closes the descriptor now.
    void reset() {
        if (isOpen()) {
            ::close(std::exchange(number_, -1));
        }
    }

  private:
    int number_ = -1;
};

}  // namespace avoip
