#include "client_bed.hpp"

#include <atomic>
#include <future>

#include "capture_output.hpp"
#include "system_calls.hpp"

namespace {

/// Takes a flag back when it goes, also when it goes by an exception.
class Ended {
  public:
    explicit Ended(std::atomic<bool>& flag) : flag_(flag) {}
    ~Ended() { flag_ = false; }
    Ended(const Ended&) = delete;
    Ended& operator=(const Ended&) = delete;

  private:
    std::atomic<bool>& flag_;
};

}  // namespace

ClientBed::ClientBed() {
    if (Protocol_client_create(&client, bed::kControlInterface, "Control", kHostIdentity,
                               bed::kGroup, bed::kRequestPort) < 0) {
        throw bed::Error("cannot create the client");
    }
}

ClientBed::~ClientBed() {
    Protocol_client_destroy(client);
}

DeviceId deviceId(const char* text) {
    DeviceId id{};
    id.set(text);
    return id;
}

Outcome runRequest(const std::function<std::int32_t()>& request,
                   const std::function<void()>& talk) {
    Outcome outcome;
    std::atomic<bool> talking = true;
    SystemCalls calls;
    calls.shorten = [&talking](int descriptor, int timeout_ms) {
        while (talking && !bed::awaitReadable(descriptor, std::chrono::milliseconds(5))) {
        }
        return timeout_ms;
    };
    const auto timed = [&] {
        const auto begin = std::chrono::steady_clock::now();
        const std::int32_t result = calls.during(request);
        outcome.took = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
        return result;
    };
    const CapturedOutput captured = captureOutput([&] {
        std::future<std::int32_t> running = std::async(std::launch::async, timed);
        {
            const Ended ended(talking);
            talk();
        }
        outcome.result = running.get();
    });
    outcome.output = captured.output;
    outcome.errors = captured.errors;
    return outcome;
}
