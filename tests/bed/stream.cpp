#include "bed/stream.hpp"

#include "bed/wait.hpp"

namespace bed {

void Stream::await(std::string_view text) {
    std::unique_lock lock(mutex_);
    std::size_t found = std::string::npos;
    changed_.wait_for(lock, kPatience, [&] {
        found = text_.find(text, searchFrom_);
        return found != std::string::npos || ended_;
    });
    if (found == std::string::npos) {
        throw Error("the program " +
                    std::string(ended_ ? "ended without writing" : "did not write") + "\n" +
                    std::string(text) + "\nafter the first " + std::to_string(searchFrom_) +
                    " bytes of\n" + text_);
    }
    searchFrom_ = found + text.size();
}

void Stream::awaitWhole(std::string_view text) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kPatience, [&] { return text_ == text || ended_; });
    if (text_ != text) {
        throw Error("the program was to write exactly\n" + std::string(text) + "\nand wrote\n" +
                    text_);
    }
}

void Stream::awaitEnd() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kPatience, [&] { return ended_; })) {
        throw Error("the program's output does not end; so far it is\n" + text_);
    }
}

std::string Stream::all() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

void Stream::append(std::string_view text) {
    const std::lock_guard lock(mutex_);
    text_.append(text);
    changed_.notify_all();
}

void Stream::end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

}  // namespace bed
