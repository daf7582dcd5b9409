// The interface utilities against real interfaces, addresses, routes and tools, in a network
// namespace of the test's own.
#include "netif/netif.hpp"

#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "capture_output.hpp"
#include "refusals.hpp"

namespace {

long openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

// What a call returned, printed on standard output and left open.
struct Outcome {
    int result = 0;
    std::string output;
    long leftOpen = 0;
};

template <class Call>
Outcome outcomeOf(Call call) {
    Outcome outcome;
    const long before = openDescriptors();
    outcome.output = captureOutput([&] { outcome.result = call(); }).output;
    outcome.leftOpen = openDescriptors() - before;
    return outcome;
}

template <class Call>
Outcome outcomeWithoutDescriptors(Call call) {
    return outcomeOf([&] {
        const NoDescriptors none;
        return call();
    });
}

void expectOutcome(const Outcome& outcome, int result, const std::string& output,
                   long leftOpen = 0) {
    EXPECT_EQ(outcome.result, result);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.leftOpen, leftOpen);
}

constexpr const char* kUnknownName = "Not Support Device eth3\npEthName(eth3) failed!\n";
constexpr const char* kNullName = "pEthName == NULL!\npEthName((null)) failed!\n";

std::string searchPath() {
    const char* path = std::getenv("PATH");
    return path != nullptr ? path : "/usr/bin:/bin";
}

// The interfaces of the machine: all six known names but "eth2" and "eth0.1" exist.
//
//     eth0    02:00:00:00:00:10  192.168.7.20/24, up
//     eth1    02:00:00:00:00:11  no address, up
//     eth0.2  00:11:22:aa:bb:cc  10.77.0.1/16, up (the bed's)
class Netif : public testing::Test {
  protected:
    Netif() {
        // An ordinary user's path may lack the place of the tools.
        ::setenv("PATH", (searchPath() + ":/usr/sbin:/sbin").c_str(), 1);
        bed::ip(
            "link add eth0 address 02:00:00:00:00:10 type veth peer name far0\n"
            "link add eth1 address 02:00:00:00:00:11 type veth peer name far1\n"
            "link set far0 up\n"
            "link set far1 up\n"
            "link set eth0 up\n"
            "link set eth1 up\n"
            "addr add 192.168.7.20/24 dev eth0");
    }

    bed::Namespaces namespaces_;
    std::array<char, kNetMacRoom> mac_{};
    std::array<char, kNetAddressRoom> address_{};
    std::array<char, kNetGatewayRoom> gateway_{};
};

using NetCheckIfName = Netif;
using NetGetMac = Netif;
using NetGetIp = Netif;
using NetGetNetmask = Netif;
using NetSetIp = Netif;
using NetSetNetmask = Netif;
using NetSetMac = Netif;
using NetGetGateway = Netif;
using NetSetGateway = Netif;
using NetFallbackIp = Netif;

/// What the kernel says of an interface, asked in another way than the code under test does.
std::string linesOf(const std::string& command) {
    std::string lines;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::array<char, 256> piece{};
    while (std::fgets(piece.data(), static_cast<int>(piece.size()), pipe) != nullptr) {
        lines += piece.data();
    }
    ::pclose(pipe);
    return lines;
}

std::string macOf(const std::string& name) {
    return linesOf("ip -o link show " + name + " | sed 's/.*ether \\([^ ]*\\).*/\\1/'");
}

std::string addressOf(const std::string& name) {
    return linesOf("ip -o -4 addr show " + name + " | sed 's/.*inet \\([^ ]*\\).*/\\1/'");
}

std::string routes() {
    return linesOf("ip route | sed 's/ *$//'");
}

