#include "avoipctl/subcommand.hpp"

#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

/// The value as a shell takes it: quoted where it holds a blank.
std::string shellWord(const std::string& value) {
    return value.find(' ') == std::string::npos ? value : "'" + value + "'";
}

}  // namespace

std::string Subcommand_words(const Command& command) {
    std::string words(command.group);
    if (!command.action.empty()) {
        words.append(" ").append(command.action);
    }
    return words;
}

std::string Subcommand_example(const Command& command) {
    std::string text = "avoipctl " + Subcommand_words(command);
    for (const std::string& value : Arguments_examples(command)) {
        text.append(" ").append(shellWord(value));
    }
    return text;
}

}  // namespace avoip::ctl
