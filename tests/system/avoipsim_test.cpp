// The fleet as a process: what goes over the network, and what it does with signals and files.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "firmware/upload.hpp"
#include "lib/base/json.hpp"

namespace {

using namespace std::chrono_literals;

struct Answer {
    std::string text;
    std::string address;
};

// One that asks devices, on the controller side, as the daemon does.
class Asker {
  public:
    Asker() : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        const int room = 4 << 20;
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        const sockaddr_in local = address("0.0.0.0", 8003);
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local),
                  0);
    }

    void send(const std::string& text) {
        const sockaddr_in group = address("239.255.255.250", 8002);
        EXPECT_EQ(::sendto(socket_.get(), text.data(), text.size(), 0,
                           reinterpret_cast<const sockaddr*>(&group), sizeof group),
                  static_cast<ssize_t>(text.size()));
    }

    void ask(const std::string& cmd, const std::string& id, const std::string& data = "") {
        send(R"({"request":{"cmd":")" + cmd + R"(","hostid":"001122aabbcc","device":[{"id":")" +
             id + R"("}]})" + (data.empty() ? "" : "," + data) + "}");
    }

    Answer receive() {
        if (!bed::awaitReadable(socket_.get())) {
            return {"(nothing)", ""};
        }
        std::array<char, 2000> buffer{};
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        const ssize_t size = ::recvfrom(socket_.get(), buffer.data(), buffer.size(), 0,
                                        reinterpret_cast<sockaddr*>(&sender), &length);
        return {{buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))},
                ::inet_ntoa(sender.sin_addr)};
    }

    std::vector<Answer> receiveMany(std::size_t count) {
        std::vector<Answer> answers;
        while (answers.size() < count) {
            answers.push_back(receive());
            if (answers.back().address.empty()) {
                break;
            }
        }
        answers.resize(count);
        return answers;
    }

  private:
    static sockaddr_in address(const char* text, std::uint16_t port) {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        result.sin_addr.s_addr = ::inet_addr(text);
        return result;
    }

    avoip::Descriptor socket_;
};

bed::DaemonOptions fleetOptions(std::vector<std::string> arguments) {
    bed::DaemonOptions options;
    options.program = AVOIPSIM_PATH;
    options.arguments = std::move(arguments);
    return options;
}

/// The program on the device side.
bed::Daemon startFleet(const bed::Namespaces& namespaces, std::vector<std::string> arguments) {
    return namespaces.onDeviceSide([&] { return bed::Daemon(fleetOptions(std::move(arguments))); });
}

/// The addresses 10.77.1.0 to 10.77.5.255, but not those of the cable itself.
void makeAddressesLocal(const bed::Namespaces& namespaces) {
    namespaces.onDeviceSide([] {
        bed::ip(
            "route add local 10.77.1.0/24 dev lo\n"
            "route add local 10.77.2.0/23 dev lo\n"
            "route add local 10.77.4.0/23 dev lo");
    });
}

std::string deviceText(const std::string& id, const std::string& type, const std::string& address,
                       const std::string& mac) {
    return R"({"ack":{"cmd":"config get device","status":"success","hostid":"001122aabbcc",)"
           R"("deviceid":")" +
           id + R"("},"device":{"deviceid":")" + id + R"(","alias":"","devtype":")" + type +
           R"(","devaddr":")" + address +
           R"(","devnetmask":"255.255.0.0","devgateway":"10.77.0.1","devmac":")" + mac +
           R"(","status":"online","version":"1.0.0"}})";
}

class AvoipsimProcess : public testing::Test {
  protected:
    bed::Namespaces namespaces;
    Asker asker;
};

TEST_F(AvoipsimProcess, says_that_it_listens_and_each_device_answers_from_its_address) {
    makeAddressesLocal(namespaces);
    bed::Daemon fleet = startFleet(namespaces, {"--encoders", "1", "--decoders", "2"});
    fleet.output().awaitWhole("avoipsim: 1 encoders, 2 decoders on dev0, 10.77.1.1 to 10.77.1.3\n");
    asker.ask("config get device", "All");
    const auto answers = asker.receiveMany(3);
    EXPECT_EQ(answers[0].text, deviceText("TX-0001", "TX", "10.77.1.1", "02:00:01:00:00:01"));
    EXPECT_EQ(answers[1].text, deviceText("RX-0001", "RX", "10.77.1.2", "02:00:02:00:00:01"));
    EXPECT_EQ(answers[2].text, deviceText("RX-0002", "RX", "10.77.1.3", "02:00:02:00:00:02"));
    EXPECT_EQ(answers[0].address, "10.77.1.1");
    EXPECT_EQ(answers[2].address, "10.77.1.3");
    EXPECT_EQ(fleet.stop(SIGTERM), (bed::Exit{false, 0}));
}

