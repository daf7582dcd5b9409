// The gateway with the daemon and simulated devices: two encoders and two decoders.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bed/ip_tool.hpp"
#include "bed/wait.hpp"
#include "gateway_bed.hpp"

inline const std::string kApi = "/api/v1";

class GatewayFleet : public GatewayBed {
  protected:
    GatewayFleet() {
        namespaces.addControlInterface();
        ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1);
        daemon = std::make_unique<bed::Daemon>();
        daemon->awaitOutput("Server: listening for client requests....");
        startFleet();
        configure("[poll]\ndevices_s = 1\nroutes_s = 1\noffline_after = 2\n");
        start();
        awaitIn(kApi + "/system", R"("devices":{"encoders":2,"decoders":2,"offline":0})");
    }

    void startFleet() {
        namespaces.onDeviceSide([this] {
            if (fleet == nullptr) {
                bed::ip("route add local 10.77.1.0/24 dev lo");
            }
            bed::DaemonOptions options;
            options.program = AVOIPSIM_PATH;
            options.arguments = {"--encoders", "2", "--decoders", "2", "--interface", "dev0"};
            fleet = std::make_unique<bed::Daemon>(options);
        });
    }

    /// Waits until a resource holds a text; gives it as it is then.
    static std::string awaitIn(const std::string& path, const std::string& text) {
        std::string body;
        bed::awaitCondition(
            path + " holds " + text,
            [&] {
                body = ask("GET", path).body;
                return body.find(text) != std::string::npos;
            },
            std::chrono::seconds(60));
        return body;
    }

    std::unique_ptr<bed::Daemon> daemon;
    std::unique_ptr<bed::Daemon> fleet;
};
