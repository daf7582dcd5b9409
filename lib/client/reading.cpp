#include "lib/client/reading.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

#include "lib/catalogue/arguments.hpp"

namespace avoip {

namespace {

const std::string& deviceOf(std::span<const Request> reads) {
    return reads.front().values.front();
}

/// The digits of a MAC address, however it is written.
std::string macDigits(std::string_view text) {
    std::string digits;
    for (const char letter : text) {
        if (std::string_view(":-. ").find(letter) == std::string_view::npos) {
            digits +=
                letter >= 'A' && letter <= 'F' ? static_cast<char>(letter + ('a' - 'A')) : letter;
        }
    }
    return digits;
}

/// Which kind of device is asked: as it calls itself, or else as the commands take it to be.
DeviceKind kindOf(const Fleet& fleet, std::span<const Request> reads) {
    const DeviceFacts* const facts = Fleet_find(fleet, deviceOf(reads));
    DeviceKind kind = facts == nullptr ? DeviceKind::kAny : facts->kind;
    for (const Request& read : reads) {
        kind = kind == DeviceKind::kAny ? read.command->arguments.front().device : kind;
    }
    return kind;
}

/// Whether the command can close a batch: the device takes it, and there is something to compare
/// its answer with.
bool canClose(const Command& command, const Fleet& fleet, std::span<const Request> reads) {
    const DeviceKind taken =
        command.arguments.empty() ? DeviceKind::kAny : command.arguments.front().device;
    if (taken != DeviceKind::kAny && taken != kindOf(fleet, reads)) {
        return false;
    }
    const DeviceFacts* const facts = Fleet_find(fleet, deviceOf(reads));
    return command.witness == Witness::kIdentity ||
           (command.witness == Witness::kMac && facts != nullptr && !macDigits(facts->mac).empty());
}

/// The closing question of a batch; nothing when too little is known of the device.
std::optional<Request> closingOf(const Fleet& fleet, std::span<const Request> reads) {
    // A kind that the batch does not have; or else at least not that of the last read, whose reply
    // is the first to be left over.
    for (const auto& others : {reads, reads.last(1)}) {
        for (const Command& command : Catalogue_commands()) {
            if (canClose(command, fleet, reads) &&
                std::ranges::find(others, &command, &Request::command) == others.end()) {
                return Request{&command, {deviceOf(reads)}};
            }
        }
    }
    return std::nullopt;
}

/// Whether a success answer is about the device that was asked, as far as it says so.
bool isAbout(const Reply& reply, const Request& request, const Fleet& fleet) {
    if (reply.answer.rows.size() != 1) {
        return false;
    }
    const std::string& device = request.values.front();
    const Shape& shape = request.command->shape;
    const auto said = [&](std::string_view key) {
        return Answer_member(shape, reply.answer.rows.front(), key);
    };
    // Of most kinds this is what was asked, as the daemon repeats it: it tells whose answer it is.
    if (said(shape.device) != device) {
        return false;
    }
    const DeviceFacts* const facts = Fleet_find(fleet, device);
    const bool comparable = request.command->witness == Witness::kMac && facts != nullptr &&
                            !macDigits(facts->mac).empty();
    return !comparable || macDigits(said("devmac")) == macDigits(facts->mac);
}

/// Whether asking again would come to the same, whatever the devices do.
bool isFinal(const Reply& reply) {
    return reply.end == End::kRefused || reply.end == End::kNoDaemon || reply.end == End::kNoTurn ||
           reply.end == End::kNoAnswer;
}

/// Turns a reply into one that nobody may believe.
void doubt(Reply& reply, const std::string& device) {
    reply.end = End::kUnverified;
    reply.reason =
        "The answers about \"" + device +
        "\" do not fit the questions, however often it is asked: its replies come late or "
        "twice, or two devices have this identity.";
}

/// Asks one question of a batch. A success that is about another device is none.
Reply askOne(Reader& reader, const Request& request) {
    reader.clean = false;
    Reply reply = reader.ask(request);
    if (reply.succeeded() && !isAbout(reply, request, reader.fleet)) {
        doubt(reply, request.values.front());
    }
    return reply;
}

/// Asks the reads of a batch up to the first that fails, and not the rest then.
void askReads(Reader& reader, std::span<const Request> reads, Batch& batch) {
    batch.replies.clear();
    for (const Request& read : reads) {
        batch.outcome = askOne(reader, read);
        if (!batch.outcome.succeeded()) {
            return;
        }
        batch.replies.push_back(batch.outcome);
    }
}

/// Asks the closing question of a batch whose reads have succeeded; unless it closes well, they
/// have not.
void close(Reader& reader, const std::optional<Request>& closing, const std::string& device,
           Batch& batch) {
    if (!closing) {
        batch.outcome.end = End::kUnverified;
        batch.outcome.reason =
            "What \"" + device +
            "\" says cannot be verified: too little is known of it for a second question.";
        return;
    }
    Reply closed = askOne(reader, *closing);
    reader.clean = closed.succeeded();
    if (isFinal(closed)) {
        batch.outcome = std::move(closed);
    } else if (!closed.succeeded()) {
        doubt(batch.outcome, device);
    }
}

}  // namespace

Reply Reader_list(Reader& reader, const Command& listing) {
    reader.clean = false;
    Reply reply = reader.ask({&listing});
    if (reply.succeeded()) {
        Reader_learn(reader, listing, reply.answer);
    }
    return reply;
}

void Reader_learn(Reader& reader, const Command& listing, const Answer& answer) {
    Fleet_learn(reader.fleet, listing, answer);
    reader.clean = true;
    if (reader.listed) {
        reader.listed(listing, answer);
    }
}

Batch Reader_read(Reader& reader, std::span<const Request> reads) {
    const std::string& device = deviceOf(reads);
    Batch batch;
    for (int round = 0; round < reader.rounds && !isFinal(batch.outcome); ++round) {
        if (!reader.clean || !closingOf(reader.fleet, reads)) {
            Reply listed = Reader_list(reader, Catalogue_listing());
            if (!listed.succeeded()) {
                return {std::move(listed)};
            }
            // A device that has failed and is not listed is not there.
            if (!batch.outcome.succeeded() && Fleet_find(reader.fleet, device) == nullptr) {
                break;
            }
        }
        askReads(reader, reads, batch);
        if (batch.outcome.succeeded()) {
            close(reader, closingOf(reader.fleet, reads), device, batch);
        }
        if (batch.outcome.succeeded()) {
            return batch;
        }
    }
    batch.replies.clear();
    return batch;
}

}  // namespace avoip
