// What tests of avoipguard share: the bed's network with the guard in it, which runs the daemon as
// it is built for a device.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/device.hpp"
#include "bed/folder.hpp"
#include "bed/front_end.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "bed/wait.hpp"
#include "lib/health/health_reader.hpp"

using namespace std::chrono_literals;

class Guarded : public testing::Test {
  protected:
    Guarded() : Guarded(bed::Control::kAddressed) {}
    explicit Guarded(bed::Control control) : namespaces(control) {
        ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1);
    }

    /// The guard with this daemon, which is avoipd where none is named.
    [[nodiscard]] bed::DaemonOptions options(const std::string& daemon = AVOIPD_PLAIN_PATH) const {
        bed::DaemonOptions made;
        made.program = AVOIPGUARD_PATH;
        made.arguments = {"--daemon", daemon, "--state-folder", folder};
        return made;
    }

    /// Starts the guard and waits until the daemon works.
    void start() { start(options()); }
    void start(const bed::DaemonOptions& made) {
        guard = std::make_unique<bed::Daemon>(made);
        awaitState("ok");
    }

    /// A program of the test's own that runs in place of the daemon; `lines` of a shell script, in
    /// which $avoipd is the daemon's path.
    [[nodiscard]] std::string script(const std::string& lines) const {
        const std::string path = folder + "/daemon";
        std::ofstream(path) << "#!/bin/sh\navoipd=" << AVOIPD_PLAIN_PATH << "\n" << lines << "\n";
        std::filesystem::permissions(path, std::filesystem::perms::all);
        return path;
    }

    [[nodiscard]] avoip::Health health() const {
        return avoip::Health_readFolder(folder).value_or(avoip::Health{});
    }

    /// Waits until the state file says this.
    void awaitHealth(const std::string& what,
                     const std::function<bool(const avoip::Health&)>& holds) {
        bed::awaitCondition(what + " in " + folder, [&] {
            const auto read = avoip::Health_readFolder(folder);
            return read && holds(*read);
        });
    }
    void awaitState(const std::string& state) {
        awaitHealth("the state " + state, [&](const avoip::Health& read) {
            return avoip::Health_stateName(read.state) == state;
        });
    }
    void awaitReason(const std::string& text) {
        awaitHealth(text, [&](const avoip::Health& read) {
            return read.reason.find(text) != std::string::npos;
        });
    }
    /// Waits until a daemon works that was started after so many others.
    void awaitRestart(int restarts) {
        awaitHealth("another daemon", [&](const avoip::Health& read) {
            return read.state == avoip::HealthState::kOk && read.restarts > restarts;
        });
    }

    /// Waits for a line of the guard's own, or of the daemon's errors.
    void awaitLine(const std::string& text) { guard->awaitError(text + "\n"); }

    /// Whether a front end is answered and the devices hear it.
    void expectWorks() {
        bed::Device device(namespaces);
        bed::FrontEnd frontEnd;
        const auto answer = frontEnd.ask("device showme rx01!", bed::kPatience);
        ASSERT_NE(answer, nullptr) << frontEnd.explanation();
        EXPECT_STREQ(answer.get(), R"({"ack":{"cmd":"device showme","status":"success"}})");
        EXPECT_NE(device.receive().text.find(R"("hostid":")" + identity + "\""), std::string::npos);
    }

    const bed::Folder place;
    const std::string& folder = place.path();
    std::string identity = "001122aabbcc";
    bed::Namespaces namespaces;
    std::unique_ptr<bed::Daemon> guard;
};

/// The same with a daemon that has little address space, of which each ended connection keeps some.
class GuardedInLittleSpace : public Guarded {
  protected:
    GuardedInLittleSpace() {
        start(options(script("ulimit -s 8192; ulimit -v 700000; exec $avoipd")));
        fresh = size_bytes();
    }

    /// Connections come and go until so much of the address space is used up.
    void wear(double most) {
        while (share() < most) {
            bed::Console console;
            console.send("exit!");
            console.awaitClosed();
        }
    }

    /// How much of what was free when the daemon was fresh is used up; 0 while it is replaced.
    double share() const { return (size_bytes() - fresh) / (700000.0 * 1024 - fresh); }

    /// The address space of the daemon that runs now.
    double size_bytes() const {
        std::ifstream file("/proc/" + std::to_string(health().daemonPid) + "/statm");
        double pages = 0;
        file >> pages;
        return pages * static_cast<double>(::sysconf(_SC_PAGESIZE));
    }

    double fresh = 0;
};
