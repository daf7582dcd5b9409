#include "lib/client/confirm.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

namespace avoip {

namespace {

constexpr int kInSuccession = 2;

std::optional<long long> numberIn(std::string_view text) {
    long long number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc{} && read.ptr == end ? std::optional(number) : std::nullopt;
}

/// Whether a device means the same by `said` as the change by its argument.
bool isSame(const Argument& argument, std::string_view wanted, std::string_view said) {
    if (argument.kind == ArgumentKind::kNumber && numberIn(said)) {
        return numberIn(wanted) == numberIn(said);
    }
    return wanted == said;
}

/// One look at a device: what speaks against the change, empty when nothing does.
std::string lookAt(Reader& reader, const Command& asked, const std::string& device,
                   const Request& change) {
    if (asked.exchange.kind == ExchangeKind::kReading) {
        const Request read{&asked, {device}};
        const Batch batch = Reader_read(reader, {&read, 1});
        return batch.outcome.succeeded()
                   ? Confirm_difference(batch.outcome.answer.rows.front(), change)
                   : "it does not answer";
    }
    const Reply listed = Reader_list(reader, asked);
    std::string problem = "it is not listed";
    for (const Row& row : listed.answer.rows) {
        if (Answer_member(asked.shape, row, asked.shape.device) == device) {
            problem = Confirm_difference(row, change);
            if (!problem.empty()) {
                break;
            }
        }
    }
    return problem;
}

/// Looks at a device until nothing speaks against the change twice in succession.
std::string problemWith(Reader& reader, const Command& asked, const std::string& device,
                        const Request& change, const std::function<bool()>& again) {
    std::string problem;
    for (int agreed = 0; agreed < kInSuccession;) {
        problem = lookAt(reader, asked, device, change);
        agreed = problem.empty() ? agreed + 1 : 0;
        if (agreed == 0 && !again()) {
            break;
        }
    }
    return problem;
}

/// The devices that the change is for, and so have to be asked; none when they cannot be listed.
std::vector<std::string> devicesOf(Reader& reader, const Request& change) {
    const int argument = change.command->askedBack.device;
    if (argument != kEveryDecoder) {
        return {change.values[static_cast<std::size_t>(argument)]};
    }
    std::vector<std::string> decoders;
    if (Reader_list(reader, Catalogue_listing()).succeeded()) {
        for (const auto& [identity, facts] : reader.fleet) {
            if (facts.kind == DeviceKind::kDecoder) {
                decoders.push_back(identity);
            }
        }
    }
    return decoders;
}

/// Whether the device is of a kind that the question is for. It may have to be listed for that.
bool takes(Reader& reader, const Command& asked, const std::string& device) {
    const DeviceKind wanted =
        asked.arguments.empty() ? DeviceKind::kAny : asked.arguments.front().device;
    if (wanted == DeviceKind::kAny) {
        return true;
    }
    if (Fleet_find(reader.fleet, device) == nullptr) {
        Reader_list(reader, Catalogue_listing());
    }
    const DeviceFacts* const facts = Fleet_find(reader.fleet, device);
    return facts == nullptr || facts->kind == DeviceKind::kAny || facts->kind == wanted;
}

}  // namespace

Confirmation Reader_confirm(Reader& reader, const Request& change,
                            const std::function<bool()>& again) {
    const AskedBack& back = change.command->askedBack;
    if (back.text.empty()) {
        return {Verdict::kCannotBeAsked};
    }
    const Command& asked = *Catalogue_findText(back.text);
    const std::vector<std::string> devices = devicesOf(reader, change);
    if (devices.empty()) {
        return {Verdict::kNotConfirmed, "No decoder is listed."};
    }
    for (const std::string& device : devices) {
        if (!takes(reader, asked, device)) {
            return {Verdict::kCannotBeAsked};
        }
        const std::string problem = problemWith(reader, asked, device, change, again);
        if (!problem.empty()) {
            return {Verdict::kNotConfirmed, "Of \"" + device + "\": " + problem + "."};
        }
    }
    return {Verdict::kConfirmed};
}

std::string Confirm_difference(const Row& row, const Request& change) {
    const AskedBack& back = change.command->askedBack;
    const Shape& shape = Catalogue_findText(back.text)->shape;
    for (const Expectation& expected : back.expected) {
        const std::string said = Answer_member(shape, row, expected.member);
        const auto place = static_cast<std::size_t>(std::max(expected.argument, 0));
        const bool right = expected.argument == kNothing ? said.empty()
                                                         : isSame(change.command->arguments[place],
                                                                  change.values[place], said);
        if (!right) {
            return "its " + std::string(expected.member) + " is \"" + said + "\"";
        }
    }
    return {};
}

}  // namespace avoip
