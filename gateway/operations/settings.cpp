#include "gateway/operations/settings.hpp"

#include <algorithm>
#include <vector>

#include "gateway/operations/body.hpp"
#include "lib/base/json.hpp"
#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// How long a device is given to say its settings, and to take over those that are new.
constexpr Span kReadPatience = 8s;
constexpr Span kConfirmPatience = 5s;

/// How long a change waits for another one to be done: what is not given is read first, and nobody
/// shall change it meanwhile.
constexpr Span kOtherChange = 10s;

/// What a device tells of itself that is no setting.
constexpr std::string_view kNames[] = {"alias", "deviceid"};

/// The two commands that read and write settings of one kind of device.
struct SettingsCommands {
    const Command* read;
    const Command* change;
};

SettingsCommands commandsOf(Settings settings, DeviceType type) {
    const auto both = [](const char* read, const char* change) {
        return SettingsCommands{Catalogue_findText(read), Catalogue_findText(change)};
    };
    switch (settings) {
        case Settings::kNetwork:
            return both("config get net params", "config set net params");
        case Settings::kSerial:
            return both("serial get params", "serial set params");
        case Settings::kParameters:
            break;
    }
    return type == DeviceType::kEncoder ? both("config get tx params", "config set tx params")
                                        : both("config get rx params", "config set rx params");
}

/// The commands for this device, unless something stands in the way.
Outcome<SettingsCommands> commandsFor(const Operations& operations, Settings settings,
                                      const std::string& id) {
    return operations.state.with([&](const State& state) -> Outcome<SettingsCommands> {
        if (const auto problem = Problem_ofDevice(state, id, DeviceKind::kAny, "id")) {
            return *problem;
        }
        const DeviceType type = State_device(state, id)->type;
        if (settings == Settings::kParameters && type == DeviceType::kUnknown) {
            return Problem{422, "\"" + id + "\" is neither an encoder nor a decoder.", "id"};
        }
        return commandsOf(settings, type);
    });
}

/// What a device says now.
Outcome<Row> ask(const Operations& operations, const Command& read, const std::string& id) {
    const Batch batch = operations.asking.read({{&read, {id}}}, Steady::now() + kReadPatience);
    if (!batch.outcome.succeeded()) {
        Problem problem = Problem_of(batch.outcome);
        if (batch.outcome.end == End::kFailure) {
            problem.detail = "The device refuses to tell.";
        }
        return problem;
    }
    return batch.replies.front().answer.rows.front();
}

Json treeOf(const Shape& shape, const Row& row) {
    Json root = Json_newObject();
    for (const Member& member : shape.members) {
        if (std::ranges::find(kNames, member.key) == std::end(kNames)) {
            Json_addText(root.get(), member.key, Answer_member(shape, row, member.key));
        }
    }
    return root;
}

/// The values of the change: those of the body, or else those that the device has.
Outcome<Request> changeOf(const SettingsCommands& commands, const std::string& id, const Row& row,
                          const cJSON* body) {
    Request change{commands.change,
                   std::vector<std::string>(commands.change->arguments.size(), id)};
    Body read(body);
    for (const Expectation& expected : commands.change->askedBack.expected) {
        const auto place = static_cast<std::size_t>(expected.argument);
        const std::string field(expected.member);
        const auto given = read.text(field);
        change.values[place] = given.value_or(Answer_member(commands.read->shape, row, field));
        auto problem =
            Problem_ofValue(commands.change->arguments[place], change.values[place], field);
        if (problem && !given) {
            problem->detail += " The device says \"" + change.values[place] +
                               "\", which cannot be sent back to it: give a value.";
        }
        read.take(problem);
    }
    return read.outcome(std::move(change));
}

/// Whether the body has no members but settings, with values that can be sent.
std::optional<Problem> problemOf(const Command& change, const cJSON* body) {
    Body read(body);
    std::vector<std::string_view> fields;
    for (const Expectation& expected : change.askedBack.expected) {
        fields.push_back(expected.member);
        const auto given = read.text(expected.member);
        const Argument& argument = change.arguments[static_cast<std::size_t>(expected.argument)];
        if (given) {
            read.take(Problem_ofValue(argument, *given, std::string(expected.member)));
        }
    }
    read.only(fields);
    return read.problem();
}

