#include "avoipctl/change.hpp"

#include <algorithm>
#include <ostream>
#include <vector>

#include "avoipctl/names.hpp"
#include "avoipctl/run.hpp"
#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {

bool Change_isPossible(const Command& command) {
    const Command* const read = Catalogue_findText(command.askedBack.text);
    return read != nullptr && read->exchange.kind == ExchangeKind::kReading &&
           command.askedBack.expected.size() > 1 &&
           command.askedBack.expected.size() + 1 == command.arguments.size();
}

Status Change_run(Session& session, const Command& command, std::span<const std::string> values) {
    std::vector<std::string> whole(values.begin(), values.end());
    if (const Status known = Names_resolve(session, command.arguments.front(), whole.front());
        known != kSuccess) {
        return known;
    }
    const Command& read = *Catalogue_findText(command.askedBack.text);
    Reply reply;
    if (const Status status = Run_read(session, read, {whole.data(), 1}, reply);
        status != kSuccess) {
        return status;
    }
    std::string changes;
    for (const Expectation& expected : command.askedBack.expected) {
        const auto place = static_cast<std::size_t>(expected.argument);
        const Argument& argument = command.arguments[place];
        const std::string said =
            Answer_member(read.shape, reply.answer.rows.front(), expected.member);
        if (!whole[place].empty()) {
            changes.append(argument.name).append(": ").append(Printable_text(said));
            changes.append(" -> ").append(whole[place]).append("\n");
            continue;
        }
        whole[place] = said;
        if (const std::string problem = Arguments_problem(argument, said); !problem.empty()) {
            Session_error(session, "\"" + whole.front() + "\" says that its " +
                                       std::string(argument.name) + " is \"" +
                                       Printable_text(said) + "\", which cannot be sent back: it " +
                                       problem + ". Give it as --" + std::string(argument.name) +
                                       ". Nothing was sent.");
            return kFailure;
        }
    }
    if (!session.options.json) {
        session.out << changes;
    }
    return Run_command(session, command, whole);
}

}  // namespace avoip::ctl
