// avoipguard as a process: what it waits for, what it says, and how it ends.
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include "bed/image_file.hpp"
#include "bed/ip_tool.hpp"
#include "bed/upload_port.hpp"
#include "system/guard_bed.hpp"

namespace {

using GuardProcess = Guarded;

class GuardWithoutInterface : public Guarded {
  protected:
    GuardWithoutInterface() : Guarded(bed::Control::kAbsent) {}
};

constexpr const char* kNoInterface = "There is no control interface eth0.2.";
constexpr const char* kDown = "The control interface eth0.2 is down: ip link set eth0.2 up";
constexpr const char* kNoAddress =
    "The control interface eth0.2 has no IPv4 address: ip address add ADDRESS/LENGTH dev eth0.2";
constexpr const char* kNoRoute =
    "No route leads to the devices' group 239.255.255.250: ip route add 224.0.0.0/4 dev eth0.2";

/// An exit status that the program ended with by itself.
constexpr bed::Exit withStatus(int status) {
    return {false, status};
}

/// Where a service manager would hear the guard.
class Manager {
  public:
    explicit Manager(const std::string& path)
        : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::ranges::copy(path, address.sun_path);
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    std::string next() {
        std::array<char, 1024> text{};
        if (!bed::awaitReadable(socket_.get())) {
            throw bed::Error("nothing more is said to the service manager");
        }
        const ssize_t count = ::recv(socket_.get(), text.data(), text.size(), 0);
        return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    /// What comes, but for signs of life.
    std::string nextNews() {
        std::string text = next();
        while (text == "WATCHDOG=1") {
            text = next();
        }
        return text;
    }

  private:
    avoip::Descriptor socket_;
};

}  // namespace

TEST_F(GuardWithoutInterface, waits_for_the_interface_its_state_its_address_and_the_route) {
    guard = std::make_unique<bed::Daemon>(options());
    awaitLine(std::string("avoipguard: waiting: ") + kNoInterface);
    EXPECT_EQ(health().state, avoip::HealthState::kWaiting);
    EXPECT_EQ(health().reason, kNoInterface);
    EXPECT_EQ(health().daemonPid, 0);
    bed::ip("link add eth0.2 address 00:11:22:aa:bb:cc type veth peer name dev0");
    awaitLine(std::string("avoipguard: waiting: ") + kDown);
    bed::ip("link set eth0.2 up");
    awaitLine(std::string("avoipguard: waiting: ") + kNoAddress);
    bed::ip("addr add 10.77.0.1/16 dev eth0.2");
    awaitLine(std::string("avoipguard: waiting: ") + kNoRoute);
    EXPECT_EQ(guard->output().all(), "");
    bed::ip("route add 224.0.0.0/4 dev eth0.2");
    awaitState("ok");
    guard->awaitOutput("asks 1!\n");
    EXPECT_EQ(guard->output().all(),
              "local mac:001122aabbcc \n"
              "Server: listening for client requests....\n"
              "pBuffData avoipguard asks 1!\n");
}

TEST_F(GuardProcess, warns_of_a_route_to_the_group_that_leads_elsewhere) {
    start();
    EXPECT_EQ(health().reason, "");
    bed::ip(
        "link add other type veth peer name peer\naddr add 10.78.0.1/16 dev other\nlink set other "
        "up\n"
        "route replace 224.0.0.0/4 dev other");
    awaitLine(
        "avoipguard: ok: The route to the devices' group 239.255.255.250 does not lead out of "
        "eth0.2: ip route add 224.0.0.0/4 dev eth0.2");
    namespaces.addMulticastRoute();
    awaitReason("");
}

TEST_F(GuardProcess, replaces_its_state_as_a_whole) {
    start();
    std::atomic<bool> isOver = false;
    std::atomic<int> unreadable = 0;
    std::jthread reader([&] {
        while (!isOver) {
            unreadable += avoip::Health_readFolder(folder).has_value() ? 0 : 1;
        }
    });
    for (int i = 0; i < 20; ++i) {
        namespaces.removeMulticastRoute();
        awaitState("useless");
        namespaces.addMulticastRoute();
        awaitState("ok");
    }
    isOver = true;
    reader.join();
    EXPECT_EQ(unreadable, 0);
}

TEST_F(GuardProcess, says_a_failure_once_and_tries_again_with_growing_pauses) {
    guard = std::make_unique<bed::Daemon>(options("/bin/false"));
    awaitReason("avoipd has ended with status 1.");
    // 0, 0, 250 and 500 ms: five daemons take three quarters of a second.
    awaitHealth("four more tries", [](const avoip::Health& read) { return read.restarts >= 4; });
    const auto begin = std::chrono::steady_clock::now();
    awaitHealth("one more try", [](const avoip::Health& read) { return read.restarts >= 5; });
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 500ms);
    EXPECT_EQ(guard->errors().all(),
              "avoipguard: starting\navoipguard: useless: avoipd has ended with status 1.\n");
}