/// How the API calls what a setting may be.
std::string_view kindOf(const Argument& argument) {
    switch (argument.kind) {
        case ArgumentKind::kNumber:
            return "number";
        case ArgumentKind::kChoice:
            return "choice";
        case ArgumentKind::kAddress:
            return "address";
        default:
            return "text";
    }
}

void addRange(cJSON* ranges, std::string_view name, const Argument& argument) {
    cJSON* const range = Json_appendObject(ranges);
    Json_addText(range, "name", name);
    Json_addText(range, "kind", kindOf(argument));
    Json_addText(range, "summary", argument.summary);
    Json_addText(range, "example", argument.example);
    switch (argument.kind) {
        case ArgumentKind::kNumber:
            Json_addWhole(range, "minimum", argument.minimum);
            Json_addWhole(range, "maximum", argument.maximum);
            break;
        case ArgumentKind::kChoice: {
            cJSON* const choices = Json_addArray(range, "choices");
            for (const std::string_view choice : Arguments_choices(argument)) {
                Json_appendText(choices, choice);
            }
            break;
        }
        case ArgumentKind::kAddress:
            break;
        default:
            Json_addWhole(range, "maximum_length", static_cast<std::int64_t>(kWordMax));
    }
}

void addRanges(cJSON* parent, std::string_view key, Settings settings, DeviceType type) {
    const Command& change = *commandsOf(settings, type).change;
    cJSON* const ranges = Json_addArray(parent, key);
    for (const Expectation& expected : change.askedBack.expected) {
        addRange(ranges, expected.member,
                 change.arguments[static_cast<std::size_t>(expected.argument)]);
    }
}

}  // namespace

std::string Settings_ranges() {
    const Json root = Json_newObject();
    cJSON* const parameters = Json_addObject(root.get(), "parameters");
    addRanges(parameters, "encoder", Settings::kParameters, DeviceType::kEncoder);
    addRanges(parameters, "decoder", Settings::kParameters, DeviceType::kDecoder);
    addRanges(root.get(), "network", Settings::kNetwork, DeviceType::kUnknown);
    addRanges(root.get(), "serial", Settings::kSerial, DeviceType::kUnknown);
    return Json_print(root.get());
}

Outcome<std::string> Settings_ask(Operations& operations, Settings settings,
                                  const std::string& id) {
    const auto commands = commandsFor(operations, settings, id);
    if (!commands.succeeded()) {
        return commands.problem();
    }
    const Command& read = *commands.value().read;
    const auto row = ask(operations, read, id);
    if (!row.succeeded()) {
        return row.problem();
    }
    return Printable_json(Json_print(treeOf(read.shape, row.value()).get()));
}

Outcome<std::string> Settings_change(Operations& operations, Settings settings,
                                     const std::string& id, const cJSON* body) {
    // All changes of settings take the identity alike.
    const Argument& device = commandsOf(settings, DeviceType::kUnknown).change->arguments.front();
    if (const auto problem = Problem_ofValue(device, id, "id")) {
        return *problem;
    }
    const auto commands = commandsFor(operations, settings, id);
    if (!commands.succeeded()) {
        return commands.problem();
    }
    if (const auto problem = problemOf(*commands.value().change, body)) {
        return *problem;
    }
    const std::unique_lock alone(operations.changing, Steady::now() + kOtherChange);
    if (!alone.owns_lock()) {
        return Problem_of({End::kNoTurn, {}, "Other settings are being changed. Try again."});
    }
    const Command& read = *commands.value().read;
    const auto before = ask(operations, read, id);
    if (!before.succeeded()) {
        return before.problem();
    }
    const auto change = changeOf(commands.value(), id, before.value(), body);
    if (!change.succeeded()) {
        return change.problem();
    }
    if (const auto sent = Operations_send(operations, change.value()); !sent.succeeded()) {
        return sent.problem();
    }
    const auto verdicts =
        operations.asking.confirm({change.value()}, Steady::now() + kConfirmPatience);
    const auto after = ask(operations, read, id);
    if (!after.succeeded()) {
        Problem problem = after.problem();
        problem.detail = "The change was sent. " + problem.detail;
        return problem;
    }
    const Json root = treeOf(read.shape, after.value());
    Json_addTruth(root.get(), "confirmed", verdicts.front() == Verdict::kConfirmed);
    return Printable_json(Json_print(root.get()));
}

}  // namespace avoip::gw
