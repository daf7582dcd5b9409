// A system handle (a descriptor, an attachment) that several threads use while one may retire it.
//
// Retiring takes the handle away at once: no use that begins later gets it. It is released -
// closed, detached - as soon as no use is under way, so no use ever meets a number or an address
// that the system has meanwhile given to something else. Nobody waits and nothing is locked; a use
// is meant to last for one system call or one copy.
#pragma once

#include <atomic>
#include <cstdint>

/// @tparam kNone     the value that stands for "no handle"
/// @tparam kRelease  gives a handle back to the system
template <typename Handle, Handle kNone, void (*kRelease)(Handle)>
class SharedHandle {
  public:
    /// Keeps the handle valid while it lives.
    class Use {
      public:
        explicit Use(SharedHandle& shared) : shared_(shared) {
            // Counted before it looks, so that whoever releases knows of every one who has it.
            shared_.state_ += kOneUse;
            handle_ = shared_.current_.load();
        }
        ~Use() {
            shared_.state_ -= kOneUse;
            shared_.releaseIfUnused();
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        /// The handle, or kNone when it has been retired.
        [[nodiscard]] Handle get() const { return handle_; }

      private:
        SharedHandle& shared_;
        Handle handle_ = kNone;
    };

    /// Hands a handle over. There must be none, or a retired one that nobody uses any more.
    void set(Handle handle) { current_.store(handle); }

    /// Takes the handle away. Without one it does nothing.
    void retire() {
        const Use use(*this);
        const Handle handle = current_.exchange(kNone);
        if (handle != kNone) {
            retired_.store(handle);
            state_ |= kRetired;
        }
    }

    /// The handle for a call that does no harm should it be retired meanwhile (a wait).
    [[nodiscard]] Handle peek() const { return current_.load(); }

  private:
    static constexpr std::uint32_t kRetired = 1;
    static constexpr std::uint32_t kOneUse = 2;

    void releaseIfUnused() {
        // "Retired, and nobody uses it" is left in one step, so that only one thread releases. A
        // use that has begun since the retirement is in the way too; it looks again when it ends.
        std::uint32_t unused = kRetired;
        if (state_.compare_exchange_strong(unused, 0)) {
            const Handle retired = retired_.exchange(kNone);
            if (retired != kNone) {
                kRelease(retired);
            }
        }
    }

    std::atomic<Handle> current_{kNone};
    std::atomic<Handle> retired_{kNone};
    /// kRetired while a retired handle awaits its release, plus kOneUse for each use.
    std::atomic<std::uint32_t> state_{0};
};
