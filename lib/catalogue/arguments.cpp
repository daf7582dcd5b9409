#include "lib/catalogue/arguments.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

namespace avoip {
namespace {

// What the console's field for a path holds.
constexpr std::size_t kPathMax = 127;

std::string atMost(std::size_t bytes) {
    return "must be 1 to " + std::to_string(bytes) + " bytes long";
}

/// What holds for every text that becomes part of a console line.
std::string lineProblem(std::string_view value) {
    if (value.find('!') != std::string_view::npos) {
        return "must not hold \"!\", which ends a command";
    }
    if (value.find_first_of("\r\n") != std::string_view::npos) {
        return "must not hold a line end, which the console removes";
    }
    if (value.find("exit") != std::string_view::npos) {
        return "must not hold the letters \"exit\", which end the console's connection";
    }
    if (value.find('\0') != std::string_view::npos) {
        return "must not hold a NUL";
    }
    return {};
}

/// A text that the console reads as the rest of its line.
std::string restProblem(std::string_view value, std::size_t maximum) {
    if (value.empty() || value.size() > maximum) {
        return atMost(maximum);
    }
    if (std::string_view(" \t\v\f").find(value.front()) != std::string_view::npos) {
        return "must not begin with a blank, which the console skips";
    }
    return {};
}

std::string wordProblem(std::string_view value) {
    if (value.find_first_of(" \t\v\f") != std::string_view::npos) {
        return "must not hold blanks, which end a word of the command";
    }
    return restProblem(value, kWordMax);
}

std::string identityProblem(std::string_view value, std::string problem) {
    if (problem.empty() && value.find('%') != std::string_view::npos) {
        return "must not hold \"%\", which the daemon does not carry in identities";
    }
    return problem;
}

std::string choiceProblem(const Argument& argument, std::string_view value) {
    std::string text;
    const char* before = "must be ";
    for (const std::string_view choice : Arguments_choices(argument)) {
        if (value == choice) {
            return {};
        }
        text.append(before).append(choice);
        before = " or ";
    }
    return text;
}

std::string numberProblem(const Argument& argument, std::string_view value) {
    long long number = 0;
    const char* const end = value.data() + value.size();
    const auto read = std::from_chars(value.data(), end, number);
    if (read.ec == std::errc{} && read.ptr == end && number >= argument.minimum &&
        number <= argument.maximum) {
        return {};
    }
    return "must be a number from " + std::to_string(argument.minimum) + " to " +
           std::to_string(argument.maximum);
}

std::string addressProblem(std::string_view value) {
    in_addr address{};
    if (::inet_pton(AF_INET, std::string(value).c_str(), &address) == 1) {
        return {};
    }
    return "must be an IPv4 address such as 192.168.2.31";
}

std::string hexProblem(const Argument& argument, std::string_view value) {
    if (value.empty() || value.find_first_not_of("0123456789abcdefABCDEF") != value.npos) {
        return "must be hexadecimal digits, two for each byte";
    }
    if (value.size() % 2 != 0) {
        return "must have an even number of digits, two for each byte";
    }
    if (value.size() > static_cast<std::size_t>(argument.maximum)) {
        return "must have at most " + std::to_string(argument.maximum) + " digits";
    }
    return {};
}

std::string kindProblem(const Argument& argument, std::string_view value) {
    switch (argument.kind) {
        case ArgumentKind::kIdentity:
            return identityProblem(value, wordProblem(value));
        case ArgumentKind::kLastIdentity:
            return identityProblem(value, restProblem(value, kWordMax));
        case ArgumentKind::kAlias:
            return restProblem(value, kWordMax);
        case ArgumentKind::kWord:
            return wordProblem(value);
        case ArgumentKind::kChoice:
            return choiceProblem(argument, value);
        case ArgumentKind::kNumber:
            return numberProblem(argument, value);
        case ArgumentKind::kAddress:
            return addressProblem(value);
        case ArgumentKind::kHex:
            return hexProblem(argument, value);
        case ArgumentKind::kPath:
            return restProblem(value, kPathMax);
    }
    return {};
}

}  // namespace

std::vector<std::string_view> Arguments_choices(const Argument& argument) {
    std::vector<std::string_view> choices;
    for (std::string_view left = argument.choices; !left.empty();) {
        choices.push_back(left.substr(0, left.find(' ')));
        left.remove_prefix(std::min(choices.back().size() + 1, left.size()));
    }
    return choices;
}

std::string Arguments_problem(const Argument& argument, std::string_view value) {
    const std::string problem = lineProblem(value);
    return problem.empty() ? kindProblem(argument, value) : problem;
}

std::string Arguments_consoleText(const Command& command, std::span<const std::string> values) {
    std::string text(command.text);
    for (const std::string& value : values) {
        text.append(" ").append(value);
    }
    return text + "!";
}

std::vector<std::string> Arguments_examples(const Command& command) {
    std::vector<std::string> values;
    for (const Argument& argument : command.arguments) {
        values.emplace_back(argument.example);
    }
    return values;
}

}  // namespace avoip
