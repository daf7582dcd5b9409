// A system handle (a descriptor, an attachment) that several threads use while one may retire it.
//
// Retiring takes the handle away at once: no use that begins later gets it. It is released -
// closed, detached - when the last use that had it ends, so no use ever meets a number or an
// address that the system has meanwhile given to something else. Nobody waits and nothing is
// locked; a use is meant to last for one system call or one copy.
#pragma once

#include <atomic>

/// @tparam kNone     the value that stands for "no handle"
/// @tparam kRelease  gives a handle back to the system
template <typename Handle, Handle kNone, void (*kRelease)(Handle)>
class SharedHandle {
  public:
    /// Keeps the handle valid while it lives.
    class Use {
      public:
        explicit Use(SharedHandle& shared) : shared_(shared) {
            shared_.users_.fetch_add(1);
            handle_ = shared_.current_.load();
        }
        ~Use() {
            // A use that begins from here on finds kNone, so the last one out may release.
            if (shared_.users_.fetch_sub(1) == 1) {
                const Handle retired = shared_.retired_.exchange(kNone);
                if (retired != kNone) {
                    kRelease(retired);
                }
            }
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        /// The handle, or kNone when it has been retired.
        [[nodiscard]] Handle get() const { return handle_; }

      private:
        SharedHandle& shared_;
        Handle handle_ = kNone;
    };

    /// Hands a handle over. There must be none, or a retired one.
    void set(Handle handle) { current_.store(handle); }

    /// Takes the handle away. Without one it does nothing.
    void retire() {
        const Use use(*this);
        const Handle handle = current_.exchange(kNone);
        if (handle != kNone) {
            retired_.store(handle);
        }
    }

    /// The handle for a call that does no harm should it be retired meanwhile (a wait).
    [[nodiscard]] Handle peek() const { return current_.load(); }

  private:
    std::atomic<Handle> current_{kNone};
    std::atomic<Handle> retired_{kNone};
    std::atomic<int> users_{0};
};
