#include "avoipctl/routes.hpp"

#include <algorithm>
#include <ostream>

#include "avoipctl/run.hpp"
#include "avoipctl/table.hpp"
#include "lib/base/printable.hpp"

namespace avoip::ctl {
namespace {

const Command& getCommand(std::string_view kind) {
    if (kind == "serial") {
        return *Catalogue_find("serial-matrix", "get");
    }
    return *Catalogue_find(kind == "ir" ? "ir-matrix" : "matrix", "get");
}

/// The identities that `group` ("encoders", "decoders") lists, each once, in order.
Status askIdentities(Session& session, std::string_view group, std::vector<std::string>& list) {
    Reply reply;
    const Status status = Run_read(session, *Catalogue_find(group, ""), {}, reply);
    for (const Row& row : reply.answer.rows) {
        if (std::ranges::find(list, row.front()) == list.end()) {
            list.push_back(row.front());
        }
    }
    return status;
}

std::string noteOn(std::span<const std::string> encoders, const Route& route) {
    if (!route.answered) {
        return "no answer";
    }
    const bool known = std::ranges::find(encoders, route.encoder) != encoders.end();
    return known || route.encoder.empty() ? "" : "from " + route.encoder;
}

void printJson(Session& session, const Command& get, std::span<const Route> routes) {
    std::vector<Row> rows;
    for (const Route& route : routes) {
        if (route.answered) {
            rows.push_back({route.decoder, route.encoder});
        }
    }
    session.out << Answer_writeRows("routes", get.shape.members, rows) << '\n';
}

Row rowOf(std::span<const std::string> encoders, const Route& route) {
    Row row{route.decoder};
    for (const std::string& encoder : encoders) {
        row.emplace_back(encoder == route.encoder ? "x" : ".");
    }
    row.push_back(noteOn(encoders, route));
    return row;
}

}  // namespace

std::string Routes_print(std::span<const std::string> encoders, std::span<const Route> routes) {
    std::vector<std::string> headings{"DECODER"};
    for (const std::string& encoder : encoders) {
        headings.push_back(Printable_text(encoder));
    }
    headings.emplace_back("NOTE");
    std::vector<Row> rows;
    bool noted = false;
    for (const Route& route : routes) {
        rows.push_back(rowOf(encoders, route));
        noted = noted || !rows.back().back().empty();
    }
    if (!noted) {
        headings.pop_back();
    }
    return Table_print(headings, rows);
}

Status Routes_run(Session& session, std::string_view kind) {
    std::vector<std::string> encoders;
    std::vector<std::string> decoders;
    for (const auto& [group, list] :
         {std::pair{"encoders", &encoders}, std::pair{"decoders", &decoders}}) {
        if (const Status status = askIdentities(session, group, *list); status != kSuccess) {
            return status;
        }
    }
    const Command& get = getCommand(kind);
    std::vector<Route> routes;
    bool complete = true;
    for (const std::string& decoder : decoders) {
        Reply reply;
        const Status status = Run_read(session, get, {&decoder, 1}, reply);
        if (status != kSuccess && status != kFailure) {
            return status;
        }
        const bool answered = status == kSuccess && !reply.answer.rows.empty();
        routes.push_back({decoder, answered ? reply.answer.rows.front().back() : "", answered});
        complete = complete && answered;
    }
    if (session.options.json) {
        printJson(session, get, routes);
    } else {
        session.out << Routes_print(encoders, routes);
    }
    return complete ? kSuccess : kFailure;
}

}  // namespace avoip::ctl