TEST_F(GuardProcess, starts_a_daemon_that_is_installed_later) {
    const std::string path = folder + "/avoipd";
    guard = std::make_unique<bed::Daemon>(options(path));
    awaitLine("avoipguard: useless: " + path +
              " cannot be run (No such file or directory). Correct --daemon, or install it.");
    std::filesystem::create_symlink(AVOIPD_PLAIN_PATH, path);
    awaitState("ok");
    expectWorks();
}

TEST_F(GuardProcess, gives_up_a_daemon_that_opens_no_console) {
    guard = std::make_unique<bed::Daemon>(options(script("exec sleep 1000")));
    awaitLine("avoipguard: useless: avoipd does not open its console on TCP port 6888.");
    awaitHealth("another try", [](const avoip::Health& read) { return read.restarts == 1; });
}

TEST_F(GuardProcess, gives_up_a_daemon_that_reads_and_does_not_answer) {
    const std::string program = folder + "/silent.py";
    std::ofstream(program) << R"(
import ctypes, socket, threading, time
libc = ctypes.CDLL(None)
libc.shmat.restype = ctypes.c_void_p
libc.shmat(libc.shmget(0x12345678, 4 * 1024 * 1024 + 6, 0o1664), None, 0)
replies = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
replies.bind(("", 8003))
print("local mac:001122aabbcc ", flush=True)
listener = socket.socket()
listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
listener.bind(("", 6888))
listener.listen()
def serve(connection):
    while connection.recv(100):
        pass
def accept():
    while True:
        connection = listener.accept()[0]
        threading.Thread(target=serve, args=(connection,), daemon=True).start()
threading.Thread(target=accept, daemon=True).start()
time.sleep(1000)
)";
    guard = std::make_unique<bed::Daemon>(options(script("exec python3 " + folder + "/silent.py")));
    awaitLine(
        "avoipguard: useless: avoipd does not answer: a question has had no answer for two "
        "seconds.");
}

TEST_F(GuardProcess, speaks_to_the_service_manager) {
    Manager manager(folder + "/notify");
    namespaces.removeMulticastRoute();
    bed::DaemonOptions made = options(script("env > " + folder + "/environment; exec $avoipd"));
    made.environment = {"NOTIFY_SOCKET=" + folder + "/notify", "WATCHDOG_USEC=300000"};
    guard = std::make_unique<bed::Daemon>(made);
    EXPECT_EQ(manager.nextNews(), std::string("STATUS=waiting: ") + kNoRoute);
    // The guard is at work, whatever the daemon waits for.
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    namespaces.addMulticastRoute();
    std::string news = manager.nextNews();
    if (news.starts_with("STATUS=starting")) {
        news = manager.nextNews();
    }
    EXPECT_EQ(news, "READY=1");
    EXPECT_EQ(manager.nextNews(),
              "STATUS=ok: avoipd is process " + std::to_string(health().daemonPid) + ".");
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    namespaces.removeMulticastRoute();
    EXPECT_EQ(manager.nextNews(), std::string("STATUS=useless: ") + kNoRoute);
    EXPECT_EQ(guard->stop(SIGTERM), withStatus(0));
    EXPECT_EQ(manager.nextNews(), "STOPPING=1");
    EXPECT_EQ(manager.nextNews(), "STATUS=stopping");

    std::ifstream file(folder + "/environment");
    const std::string environment(std::istreambuf_iterator<char>(file), {});
    EXPECT_NE(environment, "");
    EXPECT_EQ(environment.find("NOTIFY_SOCKET"), std::string::npos);
    EXPECT_EQ(environment.find("WATCHDOG"), std::string::npos);
}

TEST_F(GuardProcess, comes_before_the_daemon_where_it_may) {
    // A guard that was given another place than the usual one stays there.
    ASSERT_EQ(::setpriority(PRIO_PROCESS, 0, 0), 0);
    start();
    std::size_t threads = 0;
    for (const auto& entry : std::filesystem::directory_iterator(
             "/proc/" + std::to_string(health().daemonPid) + "/task")) {
        const auto thread = static_cast<id_t>(std::stoi(entry.path().filename()));
        EXPECT_EQ(::getpriority(PRIO_PROCESS, thread), 0);
        ++threads;
    }
    EXPECT_EQ(threads, 3U);
    EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(guard->pid())), -10);
}

