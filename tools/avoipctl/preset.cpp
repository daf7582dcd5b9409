#include "avoipctl/preset.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <system_error>

#include "avoipctl/line.hpp"
#include "avoipctl/names.hpp"
#include "avoipctl/routes.hpp"
#include "avoipctl/run.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

constexpr std::string_view kKinds[] = {"video", "serial", "ir"};
constexpr std::string_view kNoEncoder = "-";

/// A route as a command with its values.
Request requestOf(const PresetRoute& route) {
    const std::string group = route.kind == "video" ? "matrix" : route.kind + "-matrix";
    if (route.encoder.empty()) {
        return {Catalogue_find(group, "clear"), {route.decoder}};
    }
    return {Catalogue_find(group, "set"), {route.encoder, route.decoder}};
}

/// The next word of a line, which is taken away from it.
std::string takeWord(std::string_view& line) {
    const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
    std::string word(line.substr(0, end));
    line = Line_trimmed(line.substr(end));
    return word;
}

/// What is wrong with a route; nothing when it can be sent.
std::string problemWith(const PresetRoute& route) {
    if (std::ranges::find(kKinds, route.kind) == std::end(kKinds)) {
        return "\"" + route.kind + "\" is none of video, serial and ir";
    }
    const Request request = requestOf(route);
    for (std::size_t i = 0; i < request.values.size(); ++i) {
        const Argument& argument = request.command->arguments[i];
        const std::string problem = Arguments_problem(argument, request.values[i]);
        if (!problem.empty()) {
            return "the " + std::string(argument.name) + " " + problem;
        }
    }
    return {};
}

Status fail(Session& session, const std::string& path, std::string_view what) {
    Session_error(session, "The preset " + path + " cannot be " + std::string(what) + ": " +
                               std::generic_category().message(errno) + ".");
    return kWrongUsage;
}

Status collect(Session& session, std::string_view kind, std::vector<PresetRoute>& routes) {
    RouteTable table;
    if (const Status status = Routes_ask(session, kind, table); status != kSuccess) {
        return status;
    }
    for (const Route& route : table.routes) {
        routes.push_back({std::string(kind), route.encoder, route.decoder});
    }
    return table.complete ? kSuccess : kFailure;
}

/// Writes the file beside its place first.
bool writeWhole(const std::string& path, const std::string& text) {
    const std::string beside = path + ".new";
    errno = 0;
    std::ofstream file(beside, std::ios::binary);
    file << text;
    file.close();
    return file && std::rename(beside.c_str(), path.c_str()) == 0;
}

}  // namespace

std::string Preset_read(std::string_view text, std::vector<PresetRoute>& routes) {
    std::istringstream lines{std::string(text)};
    int number = 0;
    for (std::string whole; std::getline(lines, whole);) {
        ++number;
        std::string_view line = Line_trimmed(whole);
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        PresetRoute route;
        route.kind = takeWord(line);
        route.encoder = takeWord(line);
        route.decoder = line;
        if (route.encoder == kNoEncoder) {
            route.encoder.clear();
        }
        if (const std::string problem = problemWith(route); !problem.empty()) {
            return "line " + std::to_string(number) + ": " + problem;
        }
        routes.push_back(route);
    }
    return {};
}

std::string Preset_write(const std::vector<PresetRoute>& routes) {
    std::string text = "# Routes, saved by avoipctl: kind, encoder (- for none), decoder.\n";
    for (const PresetRoute& route : routes) {
        text.append(route.kind).append(" ");
        text.append(route.encoder.empty() ? kNoEncoder : route.encoder);
        text.append(" ").append(route.decoder).append("\n");
    }
    return text;
}

Status Preset_save(Session& session, std::string_view kind, const std::string& path) {
    std::vector<PresetRoute> routes;
    for (const std::string_view one : kKinds) {
        if (kind != "all" && kind != one) {
            continue;
        }
        if (const Status status = collect(session, one, routes); status != kSuccess) {
            Session_error(session, "Nothing was saved.");
            return status;
        }
    }
    if (!writeWhole(path, Preset_write(routes))) {
        return fail(session, path, "saved");
    }
    session.out << "Saved: " << routes.size() << (routes.size() == 1 ? " route.\n" : " routes.\n");
    return kSuccess;
}

Status Preset_load(Session& session, const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file || file.bad() || std::filesystem::is_directory(path)) {
        return fail(session, path, "loaded");
    }
    std::vector<PresetRoute> routes;
    if (const std::string problem = Preset_read(text, routes); !problem.empty()) {
        Session_error(session, "The preset " + path + ", " + problem + ". Nothing was sent.");
        return kWrongUsage;
    }
    std::vector<Request> requests;
    for (const PresetRoute& route : routes) {
        Request& request = requests.emplace_back(requestOf(route));
        if (const Status known = Names_resolveAll(session, *request.command, request.values);
            known != kSuccess) {
            return known;
        }
    }
    Status worst = kSuccess;
    for (const Request& request : requests) {
        session.out << Arguments_consoleText(*request.command, request.values) << "  ";
        worst = std::max(worst, Run_command(session, *request.command, request.values));
    }
    return worst;
}

}  // namespace avoip::ctl
