// The gateway as a process, with a data folder of the test's own and nobody at the daemon's
// console.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/http.hpp"
#include "bed/namespaces.hpp"
#include "lib/base/json.hpp"

inline constexpr std::uint16_t kGatewayPort = 8088;

class GatewayBed : public testing::Test {
  protected:
    GatewayBed() { configure(""); }
    ~GatewayBed() override {
        // It would make files while the folder is emptied.
        gateway.reset();
        std::filesystem::remove_all(folder);
    }

    static std::string makeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "avoipgwXXXXXX").string();
        return ::mkdtemp(pattern.data());
    }

    /// Writes the configuration: the data folder, and these lines.
    void configure(const std::string& lines) const {
        std::ofstream(folder + "/gateway.toml") << "data = \"" << folder << "/data\"\n" << lines;
    }

    [[nodiscard]] bed::DaemonOptions options(std::vector<std::string> arguments = {}) const {
        bed::DaemonOptions made;
        made.program = AVOIPGW_PATH;
        made.arguments = {"--config", folder + "/gateway.toml"};
        made.arguments.insert(made.arguments.end(), arguments.begin(), arguments.end());
        return made;
    }

    /// Starts the gateway, and waits until it serves.
    void start() { start(options()); }
    void start(const bed::DaemonOptions& chosen) {
        gateway = std::make_unique<bed::Daemon>(chosen);
        gateway->awaitError("avoipgw: serving on");
    }

    /// Runs the gateway with arguments that end it, and with this standard input.
    [[nodiscard]] int run(const std::vector<std::string>& arguments, const std::string& input = "",
                          std::string* output = nullptr, std::string* errors = nullptr) const {
        std::ofstream(folder + "/input") << input;
        bed::DaemonOptions shell = options(arguments);
        shell.arguments.insert(shell.arguments.begin(),
                               {"-c", "exec \"$0\" \"$@\" < " + folder + "/input", AVOIPGW_PATH});
        shell.program = "/bin/sh";
        bed::Daemon program(shell);
        const bed::Exit exit = program.awaitExit();
        if (output != nullptr) {
            *output = program.output().all();
        }
        if (errors != nullptr) {
            *errors = program.errors().all();
        }
        return exit.bySignal ? -exit.code : exit.code;
    }

    static bed::HttpAnswer ask(const std::string& method, const std::string& path,
                               const std::string& body = {},
                               const std::vector<std::string>& headers = {}) {
        return bed::ask(kGatewayPort, method, path, body, headers);
    }

    /// The text of a member of an answer's JSON object.
    static std::string member(const bed::HttpAnswer& answer, const std::string& key) {
        const avoip::Json tree = avoip::Json_parse(answer.body);
        return avoip::Json_text(tree.get(), key).value_or("");
    }

    const std::string folder = makeFolder();
    bed::Namespaces namespaces{bed::Control::kAbsent};
    std::unique_ptr<bed::Daemon> gateway;
};
