// The bed for the update commands: the daemon, and devices that answer discovery and take uploads.
//
//     UpdateBed bed;
//     const bed::UploadPort port = bed.openPort("10.77.1.1");
//     bed.start("update device encoder tx1 " + image.path() + "!", {{"tx1", "10.77.1.1"}});
//     port.accept().receiveAll();
//     EXPECT_EQ(bed.answer(), success("update device encoder"));
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bed/image_file.hpp"
#include "bed/ip_tool.hpp"
#include "bed/session.hpp"
#include "bed/upload_port.hpp"

/// A device as discovery reports it.
struct FoundDevice {
    std::string id;
    std::string address;
};

inline std::string discoveryReply(const FoundDevice& found) {
    return bed::replyText("config get device", "success", "001122aabbcc", found.id,
                          R"("device":{"deviceid":")" + found.id +
                              R"(","alias":"","devtype":"","devaddr":")" + found.address +
                              R"(","devnetmask":"","devgateway":"","devmac":"","status":"",)"
                              R"("version":""})");
}

inline std::string answerOf(const std::string& cmd, const std::string& status) {
    return R"({"ack":{"cmd":")" + cmd + R"(","status":")" + status + "\"}}";
}

inline std::string success(const std::string& cmd) {
    return answerOf(cmd, "success");
}

inline std::string failure(const std::string& cmd) {
    return answerOf(cmd, "failure");
}

/// What the daemon prints when it comes to a device of a list.
inline std::string numLine(int index, const FoundDevice& found, int wait) {
    return "\nNUM:" + std::to_string(index) + "\tID:" + found.id + "\tIP:" + found.address +
           "\twait:" + std::to_string(wait) + "\n";
}

struct UpdateBed : bed::Session {
    /// Devices may have any address of 10.77.1.0/24. What is sent to 10.99.0.0/16 comes to the
    /// device side and is lost there.
    explicit UpdateBed(const bed::DaemonOptions& options = {}) : bed::Session(options) {
        bed::ip("route add 10.99.0.0/16 via 10.77.0.2");
        namespaces.onDeviceSide([] {
            bed::ip(
                "route add local 10.77.1.0/24 dev lo\n"
                "route add blackhole 10.99.0.0/16");
        });
    }

    bed::UploadPort openPort(const std::string& address) const {
        return namespaces.onDeviceSide([&] { return bed::UploadPort(address); });
    }

    /// Sends the line and lets these devices answer the discovery that it begins with; returns the
    /// discovery's request. Their answers stand in the daemon's socket when it asks, so that none
    /// comes after the silence that ends the discovery, however slow the machine is.
    std::string start(const std::string& line, const std::vector<FoundDevice>& devices,
                      bed::Console& from) {
        segment.clear();
        for (const FoundDevice& found : devices) {
            device.reply(discoveryReply(found));
        }
        from.send(line);
        return device.receive().text;
    }
    std::string start(const std::string& line, const std::vector<FoundDevice>& devices) {
        return start(line, devices, console);
    }

    std::string answer() const { return segment.awaitAnswer(); }

    /// Once the command has been answered: waits until the daemon has printed the line and then
    /// exactly this. An unknown command, whose own line comes next, marks the end.
    void awaitSaid(const std::string& line, const std::string& text) {
        console.send("done!");
        daemon.awaitOutput("pBuffData " + line + "\n" + text + "pBuffData done!\n");
    }

    /// How often the daemon has this file open.
    long timesOpen(const std::string& path) const {
        long times = 0;
        for (const auto& [number, target] : daemon.descriptors()) {
            times += target == path ? 1 : 0;
        }
        return times;
    }
};
