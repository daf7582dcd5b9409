#include "console/answer_segment.hpp"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <new>

#include "base/output.hpp"
#include "base/shared_handle.hpp"
#include "console/console.hpp"

namespace {

constexpr key_t kKey = 0x12345678;
constexpr int kFlags = IPC_CREAT | 0664;
constexpr std::string_view kPrefix = "end\r\n";
constexpr std::size_t kSize = kPrefix.size() + kAnswerBufferSize + 1;

struct Attachment {
    char* memory;
    std::size_t size;
};

void detach(Attachment* attachment) {
    ::shmdt(attachment->memory);
    delete attachment;
}

SharedHandle<Attachment*, nullptr, detach> attached;

/// The bytes that attaching maps: the system rounds a segment's size up to whole pages.
std::size_t mappedSize(int identifier) {
    shmid_ds status{};
    if (::shmctl(identifier, IPC_STAT, &status) < 0) {
        return 0;
    }
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return (status.shm_segsz + page - 1) / page * page;
}

/// Other threads and other processes may write or read the same bytes at the same time.
void storeShared(char* destination, std::string_view text, std::memory_order order) {
    for (const char character : text) {
        std::atomic_ref(*destination++).store(character, order);
    }
}

}  // namespace

int AnswerSegment_get() {
    int identifier = ::shmget(kKey, kSize, kFlags);
    if (identifier < 0 && errno == EINVAL) {
        // A smaller one stands already; size 0 takes it as it is.
        identifier = ::shmget(kKey, 0, kFlags);
    }
    if (identifier < 0) {
        Output_systemError("shmget errnor");
    }
    return identifier;
}

void AnswerSegment_attach(int identifier) {
    // A listener that ended without cleaning up leaves its attachment to the next one.
    attached.retire();
    void* memory = ::shmat(identifier, nullptr, 0);
    if (reinterpret_cast<std::intptr_t>(memory) == -1) {
        return;
    }
    auto* attachment =
        new (std::nothrow) Attachment{static_cast<char*>(memory), mappedSize(identifier)};
    if (attachment == nullptr || attachment->size <= kPrefix.size()) {
        ::shmdt(memory);
        delete attachment;
        return;
    }
    attached.set(attachment);
}

void AnswerSegment_post(std::string_view answer) {
    const decltype(attached)::Use use(attached);
    const Attachment* attachment = use.get();
    if (attachment == nullptr) {
        return;
    }
    const std::size_t room = attachment->size - kPrefix.size() - 1;
    const std::string_view stored = answer.substr(0, room);
    char* text = attachment->memory + kPrefix.size();
    storeShared(text, stored, std::memory_order_relaxed);
    storeShared(text + stored.size(), std::string_view("\0", 1), std::memory_order_relaxed);
    // Nobody who sees a byte of the prefix sees less than the whole answer behind it.
    storeShared(attachment->memory, kPrefix, std::memory_order_release);
    if (stored.size() < answer.size()) {
        Output_print("answer of %zu characters cut to %zu: the answer segment is too small\n",
                     answer.size(), stored.size());
    }
}

void AnswerSegment_remove(int identifier) {
    attached.retire();
    ::shmctl(identifier, IPC_RMID, nullptr);
}
