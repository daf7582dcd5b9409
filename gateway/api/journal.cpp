#include "gateway/api/journal.hpp"

#include <vector>

#include "gateway/base/text.hpp"
#include "lib/base/json.hpp"

namespace avoip::gw {
namespace {

constexpr auto kTrimEvery = std::chrono::hours(1);

void addOptional(cJSON* parent, std::string_view key, const std::optional<std::string>& text) {
    Json_addTextOrNull(parent, key, Text_repaired(text.value_or("")));
}

}  // namespace

std::string LogEntry_json(const LogEntry& entry) {
    const Json json = Json_newObject();
    Json_addWhole(json.get(), "id", entry.id);
    Json_addText(json.get(), "time", Time_text(entry.time));
    addOptional(json.get(), "user", entry.user);
    addOptional(json.get(), "address", entry.address);
    Json_addText(json.get(), "action", entry.action);
    addOptional(json.get(), "target", entry.target);
    addOptional(json.get(), "detail", entry.detail);
    Json_addText(json.get(), "result", entry.result);
    return Json_print(json.get());
}

void Journal_write(Store& store, SharedState& state, std::span<LogEntry> entries) {
    Store_log(store, entries);
    state.with([entries](State& shared) {
        for (const LogEntry& entry : entries) {
            State_logged(shared, std::to_string(entry.id), LogEntry_json(entry));
        }
    });
}

Journal::Journal(Store& store, SharedState& state, Clock clock, int keepDays)
    : store_(store), state_(state), clock_(std::move(clock)), keep_(keepDays), thread_([this] {
          work();
      }) {}

Journal::~Journal() {
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    news_.notify_one();
    thread_.join();
}

void Journal::add(LogEntry entry) {
    const std::lock_guard lock(mutex_);
    entry.time = clock_();
    waiting_.push_back(std::move(entry));
    if (waiting_.size() > kWaitingMax) {
        waiting_.pop_front();
    }
    news_.notify_one();
}

void Journal::trim() const {
    try {
        Store_trimLog(store_, clock_() - keep_);
    } catch (const StoreError&) {
        // It is tried again an hour later; nothing that was asked for is lost.
        return;
    }
}

void Journal::work() {
    std::unique_lock lock(mutex_);
    for (auto trimAt = std::chrono::steady_clock::now(); !over_ || !waiting_.empty();) {
        std::vector<LogEntry> batch(std::make_move_iterator(waiting_.begin()),
                                    std::make_move_iterator(waiting_.end()));
        waiting_.clear();
        lock.unlock();
        if (!batch.empty()) {
            try {
                Journal_write(store_, state_, batch);
            } catch (const StoreError&) {
                batch.clear();  // a full disk: the promise in the header
            }
        }
        if (std::chrono::steady_clock::now() >= trimAt) {
            trim();
            trimAt = std::chrono::steady_clock::now() + kTrimEvery;
        }
        lock.lock();
        news_.wait_until(lock, trimAt, [this] { return over_ || !waiting_.empty(); });
    }
}

}  // namespace avoip::gw
