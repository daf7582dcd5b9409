#include "lib/client/client.hpp"

#include <chrono>
#include <thread>

#include "lib/client/questions.hpp"

namespace avoip {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// For how long a device is asked again that does not say what it should.
constexpr auto kConfirmPatience = 2s;
constexpr auto kConfirmPause = 100ms;

/// Does `act`, which gives a Reply, in a turn that begins with this question.
template <class Act>
Reply inTurn(Client& client, const NamedQuestion& first, Act act) {
    const auto entered = Client_enter(client, Client_timeout_ms(client, first));
    Reply reply = entered == AVOIP_OK ? act() : Client_reply(client, first, entered, nullptr);
    Client_leave(client);
    return reply;
}

}  // namespace

Client::Client(ClientOptions chosen) : options(std::move(chosen)) {
    reader.ask = [this](const Request& request) {
        Reply checked = Request_check(request);
        return checked.succeeded() ? Client_ask(*this, NamedQuestion(checked.text)) : checked;
    };
}

Reply Client_run(Client& client, const Request& request) {
    Reply checked = Request_check(request);
    if (!checked.succeeded()) {
        return checked;
    }
    const NamedQuestion named(checked.text);
    switch (request.command->exchange.kind) {
        case ExchangeKind::kReading:
            return Client_read(client, {&request, 1}).outcome;
        case ExchangeKind::kListing:
            return inTurn(client, named,
                          [&] { return Reader_list(client.reader, *request.command); });
        case ExchangeKind::kUpdating:
            return Client_update(client, request, {});
        case ExchangeKind::kSending:
            break;
    }
    return inTurn(client, named, [&] { return Client_ask(client, named); });
}

Batch Client_read(Client& client, std::span<const Request> reads) {
    Reply checked = Request_check(reads.front());
    if (!checked.succeeded()) {
        return {std::move(checked)};
    }
    const NamedQuestion named(checked.text);
    Batch batch;
    batch.outcome = inTurn(client, named, [&] {
        batch = Reader_read(client.reader, reads);
        return batch.outcome;
    });
    return batch;
}

Confirmation Client_confirm(Client& client, const Request& change) {
    const NamedQuestion named(Request_check(change).text);
    const auto end = Clock::now() + kConfirmPatience;
    Confirmation confirmation;
    // Others have their turns between two looks at a device that takes its time.
    const auto again = [&] {
        if (Clock::now() > end) {
            return false;
        }
        Client_leave(client);
        std::this_thread::sleep_for(kConfirmPause);
        return Client_enter(client, Client_timeout_ms(client, named)) == AVOIP_OK;
    };
    const Reply entered = inTurn(client, named, [&] {
        confirmation = Reader_confirm(client.reader, change, again);
        return Reply{};
    });
    if (!entered.succeeded()) {
        confirmation = {Verdict::kNotConfirmed, entered.reason};
    }
    return confirmation;
}

Reply Client_send(Client& client, const std::string& text) {
    if (const char* const refusal = avoip_frontend_refusal(text.c_str()); refusal != nullptr) {
        return {End::kRefused, text, refusal};
    }
    const NamedQuestion named(text);
    return inTurn(client, named, [&] {
        const bool reads = named.question.shared_ms > 0;
        client.reader.clean = client.reader.clean && !reads;
        Reply reply = Client_ask(client, named);
        if (reply.succeeded() && named.command != nullptr &&
            named.command->exchange.kind == ExchangeKind::kListing) {
            Reader_learn(client.reader, *named.command, reply.answer);
        }
        return reply;
    });
}

}  // namespace avoip
