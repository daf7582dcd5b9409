// An encoder and a decoder, simulated, and an image that both take, for tests that send every
// command there is. The path of avoipsim is told to the test that includes this.
#pragma once

#include <string>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/folder.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"

class SmallFleet {
  public:
    /// Returns when the devices answer. `namespaces` need not live longer.
    explicit SmallFleet(const bed::Namespaces& namespaces)
        : devices_(namespaces.onDeviceSide([] {
              bed::ip("route add local 10.77.1.0/24 dev lo");
              return bed::Daemon(
                  simulator({"--encoders", "1", "--decoders", "1", "--reboot-time", "0"}));
          })) {
        bed::Daemon maker(simulator(
            {"--make-image", image(), "--image-name", "TX and RX", "--image-size", "5000"}));
        if (maker.awaitExit() != bed::Exit{}) {
            throw bed::Error("no image was made: " + maker.errors().all());
        }
        devices_.awaitOutput("on dev0");
    }

    /// The image file, which everybody can read.
    std::string image() const { return folder_.path() + "/image.bin"; }

    /// A line for every command of the catalogue. Each of them succeeds with these devices.
    std::vector<std::string> everyCommand() const {
        std::vector<std::string> lines;
        for (const avoip::Command& command : avoip::Catalogue_commands()) {
            std::vector<std::string> values = avoip::Arguments_examples(command);
            if (command.group == "update") {
                values.back() = image();
            }
            lines.push_back(avoip::Arguments_consoleText(command, values));
        }
        return lines;
    }

  private:
    static bed::DaemonOptions simulator(const std::vector<std::string>& arguments) {
        bed::DaemonOptions options;
        options.program = AVOIPSIM_PATH;
        options.arguments = arguments;
        return options;
    }

    bed::Folder folder_;
    bed::Daemon devices_;
};
