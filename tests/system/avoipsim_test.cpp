// The fleet as a process: what goes over the network, and what it does with signals and files.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"

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

    bed::Descriptor socket_;
};

// The program on the device side.
bed::Daemon startFleet(const bed::Namespaces& namespaces, std::vector<std::string> arguments) {
    return namespaces.onDeviceSide([&] {
        bed::DaemonOptions options;
        options.program = AVOIPSIM_PATH;
        options.arguments = std::move(arguments);
        return bed::Daemon(options);
    });
}

// The addresses 10.77.1.0 to 10.77.5.255, but not those of the cable itself.
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

}  // namespace
