#include "client_bed.hpp"

#include <future>

#include "capture_output.hpp"

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
    const auto timed = [&] {
        const auto begin = std::chrono::steady_clock::now();
        const std::int32_t result = request();
        outcome.took = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
        return result;
    };
    const CapturedOutput captured = captureOutput([&] {
        std::future<std::int32_t> running = std::async(std::launch::async, timed);
        talk();
        outcome.result = running.get();
    });
    outcome.output = captured.output;
    outcome.errors = captured.errors;
    return outcome;
}
