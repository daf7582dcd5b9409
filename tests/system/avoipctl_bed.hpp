// What tests of avoipctl as a process share: a way to run it, and answers to give it.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/namespaces.hpp"
#include "gtest/gtest.h"

/// How a run ended and what it wrote.
struct Outcome {
    int status;
    std::string output;
    std::string errors;
    bool operator==(const Outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "status " << outcome.status << "\n-- output:\n"
               << outcome.output << "-- errors:\n"
               << outcome.errors;
}

inline std::string success(const std::string& cmd, const std::string& data = "") {
    return R"({"ack":{"cmd":")" + cmd + R"(","status":"success"})" + data + "}";
}

inline std::string failure(const std::string& cmd) {
    return R"({"ack":{"cmd":")" + cmd + R"(","status":"failure"}})";
}

inline std::string device(const std::string& identity, const std::string& version = "V1.0.0") {
    return R"({"hostid":")" + identity +
           R"(","devtype":"T","alias":"A","devaddr":"10.77.0.2","devnetmask":"255.255.0.0",)"
           R"("devgateway":"10.77.0.1","devmac":"02:00:00:00:00:01","status":"on","version":")" +
           version + "\"}";
}

inline std::string route(const std::string& key, const std::string& decoder,
                         const std::string& encoder) {
    return ",\"" + key + R"(":[{"rxid":")" + decoder + R"(","txid":")" + encoder + "\"}]";
}

inline std::string decoderParams(const std::string& decoder) {
    return success("config get rx params",
                   R"(,"rxparamsinfo":[{"alias":"A","deviceid":")" + decoder +
                       R"(","luma":"50","contrast":"50","hue":"50","saturation":"50",)"
                       R"("videoformat":"0","videoresstatus":"","hdcpstatus":""}])");
}

/// A network with two encoders and two decoders, as the daemon would tell of it. The second decoder
/// does not say what it shows.
inline std::optional<std::string> smallNetwork(const std::string& line) {
    const std::string encoders = device("tx01") + "," + device("tx02");
    const std::string decoders = device("rx01") + "," + device("rx02");
    const std::string name = line.substr(0, line.size() - 1);
    if (name == "config get devices") {
        return success(name, ",\"devicelist\":[" + encoders + "," + decoders + "]");
    }
    if (name == "config get encoders") {
        return success(name, ",\"devicelist\":[" + encoders + "]");
    }
    if (name == "config get decoders") {
        return success(name, ",\"devicelist\":[" + decoders + "]");
    }
    if (name == "config get rx params rx01" || name == "config get rx params rx02") {
        return decoderParams(name.substr(name.size() - 4));
    }
    if (name == "matrix get rx01") {
        return success("matrix get", route("rxsource", "rx01", "tx02"));
    }
    if (name.starts_with("matrix get")) {
        return failure("matrix get");
    }
    if (name.starts_with("matrix set")) {
        return success("matrix sets");
    }
    return failure(line);
}

/// A folder of the test's own for what avoipctl keeps, and a way to run it.
class Avoipctl : public testing::Test {
  protected:
    ~Avoipctl() override { std::filesystem::remove_all(folder); }

    static std::string makeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "avoipXXXXXX").string();
        return ::mkdtemp(pattern.data());
    }

    [[nodiscard]] bed::DaemonOptions options(std::vector<std::string> arguments) const {
        bed::DaemonOptions made;
        made.program = AVOIPCTL_PATH;
        made.arguments = std::move(arguments);
        made.environment = {"XDG_STATE_HOME=" + folder + "/state",
                            "AVOIP_LOCK_FILE=" + folder + "/lock"};
        return made;
    }

    /// Lets avoipctl know these identities from an earlier list, as devices of any kind, so that it
    /// looks none of them up.
    void know(std::initializer_list<std::string_view> identities) const {
        std::filesystem::create_directories(folder + "/state/avoipctl");
        std::ofstream file(folder + "/state/avoipctl/devices");
        for (const std::string_view identity : identities) {
            file << "device " << identity << '\n';
        }
    }

    static Outcome end(bed::Daemon& program) {
        const bed::Exit exit = program.awaitExit();
        return {exit.bySignal ? -exit.code : exit.code, program.output().all(),
                program.errors().all()};
    }

    [[nodiscard]] Outcome run(std::vector<std::string> arguments) const {
        bed::Daemon program(options(std::move(arguments)));
        return end(program);
    }

    /// Runs the prompt with this input, which is no terminal.
    [[nodiscard]] Outcome prompt(const std::string& input) const {
        std::ofstream(folder + "/input") << input;
        bed::DaemonOptions shell =
            options({"-c", "exec \"$0\" < \"$1\"", AVOIPCTL_PATH, folder + "/input"});
        shell.program = "/bin/sh";
        bed::Daemon program(shell);
        return end(program);
    }

    const std::string folder = makeFolder();
};

/// The same, with a stand-in for the daemon, or nobody at all.
class AvoipctlAlone : public Avoipctl {
  protected:
    const bed::Namespaces namespaces{bed::Control::kAbsent};
};