unsigned int flagsOf(const char* name) {
    const avoip::Descriptor handle(::socket(AF_INET, SOCK_DGRAM, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    EXPECT_EQ(::ioctl(handle.get(), SIOCGIFFLAGS, &request), 0);
    return static_cast<unsigned short>(request.ifr_flags);
}

// A tool of the test's own that the shell finds before the real one.
class FakeTool {
  public:
    FakeTool(const std::string& name, const std::string& script)
        : folder_(std::filesystem::temp_directory_path() / "avoip_fake_XXXXXX") {
        std::string path = folder_.string();
        folder_ = ::mkdtemp(path.data());
        std::ofstream(folder_ / name) << "#!/bin/sh\n" << script << "\n";
        ::chmod((folder_ / name).c_str(), 0755);
        ::setenv("PATH", (folder_.string() + ":" + path_).c_str(), 1);
    }
    ~FakeTool() {
        ::setenv("PATH", path_.c_str(), 1);
        std::filesystem::remove_all(folder_);
    }
    FakeTool(const FakeTool&) = delete;
    FakeTool& operator=(const FakeTool&) = delete;

  private:
    std::filesystem::path folder_;
    std::string path_ = searchPath();
};

TEST_F(NetCheckIfName, the_six_names_have_their_indexes) {
    const Outcome outcome = outcomeOf([] {
        EXPECT_EQ(Net_checkIfName("eth0"), 0);
        EXPECT_EQ(Net_checkIfName("lo"), 0);
        EXPECT_EQ(Net_checkIfName("eth2"), 2);
        EXPECT_EQ(Net_checkIfName("eth1"), 1);
        EXPECT_EQ(Net_checkIfName("eth0.2"), 2);
        return Net_checkIfName("eth0.1");
    });
    expectOutcome(outcome, 1, "");
}

TEST_F(NetCheckIfName, any_other_name_is_refused) {
    for (const std::string name : {"eth3", "ETH0", "Lo", "eth0.3", "eth0.20", "eth", "eth00", ""}) {
        const Outcome outcome = outcomeOf([&] { return Net_checkIfName(name.c_str()); });
        expectOutcome(outcome, -1, "Not Support Device " + name + "\n");
    }
}

TEST_F(NetCheckIfName, a_null_name_is_refused) {
    expectOutcome(outcomeOf([] { return Net_checkIfName(nullptr); }), -1, "pEthName == NULL!\n");
}

TEST_F(NetGetMac, writes_and_prints_twelve_lower_case_digits) {
    expectOutcome(outcomeOf([&] { return Net_getMac("eth0.2", mac_.data()); }), 0,
                  "local mac:001122aabbcc \n");
    EXPECT_STREQ(mac_.data(), "001122aabbcc");
    expectOutcome(outcomeOf([&] { return Net_getMac("eth1", mac_.data()); }), 0,
                  "local mac:020000000011 \n");
    EXPECT_STREQ(mac_.data(), "020000000011");
    expectOutcome(outcomeOf([&] { return Net_getMac("lo", mac_.data()); }), 0,
                  "local mac:000000000000 \n");
}

TEST_F(NetGetMac, an_unsupported_name_prints_both_lines) {
    expectOutcome(outcomeOf([&] { return Net_getMac("eth3", mac_.data()); }), -1, kUnknownName);
    expectOutcome(outcomeOf([&] { return Net_getMac(nullptr, mac_.data()); }), -1, kNullName);
}

TEST_F(NetGetMac, without_a_socket_it_fails_and_writes_nothing) {
    mac_ = {'k', 'e', 'p', 't'};
    expectOutcome(outcomeWithoutDescriptors([&] { return Net_getMac("eth0", mac_.data()); }), -1,
                  "create socket falise...mac\n");
    EXPECT_STREQ(mac_.data(), "kept");
}

TEST_F(NetGetMac, an_absent_interface_leaves_a_socket_open_and_writes_nothing) {
    mac_ = {'k', 'e', 'p', 't'};
    expectOutcome(outcomeOf([&] { return Net_getMac("eth2", mac_.data()); }), -1,
                  "mac ioctl error\n", 1);
    EXPECT_STREQ(mac_.data(), "kept");
}

TEST_F(NetGetIp, writes_and_prints_the_dotted_address) {
    expectOutcome(outcomeOf([&] { return Net_getIp("eth0", address_.data()); }), 0,
                  "local ip:192.168.7.20 \n");
    EXPECT_STREQ(address_.data(), "192.168.7.20");
}

TEST_F(NetGetIp, the_longest_address_fits) {
    bed::ip("addr add 192.168.100.200/24 dev eth1");
    expectOutcome(outcomeOf([&] { return Net_getIp("eth1", address_.data()); }), 0,
                  "local ip:192.168.100.200 \n");
    EXPECT_STREQ(address_.data(), "192.168.100.200");
}

TEST_F(NetGetIp, every_failure_has_its_line) {
    expectOutcome(outcomeOf([&] { return Net_getIp("eth3", address_.data()); }), -1, kUnknownName);
    expectOutcome(outcomeOf([&] { return Net_getIp(nullptr, address_.data()); }), -1, kNullName);
    expectOutcome(outcomeWithoutDescriptors([&] { return Net_getIp("eth0", address_.data()); }), -1,
                  "socket create failed!\n");
    expectOutcome(outcomeOf([&] { return Net_getIp("eth1", address_.data()); }), -1,
                  "SIOCGIFADDR Failed!\n", 1);
    expectOutcome(outcomeOf([&] { return Net_getIp("eth2", address_.data()); }), -1,
                  "SIOCGIFADDR Failed!\n", 1);
}

TEST_F(NetGetNetmask, writes_and_prints_the_dotted_netmask) {
    expectOutcome(outcomeOf([&] { return Net_getNetmask("eth0", address_.data()); }), 0,
                  "local netmask:255.255.255.0\n");
    EXPECT_STREQ(address_.data(), "255.255.255.0");
    expectOutcome(outcomeOf([&] { return Net_getNetmask("eth0.2", address_.data()); }), 0,
                  "local netmask:255.255.0.0\n");
}

TEST_F(NetGetNetmask, every_failure_has_its_line) {
    expectOutcome(outcomeOf([&] { return Net_getNetmask("eth3", address_.data()); }), -1,
                  kUnknownName);
    expectOutcome(outcomeOf([&] { return Net_getNetmask(nullptr, address_.data()); }), -1,
                  kNullName);
    expectOutcome(
        outcomeWithoutDescriptors([&] { return Net_getNetmask("eth0", address_.data()); }), -1,
        "create socket failture...NetGetLocalIp\n");
    expectOutcome(outcomeOf([&] { return Net_getNetmask("eth2", address_.data()); }), -1,
                  "mac ioctl error\n", 1);
}

TEST_F(NetSetIp, sets_the_address_and_takes_the_interface_up) {
    bed::ip("link set eth1 down");
    expectOutcome(outcomeOf([] { return Net_setIp("eth1", "192.168.9.1"); }), 0, "");
    EXPECT_EQ(addressOf("eth1"), "192.168.9.1/24\n");
    EXPECT_NE(flagsOf("eth1") & IFF_UP, 0U);
}

TEST_F(NetSetIp, the_flags_it_sets_are_not_based_on_those_that_were_set) {
    ASSERT_NE(flagsOf("eth0") & IFF_MULTICAST, 0U);
    expectOutcome(outcomeOf([] { return Net_setIp("eth0", "192.168.7.21"); }), 0, "");
    EXPECT_EQ(flagsOf("eth0") & IFF_MULTICAST, 0U);
}

TEST_F(NetSetIp, a_null_address_is_refused_silently) {
    expectOutcome(outcomeOf([] { return Net_setIp("eth0", nullptr); }), -1, "");
    expectOutcome(outcomeOf([] { return Net_setIp("eth3", nullptr); }), -1, kUnknownName);
}

TEST_F(NetSetIp, every_failure_has_its_line) {
    expectOutcome(outcomeOf([] { return Net_setIp("eth3", "192.168.9.1"); }), -1, kUnknownName);
    expectOutcome(outcomeOf([] { return Net_setIp(nullptr, "192.168.9.1"); }), -1, kNullName);
    expectOutcome(outcomeWithoutDescriptors([] { return Net_setIp("eth0", "192.168.9.1"); }), -1,
                  "socket create failse...SetLocalIp! sock_set_ip=-1\n");
    expectOutcome(outcomeOf([] { return Net_setIp("eth2", "192.168.9.1"); }), -1,
                  "Not setup interface\n", 1);
}

TEST_F(NetSetIp, refused_flags_leave_the_address_set_and_a_socket_open) {
    const Outcome outcome = outcomeOf([] {
        return resultWithRefusal(SYS_ioctl, ~0U, SIOCSIFFLAGS, [] {
            const long before = openDescriptors();
            const int result = Net_setIp("eth1", "192.168.9.1");
            return openDescriptors() == before + 1 ? result : -50;
        });
    });
    expectOutcome(outcome, -1, "SIOCSIFFLAGS");
    EXPECT_EQ(addressOf("eth1"), "192.168.9.1/24\n");
}

TEST_F(NetSetNetmask, sets_the_netmask_and_leaves_a_socket_open) {
    expectOutcome(outcomeOf([] { return Net_setNetmask("eth0", "255.255.240.0"); }), 0, "", 1);
    EXPECT_EQ(addressOf("eth0"), "192.168.7.20/20\n");
}

TEST_F(NetSetNetmask, every_failure_has_its_line) {
    expectOutcome(outcomeOf([] { return Net_setNetmask("eth3", "255.0.0.0"); }), -1, kUnknownName);
    expectOutcome(outcomeOf([] { return Net_setNetmask(nullptr, "255.0.0.0"); }), -1, kNullName);
    expectOutcome(outcomeWithoutDescriptors([] { return Net_setNetmask("eth0", "255.0.0.0"); }), -1,
                  "Not create network socket connect\n");
    expectOutcome(outcomeOf([] { return Net_setNetmask("eth1", "255.0.0.0"); }), -1,
                  "sock_netmask ioctl error\n", 1);
}

TEST_F(NetSetMac, sets_the_hardware_address_and_leaves_the_interface_up) {
    expectOutcome(outcomeOf([] { return Net_setMac("eth1", "02:00:00:ab:cd:ef"); }), 0, "");
    EXPECT_EQ(macOf("eth1"), "02:00:00:ab:cd:ef\n");
    EXPECT_NE(flagsOf("eth1") & IFF_UP, 0U);
}

TEST_F(NetSetMac, runs_the_tool_three_times_in_order) {
    const FakeTool ifconfig("ifconfig", "echo \"$@\"");
    expectOutcome(outcomeOf([] { return Net_setMac("eth0.1", "020000abcdef"); }), 0,
                  "eth0.1 down\neth0.1 hw ether 020000abcdef\neth0.1 up\n");
}

TEST_F(NetSetMac, does_not_notice_that_the_tool_fails) {
    const FakeTool ifconfig("ifconfig", "exit 1");
    expectOutcome(outcomeOf([] { return Net_setMac("eth1", "02:00:00:ab:cd:ef"); }), 0, "");
}

TEST_F(NetSetMac, every_failure_has_its_line) {
    expectOutcome(outcomeOf([] { return Net_setMac("eth3", "02:00:00:ab:cd:ef"); }), -1,
                  "Not Support Device eth3\npEthName(eth3) failed!/n");
    expectOutcome(outcomeOf([] { return Net_setMac(nullptr, "02:00:00:ab:cd:ef"); }), -1,
                  "pEthName == NULL!\npEthName((null)) failed!/n");
    expectOutcome(outcomeWithoutDescriptors([] { return Net_setMac("eth1", "02:00:00:ab:cd:ef"); }),
                  -1, "popen error\n");
}

TEST_F(NetGetGateway, writes_and_prints_the_default_gateway) {
    bed::ip("route add default via 192.168.7.1");
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:192.168.7.1\n");
    EXPECT_STREQ(gateway_.data(), "192.168.7.1");
}

TEST_F(NetGetGateway, the_name_is_ignored) {
    bed::ip("route add default via 192.168.7.1");
    expectOutcome(outcomeOf([&] { return Net_getGateway(nullptr, gateway_.data()); }), 0,
                  "default gateway:192.168.7.1\n");
}

TEST_F(NetGetGateway, without_a_default_route_it_is_the_third_word_of_the_last_line) {
    bed::ip("route del 224.0.0.0/4");
    ASSERT_TRUE(linesOf("ip route | tail -n 1").starts_with("192.168.7.0/24 dev eth0 "));
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:eth0\n");
}

TEST_F(NetGetGateway, without_any_route_it_is_empty) {
    bed::ip("addr flush dev eth0\naddr flush dev eth0.2");
    ASSERT_EQ(linesOf("ip route"), "");
    gateway_ = {'s', 't', 'a', 'l', 'e'};
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:\n");
    EXPECT_STREQ(gateway_.data(), "");
}

TEST_F(NetGetGateway, the_first_default_line_counts_whatever_stands_before_the_word) {
    const FakeTool tool("ip",
                        "test \"$*\" = route || exit\n"
                        "printf '10.0.0.0/8 dev far\\n \\t\\v\\fdefault via 10.1.1.1 dev eth0\\n'\n"
                        "printf 'default via 10.2.2.2\\nlast dev eth1\\n'");
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:10.1.1.1\n");
}

TEST_F(NetGetGateway, a_long_word_is_cut_at_its_room) {
    const FakeTool tool("ip", "echo default via " + std::string(40, 'x'));
    const std::string cut(31, 'x');
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:" + cut + "\n");
    EXPECT_EQ(gateway_.data(), cut);
}

TEST_F(NetGetGateway, a_line_is_read_in_pieces_of_512_characters) {
    const FakeTool tool(
        "ip", "echo " + std::string(512, 'x') + "default via 10.1.1.1; echo last dev eth1");
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:10.1.1.1\n");
}

TEST_F(NetGetGateway, a_shell_that_cannot_be_started_fails_it) {
    gateway_ = {'k', 'e', 'p', 't'};
    expectOutcome(
        outcomeWithoutDescriptors([&] { return Net_getGateway("eth0", gateway_.data()); }), -1,
        "popen error\n");
    EXPECT_STREQ(gateway_.data(), "kept");
}

constexpr const char* kReadBack = "local ip:192.168.7.20 \nlocal netmask:255.255.255.0\n";

TEST_F(NetSetGateway, replaces_the_default_route_and_makes_the_subnet_route_anew) {
    bed::ip("route add default via 192.168.7.1");
    expectOutcome(outcomeOf([] { return Net_setGateway("eth0", "192.168.7.254"); }), 0, kReadBack);
    EXPECT_EQ(routes(),
              "default via 192.168.7.254 dev eth0\n"
              "10.77.0.0/16 dev eth0.2 proto kernel scope link src 10.77.0.1\n"
              "192.168.7.0/24 dev eth0 scope link\n"
              "224.0.0.0/4 dev eth0.2 scope link\n");
}

TEST_F(NetSetGateway, works_where_there_was_no_default_route) {
    expectOutcome(outcomeOf([] { return Net_setGateway("eth0", "192.168.7.254"); }), 0, kReadBack);
    expectOutcome(outcomeOf([&] { return Net_getGateway("eth0", gateway_.data()); }), 0,
                  "default gateway:192.168.7.254\n");
}

TEST_F(NetSetGateway, the_name_and_the_socket_are_needed) {
    expectOutcome(outcomeOf([] { return Net_setGateway("eth3", "192.168.7.254"); }), -1,
                  kUnknownName);
    expectOutcome(outcomeOf([] { return Net_setGateway(nullptr, "192.168.7.254"); }), -1,
                  kNullName);
    expectOutcome(outcomeWithoutDescriptors([] { return Net_setGateway("eth0", "192.168.7.254"); }),
                  -1, "Not create network socket connect\n");
}

TEST_F(NetSetGateway, without_an_address_it_fails_and_leaves_two_sockets_open) {
    expectOutcome(outcomeOf([] { return Net_setGateway("eth1", "192.168.7.254"); }), -1,
                  "SIOCGIFADDR Failed!\nGet Default Gateway Error\n", 2);
}

TEST_F(NetSetGateway, a_refused_subnet_route_fails_it_and_leaves_nothing_open) {
    bed::ip("link set eth0 down");
    expectOutcome(outcomeOf([] { return Net_setGateway("eth0", "192.168.7.254"); }), -1,
                  std::string(kReadBack) + "SetGateWay SIOCADDRT Failed\n");
}

TEST_F(NetSetGateway, a_refused_default_route_fails_it_and_leaves_a_socket_open) {
    bed::ip("route add default via 192.168.7.1");
    expectOutcome(outcomeOf([] { return Net_setGateway("eth0", "172.16.0.1"); }), -1,
                  std::string(kReadBack) + "SetGateWay SIOCADDRT Failed\n", 1);
    EXPECT_EQ(routes(),
              "10.77.0.0/16 dev eth0.2 proto kernel scope link src 10.77.0.1\n"
              "192.168.7.0/24 dev eth0 scope link\n"
              "224.0.0.0/4 dev eth0.2 scope link\n");
}

TEST_F(NetFallbackIp, does_nothing_when_a_socket_can_be_opened) {
    expectOutcome(outcomeOf([] { return Net_fallbackIp("eth0"); }), 0, "");
    EXPECT_EQ(addressOf("eth0"), "192.168.7.20/24\n");
}

TEST_F(NetFallbackIp, assigns_the_address_when_no_socket_can_be_opened) {
    const Outcome outcome = outcomeOf([] {
        // The ifconfig tool makes do with a datagram socket.
        return resultWithRefusal(SYS_socket, 0xF, SOCK_STREAM,
                                 [] { return Net_fallbackIp("eth1"); });
    });
    expectOutcome(outcome, 0, "cmd ifconfig eth1 192.168.1.10\n");
    EXPECT_EQ(addressOf("eth1"), "192.168.1.10/24\n");
}

TEST_F(NetFallbackIp, every_failure_has_its_line) {
    expectOutcome(outcomeOf([] { return Net_fallbackIp("eth3"); }), -1, kUnknownName);
    expectOutcome(outcomeOf([] { return Net_fallbackIp(nullptr); }), -1, kNullName);
    expectOutcome(outcomeWithoutDescriptors([] { return Net_fallbackIp("eth0"); }), -1,
                  "cmd ifconfig eth0 192.168.1.10\nroute error");
}

}  // namespace
