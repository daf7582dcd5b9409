#include "avoipctl/command_table.hpp"

#include "avoipctl/subcommand.hpp"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"

namespace avoip::ctl {
namespace {

/// The words with the names of the arguments in capital letters behind them.
std::string withArguments(std::string text, const Command& command) {
    for (const Argument& argument : command.arguments) {
        text += ' ';
        for (const char letter : argument.name) {
            text += letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
        }
    }
    return text;
}

std::string answerData(const Command& command) {
    if (command.shape.key.empty()) {
        return "nothing";
    }
    std::string text = "`" + std::string(command.shape.key) + "`:";
    for (const Member& member : command.shape.members) {
        text.append(" `").append(member.key).append("`");
    }
    return text;
}

}  // namespace

std::string CommandTable_print() {
    std::string table =
        "| Console text | `avoipctl` | What it does | Data in the answer | Time-out |\n"
        "|---|---|---|---|---|\n";
    for (const Command& command : Catalogue_commands()) {
        table.append("| `").append(withArguments(std::string(command.text), command));
        table.append("!` | `").append(withArguments(Subcommand_words(command), command));
        table.append("` | ").append(command.summary).append(" | ");
        table.append(answerData(command)).append(" | ");
        table.append(std::to_string(command.exchange.timeout_ms / 1000)).append(" s |\n");
    }
    return table;
}

}  // namespace avoip::ctl