TEST_F(GuardProcess, ends_with_the_daemon_and_leaves_nothing_of_it_behind) {
    start();
    const pid_t daemon = health().daemonPid;
    EXPECT_TRUE(bed::Segment::exists());
    EXPECT_EQ(guard->stop(SIGTERM), withStatus(0));
    EXPECT_TRUE(guard->errors().all().ends_with("avoipguard: stopping\n")) << guard->errors().all();
    EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(daemon)));
    EXPECT_FALSE(bed::Segment::exists());
    EXPECT_FALSE(std::filesystem::exists(folder + "/state.json"));
}

TEST_F(GuardProcess, forwards_the_signal_to_the_daemon) {
    guard = std::make_unique<bed::Daemon>(
        options(script("trap 'echo heard TERM; exit 0' TERM; echo begins; "
                       "while :; do sleep 0.01; done")));
    guard->awaitOutput("begins\n");
    EXPECT_EQ(guard->stop(SIGTERM), withStatus(0));
    EXPECT_EQ(guard->output().all(), "begins\nheard TERM\n");
}

TEST_F(GuardProcess, ends_a_daemon_that_is_stopped_too) {
    start();
    ::kill(health().daemonPid, SIGSTOP);
    EXPECT_EQ(guard->stop(SIGTERM), withStatus(0));
}

TEST_F(GuardProcess, takes_its_daemon_with_it_when_it_is_killed) {
    start();
    const std::string daemon = "/proc/" + std::to_string(health().daemonPid);
    EXPECT_EQ(guard->stop(SIGKILL), (bed::Exit{true, SIGKILL}));
    bed::awaitCondition("the daemon's end", [&] { return !std::filesystem::exists(daemon); });
    // What it has left behind is nobody's word any more.
    EXPECT_TRUE(std::filesystem::exists(folder + "/state.json"));
    EXPECT_EQ(avoip::Health_readFolder(folder), std::nullopt);
    start();
    expectWorks();
}

TEST_F(GuardProcess, ends_at_once_where_another_guard_is_at_work) {
    start();
    bed::Daemon second(options());
    EXPECT_EQ(second.awaitExit(), withStatus(1));
    EXPECT_EQ(second.errors().all(), "avoipguard: Another process (" +
                                         std::to_string(guard->pid()) +
                                         ") keeps the state folder " + folder +
                                         " already. End it, or name another folder with "
                                         "--state-folder.\n");
    EXPECT_EQ(health().state, avoip::HealthState::kOk);
}

TEST_F(GuardProcess, ends_with_2_when_its_command_line_is_wrong) {
    bed::DaemonOptions made = options();
    made.arguments = {"--demon", "x"};
    bed::Daemon unknown(made);
    EXPECT_EQ(unknown.awaitExit(), withStatus(2));
    EXPECT_TRUE(unknown.errors().all().ends_with("Run avoipguard --help for help.\n"));
    made.arguments = {"avoipd"};
    bed::Daemon argument(made);
    EXPECT_EQ(argument.awaitExit(), withStatus(2));
    EXPECT_EQ(argument.errors().all(),
              "avoipguard: it takes no argument \"avoipd\".\nRun avoipguard --help for help.\n");
}

TEST_F(GuardProcess, ends_with_1_where_it_cannot_keep_its_state) {
    bed::DaemonOptions made = options();
    made.arguments = {"--state-folder", folder + "/a/b"};
    bed::Daemon program(made);
    EXPECT_EQ(program.awaitExit(), withStatus(1));
    EXPECT_EQ(program.errors().all(),
              "avoipguard: The state folder " + folder +
                  "/a/b cannot be made (No such file or directory). Make it, or name another one "
                  "with --state-folder.\n");
}

TEST_F(GuardProcess, has_the_listener_end_with_an_upload_before_it_starts_a_new_daemon) {
    start();
    bed::Device device(namespaces);
    const bed::UploadPort port =
        namespaces.onDeviceSide([] { return bed::UploadPort("10.77.0.2"); });
    const pid_t before = health().daemonPid;
    const bed::ImageFile image({.size = 100});
    bed::Console console;
    console.send("update device encoder tx01 " + image.path() + "!");
    device.receive();
    device.reply(bed::replyText(
        "config get device", "success", identity, "tx01",
        R"("device":{"deviceid":"tx01","alias":"","devtype":"","devaddr":"10.77.0.2",)"
        R"("devnetmask":"","devgateway":"","devmac":"","status":"","version":""})"));
    bed::Upload upload = port.accept();
    // The daemon now waits for the device's word, for five minutes.
    EXPECT_EQ(upload.receive(104), bed::chunkStream("E", image.payload()));
    bed::Segment::remove();
    awaitReason(
        "The answer segment (key 0x12345678) is gone. It is restarted when the firmware upload has "
        "ended.");
    EXPECT_EQ(health().daemonPid, before);
    upload.send("done");
    upload.end();
    awaitRestart(0);
    expectWorks();
}
