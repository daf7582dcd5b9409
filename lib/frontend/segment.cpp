#include "lib/frontend/segment.hpp"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace avoip {

namespace {

constexpr char kPrefix[] = {'e', 'n', 'd', '\r', '\n'};
constexpr std::size_t kPrefixSize = sizeof kPrefix;
constexpr std::int64_t kGraceMs = 1000;

char load(const char& byte, std::memory_order order = std::memory_order_relaxed) {
    // atomic_ref wants an object that may be written; this one only reads it.
    return std::atomic_ref<char>(const_cast<char&>(byte)).load(order);
}

/// The bytes that an attached segment of `requested` bytes spans: the system maps whole pages.
std::size_t attachedSize(std::size_t requested) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return (requested + page - 1) / page * page;
}

}  // namespace

avoip_result Segment::attach(Deadline deadline, Reason& reason) {
    detach();
    const Deadline patience = std::min(deadline, Deadline_in(kGraceMs));
    Pauses pauses;
    int id = ::shmget(AVOIP_SEGMENT_KEY, 0, 0);
    while (id < 0 && errno == ENOENT && Deadline_left_us(patience) > 0) {
        Pauses_sleep(pauses, patience, -1);
        id = ::shmget(AVOIP_SEGMENT_KEY, 0, 0);
    }
    if (id < 0) {
        Segment_explainAbsence(reason, errno);
        return AVOIP_NO_SEGMENT;
    }
    shmid_ds facts{};
    void* const attached = ::shmat(id, nullptr, 0);
    if (attached == reinterpret_cast<void*>(-1) || ::shmctl(id, IPC_STAT, &facts) != 0) {
        Reason_set(reason,
                   "The answer segment (key 0x%08x) cannot be attached for reading and writing "
                   "(%s). Use the daemon's user, its group, or root.",
                   AVOIP_SEGMENT_KEY, std::strerror(errno));
        if (attached != reinterpret_cast<void*>(-1)) {
            ::shmdt(attached);
        }
        return AVOIP_NO_SEGMENT;
    }
    address_ = static_cast<char*>(attached);
    size_ = std::min(attachedSize(facts.shm_segsz), kPrefixSize + kAnswerMax);
    if (facts.shm_segsz < kPrefixSize) {
        detach();
        Reason_set(reason,
                   "The answer segment (key 0x%08x) is too small: it has room for %zu bytes. End "
                   "the daemon, remove the segment (ipcrm -M 0x%08x) and start the daemon again.",
                   AVOIP_SEGMENT_KEY, facts.shm_segsz, AVOIP_SEGMENT_KEY);
        return AVOIP_NO_SEGMENT;
    }
    return AVOIP_OK;
}

void Segment::detach() {
    if (address_ != nullptr) {
        ::shmdt(address_);
        address_ = nullptr;
        size_ = 0;
    }
}

void Segment::clearPrefix() {
    for (std::size_t i = 0; i < kPrefixSize; ++i) {
        // The daemon must not get the command before the cleared bytes.
        std::atomic_ref<char>(address_[i]).store('\0', std::memory_order_seq_cst);
    }
}

bool Segment::hasAnswer() const {
    for (std::size_t i = 0; i < kPrefixSize; ++i) {
        // Whoever sees the prefix sees the answer that was stored before it.
        if (load(address_[i], std::memory_order_acquire) != kPrefix[i]) {
            return false;
        }
    }
    return true;
}

char* Segment::copyAnswer() const {
    const char* const answer = address_ + kPrefixSize;
    const std::size_t most = room();
    std::size_t length = 0;
    while (length < most && load(answer[length]) != '\0') {
        ++length;
    }
    char* const copy = static_cast<char*>(std::malloc(length + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    for (std::size_t i = 0; i < length; ++i) {
        copy[i] = load(answer[i]);
    }
    copy[length] = '\0';
    return copy;
}

std::size_t Segment::room() const {
    return size_ - kPrefixSize;
}

SegmentFacts Segment_facts() {
    const int id = ::shmget(AVOIP_SEGMENT_KEY, 0, 0);
    shmid_ds facts{};
    if (id < 0 || ::shmctl(id, IPC_STAT, &facts) != 0) {
        return {};
    }
    return {true, facts.shm_perm.uid, facts.shm_perm.gid};
}

void Segment_explainAbsence(Reason& reason, int error) {
    Reason_set(reason,
               "The answer segment (key 0x%08x) is not there (%s). avoipd must run on this machine "
               "and in the same IPC namespace; its output says whether it could make the segment.",
               AVOIP_SEGMENT_KEY, std::strerror(error));
}

}  // namespace avoip
