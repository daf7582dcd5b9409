// The commands of the console as data: one row each, with everything that a front end has to know.
//
// avoipctl makes its subcommands, its help, its completion, its "did you mean", its tables and the
// command table of the documentation from these rows, lib/client what it asks and what it believes,
// and nothing about a command is written down anywhere else. A new command is a new row.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace avoip {

/// What an argument may be; arguments.hpp has the checks.
enum class ArgumentKind {
    kIdentity,      ///< a device identity that is one word of the line
    kLastIdentity,  ///< a device identity that is the rest of the line, so it may hold blanks
    kAlias,         ///< the name of a device: the rest of the line
    kWord,          ///< a text without blanks that is passed on as it is
    kChoice,        ///< one of a few words
    kNumber,        ///< a decimal number within a range
    kAddress,       ///< an IPv4 address
    kHex,           ///< bytes, as an even number of hexadecimal digits
    kPath           ///< a file on the daemon's machine: the rest of the line
};

/// Which devices an identity may name.
enum class DeviceKind { kAny, kEncoder, kDecoder };

// In the order in which a row reads best.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct Argument {
    std::string_view name;
    ArgumentKind kind;
    std::string_view summary;
    std::string_view example;
    int minimum = 0;                ///< smallest number
    int maximum = 0;                ///< greatest number, or most hexadecimal digits
    std::string_view choices = {};  ///< the words of a choice, a blank between two
    DeviceKind device = DeviceKind::kAny;
};

/// A member of an object in an answer.
struct Member {
    std::string_view key;
    std::string_view heading;  ///< how tables call it
};

/// What stands in a success answer beside "ack": an array of objects under `key`, or nothing when
/// `key` is empty.
struct Shape {
    std::string_view key = {};
    std::span<const Member> members = {};
    std::string_view device = {};  ///< the key of the member that names the device
};

/// What the daemon does for a command.
enum class ExchangeKind {
    kSending,  ///< sends to devices and waits for nothing
    kReading,  ///< asks one device and waits for its reply
    kListing,  ///< asks many devices and takes replies until there is silence
    kUpdating  ///< lists, then uploads over TCP
};

struct Exchange {
    ExchangeKind kind = ExchangeKind::kSending;
    int timeout_ms = 0;  ///< how long to wait for the answer
};

/// What in an answer comes from the device itself and says which device that is.
enum class Witness {
    kNothing,   ///< nothing: the identity in it, if any, is the one that was typed
    kIdentity,  ///< "deviceid"
    kMac        ///< "devmac", to be compared with the one in a list of devices
};

/// In place of the number of an argument.
inline constexpr int kNothing = -1;
inline constexpr int kEveryDecoder = -1;

/// A member of what is read back must have the value of an argument of the change, or must be
/// empty.
struct Expectation {
    std::string_view member;
    int argument;  ///< kNothing: empty
};

/// How to see what became of a change: the command that reads it back, from which device, and what
/// it then says. Without `text` it cannot be asked.
struct AskedBack {
    std::string_view text = {};
    int device = 0;  ///< the argument that names the device, or kEveryDecoder
    std::span<const Expectation> expected = {};
};

// In the order in which a row reads best.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct Command {
    std::string_view group;   ///< first word of the subcommand
    std::string_view action;  ///< second word, empty where the first says it all
    std::string_view text;    ///< what the console calls it, without arguments and "!"
    std::span<const Argument> arguments = {};
    std::string_view summary;
    Shape shape = {};
    Exchange exchange;
    DeviceKind lists = DeviceKind::kAny;  ///< of a listing: which devices it is about
    bool everyone = false;                ///< it concerns every device, or every one of a kind
    std::string_view successName = {};    ///< "cmd" of the success answer, empty when it is `text`
    std::string_view failureName = {};    ///< "cmd" of the failure answer, empty when it is `text`
    Witness witness = Witness::kNothing;
    AskedBack askedBack = {};
};

/// The subcommand groups that hold actions, with what they are about.
struct Group {
    std::string_view name;
    std::string_view summary;
};

/// All commands, in the order of the documentation.
std::span<const Command> Catalogue_commands();

/// All groups of more than one command, in the same order.
std::span<const Group> Catalogue_groups();

/// The command with this subcommand, null when there is none.
const Command* Catalogue_find(std::string_view group, std::string_view action);

/// The command whose console text `line` begins with, the longest where several fit; null when
/// there is none.
const Command* Catalogue_findText(std::string_view line);

/// The command that the daemon takes this line for; null when it takes it for none of the
/// catalogue. Blanks at the front do not matter to it; behind a command without arguments that only
/// reads, any letter does.
const Command* Catalogue_commandOf(std::string_view line);

/// The command that lists all devices.
const Command& Catalogue_listing();

/// "cmd" as a success answer and as a failure answer carry it.
std::string_view Catalogue_successName(const Command& command);
std::string_view Catalogue_failureName(const Command& command);

/// The names that answers to a console text carry, which need not be of the catalogue: of one that
/// is no command, the text itself.
struct AnswerNames {
    std::string_view success;
    std::string_view failure;
};
AnswerNames Catalogue_answerNames(std::string_view line);

}  // namespace avoip
