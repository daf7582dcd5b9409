#include "bed/segment.hpp"

#include <sys/ipc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

namespace bed {

namespace {

int find(key_t key = kSegmentKey) {
    return ::shmget(key, 0, 0);
}

}  // namespace

void Segment::create(std::size_t size) {
    if (::shmget(kSegmentKey, size, IPC_CREAT | IPC_EXCL | 0664) < 0) {
        throwSystemError("cannot make the answer segment");
    }
}

void Segment::remove() {
    if (::shmctl(find(), IPC_RMID, nullptr) != 0) {
        throwSystemError("cannot remove the answer segment");
    }
}

bool Segment::exists() {
    return find() >= 0;
}

Segment::Segment(key_t key) {
    awaitCondition("the answer segment", [&] {
        id_ = find(key);
        return id_ >= 0;
    });
    void* memory = ::shmat(id_, nullptr, 0);
    if (reinterpret_cast<std::intptr_t>(memory) == -1) {
        throwSystemError("cannot attach the answer segment");
    }
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t pages = (status().shm_segsz + page - 1) / page;
    bytes_ = {static_cast<char*>(memory), pages * page};
}

Segment::~Segment() {
    ::shmdt(bytes_.data());
}

void Segment::clear() {
    for (char& byte : bytes_.first(kAnswerPrefix.size())) {
        std::atomic_ref(byte).store('\0', std::memory_order_release);
    }
}

bool Segment::hasAnswer() const {
    // The daemon writes the prefix last; who sees all of it must see the answer too.
    return std::ranges::equal(
        bytes_.first(kAnswerPrefix.size()), kAnswerPrefix, {},
        [](char& byte) { return std::atomic_ref(byte).load(std::memory_order_acquire); });
}

std::string Segment::awaitAnswer(std::chrono::milliseconds patience) const {
    awaitCondition(
        "an answer in the segment", [this] { return hasAnswer(); }, patience);
    const auto text = bytes_.subspan(kAnswerPrefix.size());
    return {text.data(), ::strnlen(text.data(), text.size())};
}

std::string Segment::ask(Console& console, std::string_view line) {
    clear();
    console.send(line);
    return awaitAnswer();
}

shmid_ds Segment::status() const {
    shmid_ds found{};
    if (::shmctl(id_, IPC_STAT, &found) != 0) {
        throwSystemError("cannot ask for the state of the answer segment");
    }
    return found;
}

}  // namespace bed
