// The commands of the console as data: one row each, with everything that a front end has to know.
//
// avoipctl makes its subcommands, its help, its completion, its "did you mean", its tables and the
// command table of the documentation from these rows, and nothing about a command is written down
// anywhere else. A new command is a new row.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace avoip::ctl {

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

struct Argument {
    std::string_view name;
    ArgumentKind kind;
    std::string_view summary;
    std::string_view example;
    int minimum = 0;                ///< smallest number
    int maximum = 0;                ///< greatest number, or most hexadecimal digits
    std::string_view choices = {};  ///< the words of a choice, a blank between two
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
};

struct Command {
    std::string_view group;   ///< first word of the subcommand
    std::string_view action;  ///< second word, empty where the first says it all
    std::string_view text;    ///< what the console calls it, without arguments and "!"
    std::span<const Argument> arguments = {};
    std::string_view summary;
    Shape shape = {};
    int timeout_ms;
    std::string_view success_name = {};  ///< "cmd" of the success answer, empty when it is `text`
    std::string_view failure_name = {};  ///< "cmd" of the failure answer, empty when it is `text`
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

/// "cmd" as a success answer and as a failure answer carry it.
std::string_view Catalogue_successName(const Command& command);
std::string_view Catalogue_failureName(const Command& command);

}  // namespace avoip::ctl