TEST_F(AvoipsimProcess, answers_from_the_interface_where_the_devices_addresses_are_not_local) {
    bed::Daemon fleet = startFleet(namespaces, {});
    fleet.awaitOutput("on dev0");
    asker.ask("config get device", "RX-0006");
    const Answer answer = asker.receive();
    EXPECT_EQ(answer.text, deviceText("RX-0006", "RX", "10.77.1.10", "02:00:02:00:00:06"));
    EXPECT_EQ(answer.address, bed::kDeviceAddress);
}

TEST_F(AvoipsimProcess, a_thousand_devices_all_answer_a_discovery) {
    makeAddressesLocal(namespaces);
    bed::Daemon fleet =
        startFleet(namespaces, {"--encoders", "512", "--decoders", "512", "--spacing", "1000"});
    fleet.awaitOutput("avoipsim: 512 encoders, 512 decoders on dev0, 10.77.1.1 to 10.77.5.0\n");
    asker.ask("config get device", "All");
    std::set<std::string> texts;
    std::set<std::string> addresses;
    for (const Answer& answer : asker.receiveMany(1024)) {
        texts.insert(answer.text);
        addresses.insert(answer.address);
    }
    EXPECT_EQ(texts.size(), 1024U);
    EXPECT_EQ(addresses.size(), 1024U);
    EXPECT_TRUE(texts.contains(deviceText("TX-0001", "TX", "10.77.1.1", "02:00:01:00:00:01")));
    EXPECT_TRUE(texts.contains(deviceText("RX-0512", "RX", "10.77.5.0", "02:00:02:00:02:00")));
}

TEST_F(AvoipsimProcess, what_is_set_reads_back_and_stands_in_the_log_and_the_saved_state) {
    const std::string state = testing::TempDir() + "fleet_" + std::to_string(::getpid());
    bed::Daemon fleet = startFleet(namespaces, {"--log", "-", "--save-state", state});
    fleet.awaitOutput("on dev0");
    asker.ask("matrix set", "RX-0002", R"("rxsource":{"txid":"TX-0003"})");
    asker.ask("matrix get", "RX-0002");
    EXPECT_NE(asker.receive().text.find(R"("rxsource":{"rxid":"RX-0002","txid":"TX-0003"}})"),
              std::string::npos);
    asker.ask("serial data", "TX-0001", R"("data":"SGVsbG8=")");
    fleet.awaitOutput(
        R"("event":"serial data","device":"TX-0001","hex":"48656C6C6F","text":"Hello"})");
    EXPECT_EQ(fleet.stop(SIGINT), (bed::Exit{false, 0}));
    std::ostringstream saved;
    saved << std::ifstream(state).rdbuf();
    EXPECT_NE(saved.str().find("TX-0003"), std::string::npos);
    ::unlink(state.c_str());
}

TEST_F(AvoipsimProcess, saves_its_state_when_asked_and_goes_on) {
    const std::string state = testing::TempDir() + "fleet_" + std::to_string(::getpid());
    bed::Daemon fleet = startFleet(namespaces, {"--save-state", state});
    fleet.awaitOutput("on dev0");
    ASSERT_EQ(::kill(fleet.pid(), SIGUSR1), 0);
    bed::awaitCondition("the state file", [&] { return ::access(state.c_str(), R_OK) == 0; });
    asker.ask("config get device", "TX-0001");
    EXPECT_EQ(asker.receive().text, deviceText("TX-0001", "TX", "10.77.1.1", "02:00:01:00:00:01"));
    EXPECT_EQ(fleet.stop(SIGTERM), (bed::Exit{false, 0}));
    ::unlink(state.c_str());
}

TEST_F(AvoipsimProcess, a_device_that_reboots_comes_back) {
    bed::Daemon fleet = startFleet(namespaces, {"--encoders", "2", "--reboot-time", "2000"});
    fleet.awaitOutput("on dev0");
    asker.ask("device reboot", "TX-0001");
    asker.ask("config get tx params", "TX-0001");
    asker.ask("config get tx params", "TX-0002");
    EXPECT_NE(asker.receive().text.find(R"("deviceid":"TX-0002")"), std::string::npos);
    std::string answer;
    bed::awaitCondition("the device to come back", [&] {
        asker.ask("config get tx params", "All_TX");
        answer = asker.receive().text;
        return answer.find("TX-0001") != std::string::npos;
    });
}

