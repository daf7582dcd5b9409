#include "avoipctl/routes.hpp"

#include <algorithm>
#include <ostream>

#include "avoipctl/columns.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/table.hpp"
#include "avoipctl/watch.hpp"
#include "lib/base/printable.hpp"

namespace avoip::ctl {
namespace {

// What the list has of each route.
constexpr Member kListMembers[] = {
    {"rxid", "decoder"}, {"rxalias", "decoder alias"},
    {"txid", "encoder"}, {"txalias", "encoder alias"},
    {"note", "note"},
};

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

/// Whether the decoder's source is none, or one of the encoders.
bool isKnown(std::span<const std::string> encoders, const Route& route) {
    return route.encoder.empty() || std::ranges::find(encoders, route.encoder) != encoders.end();
}

std::string noteOn(std::span<const std::string> encoders, const Route& route) {
    if (!route.answered) {
        return "no answer";
    }
    return isKnown(encoders, route) ? "" : "from " + route.encoder;
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

/// The lines of the matrix, the headings first.
std::vector<Row> matrix(std::span<const std::string> encoders, std::span<const Route> routes) {
    std::vector<Row> lines{{"DECODER"}};
    for (const std::string& encoder : encoders) {
        lines.front().push_back(Printable_text(encoder));
    }
    bool noted = false;
    for (const Route& route : routes) {
        lines.push_back(rowOf(encoders, route));
        noted = noted || !lines.back().back().empty();
    }
    if (noted) {
        lines.front().emplace_back("NOTE");
    }
    return lines;
}

std::string aliasOf(const Fleet& fleet, const std::string& identity) {
    const DeviceFacts* const facts = Fleet_find(fleet, identity);
    return facts == nullptr ? "" : facts->alias;
}

std::string noteInList(std::span<const std::string> encoders, const Route& route) {
    if (!route.answered) {
        return "no answer";
    }
    return isKnown(encoders, route) ? "" : "not listed";
}

/// The routes one a line.
std::string list(Session& session, const RouteTable& table, const Columns& columns) {
    const Fleet& fleet = Session_client(session).reader.fleet;
    std::vector<Row> lines;
    for (const Route& route : table.routes) {
        const Row whole{route.decoder, aliasOf(fleet, route.decoder), route.encoder,
                        aliasOf(fleet, route.encoder), noteInList(table.encoders, route)};
        lines.push_back(Columns_cells(columns, whole));
    }
    return Table_print(Columns_headings(kListMembers, columns), lines, session.screen);
}

std::string text(Session& session, const RouteTable& table, const Columns& columns) {
    if (!columns.empty()) {
        return list(session, table, columns);
    }
    const auto room = static_cast<std::size_t>(session.screen.columns);
    if (room > 0 && Table_width(matrix(table.encoders, table.routes)) > room) {
        return list(session, table, {0, 1, 2, 3, 4});
    }
    return Routes_print(table.encoders, table.routes, session.screen);
}

Status look(Session& session, std::string_view kind, const Columns& columns) {
    RouteTable table;
    if (const Status status = Routes_ask(session, kind, table); status != kSuccess) {
        return status;
    }
    if (session.options.json) {
        printJson(session, Routes_asking(kind), table.routes);
    } else {
        session.out << text(session, table, columns);
    }
    return table.complete ? kSuccess : kFailure;
}

}  // namespace

const Command& Routes_asking(std::string_view kind) {
    if (kind == "serial") {
        return *Catalogue_find("serial-matrix", "get");
    }
    return *Catalogue_find(kind == "ir" ? "ir-matrix" : "matrix", "get");
}

Status Routes_ask(Session& session, std::string_view kind, RouteTable& table) {
    std::vector<std::string> decoders;
    for (const auto& [group, list] :
         {std::pair{"encoders", &table.encoders}, std::pair{"decoders", &decoders}}) {
        if (const Status status = askIdentities(session, group, *list); status != kSuccess) {
            return status;
        }
    }
    for (const std::string& decoder : decoders) {
        Reply reply;
        const Status status = Run_read(session, Routes_asking(kind), {&decoder, 1}, reply);
        if (status != kSuccess && status != kFailure) {
            return status;
        }
        const bool answered = status == kSuccess && !reply.answer.rows.empty();
        table.routes.push_back(
            {decoder, answered ? reply.answer.rows.front().back() : "", answered});
        table.complete = table.complete && answered;
    }
    return kSuccess;
}

std::string Routes_print(std::span<const std::string> encoders, std::span<const Route> routes,
                         const Screen& screen) {
    const std::vector<Row> lines = matrix(encoders, routes);
    return Table_print(lines.front(), std::span(lines).subspan(1), screen);
}

Status Routes_run(Session& session, std::string_view kind) {
    Columns columns;
    const std::string& names = session.options.columns;
    if (const std::string problem =
            names.empty() ? "" : Columns_choose(kListMembers, names, columns);
        !problem.empty()) {
        Session_error(session, problem);
        return kWrongUsage;
    }
    return Watch_run(session, [&](Session& one) { return look(one, kind, columns); });
}

}  // namespace avoip::ctl
