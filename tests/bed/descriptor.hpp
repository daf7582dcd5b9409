// A file descriptor with one owner, closed when the owner goes.
#pragma once

#include <unistd.h>

#include <utility>

namespace bed {

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

    /// The number, or -1 where there is none.
    int get() const { return number_; }

    /// Closes the descriptor now.
    void reset() {
        if (number_ >= 0) {
            ::close(std::exchange(number_, -1));
        }
    }

  private:
    int number_ = -1;
};

}  // namespace bed