TEST_F(AvoipsimProcess, a_late_duplicate_comes_late_and_twice) {
    bed::Daemon fleet = startFleet(namespaces, {"--delay", "150", "--duplicate", "1"});
    fleet.awaitOutput("on dev0");
    const auto start = std::chrono::steady_clock::now();
    asker.ask("matrix get", "RX-0001");
    const auto answers = asker.receiveMany(2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
    EXPECT_EQ(answers[0].text, answers[1].text);
}

TEST_F(AvoipsimProcess, an_interface_that_is_not_there_is_explained) {
    bed::Daemon fleet = startFleet(namespaces, {"--interface", "dev7"});
    EXPECT_EQ(fleet.awaitExit(), (bed::Exit{false, 1}));
    EXPECT_EQ(fleet.errors().all(),
              "avoipsim: there is no interface dev7; name one with --interface (\"ip link\" lists "
              "them)\n");
}

TEST_F(AvoipsimProcess, a_port_that_is_taken_is_explained) {
    bed::Daemon first = startFleet(namespaces, {});
    first.awaitOutput("on dev0");
    bed::Daemon second = startFleet(namespaces, {});
    EXPECT_EQ(second.awaitExit(), (bed::Exit{false, 1}));
    EXPECT_EQ(second.errors().all(),
              "avoipsim: UDP port 8002 cannot be had: Address already in use; another fleet may be "
              "running here (\"ss -ulpn\" shows who has it)\n");
}

TEST_F(AvoipsimProcess, files_that_cannot_be_had_are_explained) {
    bed::Daemon state = startFleet(namespaces, {"--state", "/nowhere/state"});
    EXPECT_EQ(state.awaitExit(), (bed::Exit{false, 1}));
    EXPECT_EQ(state.errors().all(),
              "avoipsim: state file /nowhere/state cannot be read: No such file or directory\n");
    bed::Daemon log = startFleet(namespaces, {"--log", "/nowhere/log"});
    EXPECT_EQ(log.awaitExit(), (bed::Exit{false, 1}));
    EXPECT_EQ(log.errors().all(),
              "avoipsim: log file /nowhere/log cannot be opened: No such file or directory\n");
}

TEST_F(AvoipsimProcess, a_nonsense_option_is_wrong_usage) {
    bed::Daemon fleet = startFleet(namespaces, {"--encoders", "many"});
    EXPECT_EQ(fleet.awaitExit(), (bed::Exit{false, 2}));
    EXPECT_NE(fleet.errors().all(), "");
}

// Uploads are sent by the daemon's own sender, in this process. Devices are back from their reboot
// at once, but where a test says otherwise.
class AvoipsimUploads : public AvoipsimProcess {
  protected:
    AvoipsimUploads() {
        makeAddressesLocal(namespaces);
        std::filesystem::create_directories(folder);
    }
    ~AvoipsimUploads() override { std::filesystem::remove_all(folder); }

    void start(std::vector<std::string> arguments, const std::string& rebootTime = "0") {
        for (const std::string text :
             {"--encoders", "3", "--log", "-", "--reboot-time", rebootTime.c_str()}) {
            arguments.push_back(text);
        }
        namespaces.onDeviceSide([&] { fleet.emplace(fleetOptions(std::move(arguments))); });
        fleet->awaitOutput("on dev0");
    }

    std::string makeImage(const std::string& size) {
        std::string path = folder + "/image";
        bed::Daemon maker(fleetOptions({"--make-image", path, "--image-name", "Video-TX-2",
                                        "--image-version", "1.2.6", "--image-size", size}));
        EXPECT_EQ(maker.awaitExit(), (bed::Exit{false, 0}));
        return path;
    }

    /// What the sender printed behind its three lines about the image, and how it ended.
    std::string upload(const char* address, const std::string& image, bool wait) {
        testing::internal::CaptureStdout();
        const int result = Main_update_encoder(nullptr, address, image.c_str(), wait);
        const std::string printed = testing::internal::GetCapturedStdout();
        const std::size_t size = printed.find("Firmware size");
        return printed.substr(printed.find('\n', size) + 1) + std::to_string(result);
    }

    std::string version(const std::string& id) {
        asker.ask("config get device", id);
        const avoip::Json answer = avoip::Json_parse(asker.receive().text);
        return avoip::Json_text(avoip::Json_find(answer.get(), "device"), "version").value_or("?");
    }

    static std::string content(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }

    const std::string folder = testing::TempDir() + "avoipsim_images_" + std::to_string(::getpid());
    std::optional<bed::Daemon> fleet;
};

TEST_F(AvoipsimUploads, a_device_becomes_the_version_of_its_image_and_stores_it) {
    const std::string image = makeImage("10000");
    start({"--store-images", folder + "/stored"});
    EXPECT_EQ(version("TX-0002"), "1.0.0");
    EXPECT_EQ(upload("10.77.1.2", image, true), "read success\n0");
    fleet->awaitOutput(R"("event":"upload begins","device":"TX-0002"})");
    fleet->awaitOutput(
        R"("event":"upload ends","device":"TX-0002","result":"success","bytes":"10000"})");
    EXPECT_EQ(version("TX-0002"), "1.2.6");
    EXPECT_EQ(version("TX-0001"), "1.0.0");
    EXPECT_EQ(content(folder + "/stored/TX-0002.bin"), content(image).substr(0, 10000));
}

TEST_F(AvoipsimUploads, a_full_image_of_a_sender_that_does_not_wait_arrives_whole) {
    const std::string image = makeImage("16777216");
    start({"--store-images", folder});
    EXPECT_EQ(upload("10.77.1.1", image, false), "0");
    fleet->awaitOutput(R"("result":"success","bytes":"16777216"})");
    EXPECT_EQ(version("TX-0001"), "1.2.6");
    EXPECT_TRUE(content(folder + "/TX-0001.bin") == content(image));
}

TEST_F(AvoipsimUploads, a_device_refuses_an_image_for_the_other_kind) {
    const std::string image = makeImage("5000");
    start({});
    EXPECT_EQ(upload("10.77.1.4", image, true), "read failure\n0");
    fleet->awaitOutput(R"("result":"not for this kind of device: Video-TX-2")");
    EXPECT_EQ(version("RX-0001"), "1.0.0");
}

TEST_F(AvoipsimUploads, a_device_reboots_when_it_has_taken_an_image) {
    const std::string image = makeImage("5000");
    start({}, "3600000");
    EXPECT_EQ(upload("10.77.1.1", image, true), "read success\n0");
    asker.ask("config get tx params", "All_TX");
    EXPECT_NE(asker.receive().text.find(R"("deviceid":"TX-0002")"), std::string::npos);
    const std::string said = upload("10.77.1.1", image, true);
    EXPECT_FALSE(said.ends_with("read success\n0")) << said;
}

TEST_F(AvoipsimUploads, refusing_concerns_the_listed_devices_only) {
    const std::string image = makeImage("5000");
    start({"--upload-refuse", "--upload-fault-devices", "TX-0002"});
    EXPECT_EQ(upload("10.77.1.1", image, true), "read success\n0");
    EXPECT_EQ(upload("10.77.1.2", image, true),
              "getsockopt SO_ERROR=111 errno:115 Operation now in progress\nConnect error\n-1");
    EXPECT_EQ(upload("10.77.1.3", image, true), "read success\n0");
}

TEST_F(AvoipsimUploads, a_device_closes_the_connection_after_so_many_bytes) {
    const std::string image = makeImage("16777216");
    start({"--upload-close-after", "100000"});
    const std::string said = upload("10.77.1.1", image, false);
    EXPECT_TRUE(said.ends_with("Tcp_Send err!\n-1")) << said;
    fleet->awaitOutput(R"("event":"upload ends","device":"TX-0001","result":"closed on purpose")");
    EXPECT_EQ(version("TX-0001"), "1.0.0");
}

TEST_F(AvoipsimUploads, a_device_that_stops_reading_stalls_its_sender) {
    const std::string image = makeImage("16777216");
    start({"--upload-stop-after", "100000"});
    std::future<std::string> sender =
        std::async(std::launch::async, [&] { return upload("10.77.1.1", image, false); });
    fleet->awaitOutput(R"("result":"stopped reading")");
    // Other devices go on meanwhile, and the stalled sender does until it is cut off.
    EXPECT_EQ(version("TX-0002"), "1.0.0");
    EXPECT_EQ(sender.wait_for(0s), std::future_status::timeout);
    fleet->stop(SIGKILL);
    EXPECT_TRUE(sender.get().ends_with("Tcp_Send err!\n-1"));
}

TEST_F(AvoipsimUploads, an_answer_that_never_comes_keeps_the_connection_open) {
    const std::string image = makeImage("5000");
    start({"--upload-no-answer"});
    std::future<std::string> sender =
        std::async(std::launch::async, [&] { return upload("10.77.1.1", image, true); });
    fleet->awaitOutput(R"("result":"success")");
    EXPECT_EQ(version("TX-0001"), "1.2.6");
    EXPECT_EQ(sender.wait_for(100ms), std::future_status::timeout);
    fleet->stop(SIGKILL);
    EXPECT_NE(sender.get().find("read \n0"), std::string::npos);
}

TEST_F(AvoipsimUploads, an_answer_comes_late) {
    const std::string image = makeImage("5000");
    start({"--upload-answer-after", "400"});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(upload("10.77.1.1", image, true), "read success\n0");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 400ms);
}

}  // namespace
