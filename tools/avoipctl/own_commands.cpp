#include "avoipctl/own_commands.hpp"

#include <memory>
#include <span>
#include <vector>

#include "avoipctl/preset.hpp"
#include "avoipctl/routes.hpp"
#include "avoipctl/update_side_by_side.hpp"
#include "avoipctl/wall.hpp"

namespace avoip::ctl {
namespace {

template <class Value>
std::shared_ptr<Value> kept(Value value = {}) {
    return std::make_shared<Value>(std::move(value));
}

void addPresets(CLI::App& routes, Session& session, Action& action) {
    CLI::App& save = *Registration_sub(routes, "save", "Save the routes of all decoders in a file");
    const auto saved = kept<std::string>();
    const auto kind = kept<std::string>("video");
    save.add_option("file", *saved, "the preset")->required()->type_name("FILE");
    save.add_option("--kind", *kind, "Which routes")
        ->capture_default_str()
        ->type_name("video|serial|ir|all")
        ->check(CLI::IsMember({"video", "serial", "ir", "all"}));
    save.footer("Example:\n  avoipctl routes save monday.routes --kind all");
    save.callback([&session, &action, saved, kind] {
        action = [&session, saved, kind] { return Preset_save(session, *kind, *saved); };
    });

    CLI::App& load = *Registration_sub(routes, "load", "Set the routes that a file holds");
    const auto loaded = kept<std::string>();
    load.add_option("file", *loaded, "the preset")->required()->type_name("FILE");
    load.add_flag("--verify", session.options.verify, "Ask each decoder back, twice");
    load.footer("Example:\n  avoipctl routes load monday.routes --verify");
    load.callback([&session, &action, loaded] {
        action = [&session, loaded] { return Preset_load(session, *loaded); };
    });
}

void addRoutes(CLI::App& app, Session& session, Action& action) {
    CLI::App& sub = *Registration_sub(app, "routes",
                                      "Show all routes as a matrix of decoders by encoders, save "
                                      "and load them");
    const auto kind = kept<std::string>("video");
    sub.add_option("kind", *kind, "Which routes")
        ->capture_default_str()
        ->type_name("video|serial|ir")
        ->check(CLI::IsMember({"video", "serial", "ir"}));
    Registration_list(sub, session.options);
    addPresets(sub, session, action);
    sub.footer("Example:\n  avoipctl routes serial");
    sub.callback([&session, &action, kind] {
        if (!action) {
            action = [&session, kind] { return Routes_run(session, *kind); };
        }
    });
}

void addWallGrid(CLI::App& wall, Session& session, Action& action) {
    CLI::App& sub = *Registration_sub(wall, "grid", "Make a wall of decoders, row by row");
    const auto grid = kept<WallGrid>();
    sub.add_option("grid", grid->size, "columns and rows of tiles, such as 2x2")
        ->required()
        ->type_name("COLUMNSxROWS");
    sub.add_option("encoder", grid->encoder, "identity of the encoder")
        ->required()
        ->type_name("ID");
    sub.add_option("decoder", grid->decoders,
                   "identities of the decoders, row by row, each from the left")
        ->required()
        ->type_name("ID");
    sub.add_option("--picture", grid->picture,
                   "Size of the whole picture [1920x1080 for each tile]")
        ->type_name("WIDTHxHEIGHT");
    sub.add_option("--bezel", grid->bezel,
                   "What the frames between two tiles hide of the picture, across and down")
        ->type_name("PIXELS[xPIXELS]");
    sub.footer(
        "Example:\n  avoipctl wall grid 2x2 TX-0001 RX-0001 RX-0002 RX-0003 RX-0004 --bezel 40");
    sub.callback([&session, &action, grid] {
        action = [&session, grid] { return Wall_makeGrid(session, *grid); };
    });
}

void addWall(CLI::App& app, Session& session, Action& action) {
    CLI::App& wall = *app.get_subcommand("wall");
    addWallGrid(wall, session, action);
    CLI::App& show = *Registration_sub(wall, "show", "Draw the walls that were made from here");
    show.footer("Example:\n  avoipctl wall show");
    show.callback([&session, &action] { action = [&session] { return Wall_show(session); }; });
}

void addUpdate(CLI::App& app, Session& session, Action& action) {
    CLI::App& update = *app.get_subcommand("update");
    update.require_subcommand(0, 1);
    const auto words = kept<std::vector<std::string>>();
    const auto parallel = kept<int>(4);
    update.add_option("devices", *words, "the devices, and behind them the image")
        ->type_name("ID... FILE");
    update.add_option("--parallel", *parallel, "How many uploads run at once at most")
        ->capture_default_str()
        ->check(CLI::Range(1, 64));
    update.footer("Example:\n  avoipctl update TX-0001 TX-0002 /srv/firmware/image.bin");
    update.callback([&session, &action, words, parallel] {
        if (action) {
            return;
        }
        if (words->size() < 2) {
            throw CLI::RequiredError("devices and an image, or a subcommand");
        }
        action = [&session, words, parallel] {
            const std::span<const std::string> all(*words);
            return UpdateSideBySide_run(session, all.first(all.size() - 1), all.back(), *parallel);
        };
    });
}

}  // namespace

void OwnCommands_add(CLI::App& app, Session& session, Action& action) {
    addRoutes(app, session, action);
    addWall(app, session, action);
    addUpdate(app, session, action);
}

}  // namespace avoip::ctl
