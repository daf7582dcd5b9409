// What the guard sees, each by one look: tried on the test's own process, sockets and segment.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <thread>

#include "avoipguard/sees/bounds.hpp"
#include "avoipguard/sees/control.hpp"
#include "avoipguard/sees/process.hpp"
#include "avoipguard/sees/shared_segment.hpp"
#include "avoipguard/sees/sockets.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/occupant.hpp"
#include "bed/segment.hpp"
#include "bed/wait.hpp"

namespace avoip::guard {
namespace {

constexpr std::size_t kFull = (std::size_t{4} << 20U) + 6;

bool rings(const Descriptor& bell) {
    const bool isRung = bed::awaitReadable(bell.get());
    ControlBell_silence(bell);
    return isRung;
}

TEST(GuardControl, shows_what_of_the_interface_is_there_and_the_bell_rings_at_each_change) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    const Descriptor bell = ControlBell_open();
    ASSERT_TRUE(bell.isOpen());
    ControlSeen seen = Control_look();
    EXPECT_FALSE(seen.exists || seen.isUp || seen.hasAddress || seen.hasRoute);
    EXPECT_EQ(seen.mac, "");

    bed::ip("link add eth0.2 address 00:11:22:AA:BB:0C type veth peer name dev0");
    EXPECT_TRUE(rings(bell));
    seen = Control_look();
    EXPECT_TRUE(seen.exists);
    EXPECT_FALSE(seen.isUp);
    EXPECT_EQ(seen.mac, "001122aabb0c");

    bed::ip("link set eth0.2 up");
    EXPECT_TRUE(rings(bell));
    seen = Control_look();
    EXPECT_TRUE(seen.isUp);
    EXPECT_FALSE(seen.hasAddress);

    bed::ip("addr add 10.77.0.1/16 dev eth0.2");
    EXPECT_TRUE(rings(bell));
    seen = Control_look();
    EXPECT_TRUE(seen.hasAddress);
    EXPECT_FALSE(seen.hasRoute);

    bed::ip("route add 224.0.0.0/4 dev eth0.2");
    EXPECT_TRUE(rings(bell));
    seen = Control_look();
    EXPECT_TRUE(seen.hasRoute);
    EXPECT_TRUE(seen.routeFits);

    bed::ip("route del 224.0.0.0/4 dev eth0.2");
    EXPECT_TRUE(rings(bell));
    EXPECT_FALSE(Control_look().hasRoute);
}

TEST(GuardSockets, shows_listeners_with_the_connections_that_wait_there) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    EXPECT_EQ(Sockets_listeners(kConsolePort)->size(), 0U);
    const bed::Occupant occupant(SOCK_STREAM, kConsolePort);
    const auto idle = Sockets_listeners(kConsolePort);
    ASSERT_EQ(idle->size(), 1U);
    EXPECT_EQ(idle->front().unread, 0U);
    EXPECT_NE(idle->front().inode, 0U);
    EXPECT_EQ(Sockets_listeners(kConsolePort + 1)->size(), 0U);

    const bed::Console waits;
    EXPECT_EQ(Sockets_listeners(kConsolePort)->front().unread, 1U);
    const auto connections = Sockets_connections(kConsolePort, 0);
    ASSERT_EQ(connections->size(), 1U);
    EXPECT_EQ(connections->front().inode, 0U);
    // The other end, by the port of its other end.
    EXPECT_EQ(Sockets_connections(0, kConsolePort)->size(), 1U);
    EXPECT_EQ(Sockets_connections(kConsolePort, kConsolePort)->size(), 0U);
}

TEST(GuardSockets, shows_how_many_bytes_the_other_end_of_a_connection_has_not_read) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    const Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kConsolePort);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(::bind(listener.get(), generic, sizeof address), 0);
    ASSERT_EQ(::listen(listener.get(), 1), 0);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Descriptor own(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::connect(own.get(), generic, sizeof address), 0);
    socklen_t size = sizeof address;
    ASSERT_EQ(::getsockname(own.get(), generic, &size), 0);
    const std::uint16_t port = ntohs(address.sin_port);

    ASSERT_EQ(::send(own.get(), "  ", 2, 0), 2);
    EXPECT_EQ(Sockets_peer(port, kConsolePort)->unread, 2U);
    EXPECT_EQ(Sockets_peer(port, kConsolePort)->inode, 0U);
    Descriptor peer(::accept(listener.get(), nullptr, nullptr));
    char byte = 0;
    ASSERT_EQ(::recv(peer.get(), &byte, 1, 0), 1);
    EXPECT_EQ(Sockets_peer(port, kConsolePort)->unread, 1U);
    EXPECT_NE(Sockets_peer(port, kConsolePort)->inode, 0U);

    ASSERT_EQ(::recv(peer.get(), &byte, 1, 0), 1);
    peer.reset();
    EXPECT_FALSE(Sockets_peer(port, kConsolePort).has_value());
    EXPECT_FALSE(Sockets_peer(port, kConsolePort + 1).has_value());
}

TEST(GuardSockets, shows_who_is_bound_to_a_udp_port_and_whether_it_can_be_had) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    EXPECT_TRUE(Sockets_canBind(SOCK_DGRAM, kReplyPort));
    {
        const bed::Occupant shares(SOCK_DGRAM, kReplyPort, true);
        const auto bound = Sockets_bound(kReplyPort);
        ASSERT_EQ(bound->size(), 1U);
        EXPECT_EQ(bound->front().user, ::geteuid());
        EXPECT_TRUE(Sockets_canBind(SOCK_DGRAM, kReplyPort));
        SocketOwner owner;
        EXPECT_EQ(SocketOwner_find(owner, bound->front().inode, 0), Process_title(::getpid()));
    }
    const bed::Occupant holds(SOCK_DGRAM, kReplyPort);
    EXPECT_FALSE(Sockets_canBind(SOCK_DGRAM, kReplyPort));
    EXPECT_TRUE(Sockets_canBind(SOCK_STREAM, kReplyPort));
}

TEST(GuardProcessSeen, shows_threads_in_the_order_of_their_beginning) {
    const std::size_t before = Process_threads(::getpid()).size();
    pid_t first = 0;
    pid_t second = 0;
    std::jthread one([&](const std::stop_token& stop) {
        first = ::gettid();
        bed::awaitCondition("the end", [&] { return stop.stop_requested(); });
    });
    bed::awaitCondition("a thread", [&] { return Process_threads(::getpid()).size() > before; });
    std::jthread two([&](const std::stop_token& stop) {
        second = ::gettid();
        bed::awaitCondition("the end", [&] { return stop.stop_requested(); });
    });
    bed::awaitCondition("a thread",
                        [&] { return Process_threads(::getpid()).size() > before + 1; });
    const std::vector<pid_t> threads = Process_threads(::getpid());
    two.request_stop();
    two.join();
    one.request_stop();
    one.join();
    EXPECT_EQ(threads.front(), ::getpid());
    EXPECT_EQ(threads[threads.size() - 2], first);
    EXPECT_EQ(threads.back(), second);
    EXPECT_TRUE(Process_hasThread(::getpid(), ::getpid()));
    bed::awaitCondition("the thread's end", [&] { return !Process_hasThread(::getpid(), second); });
}

TEST(GuardProcessSeen, shows_descriptors_memory_and_mappings) {
    const auto before = Process_descriptors(::getpid());
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto after = Process_descriptors(::getpid());
    ASSERT_EQ(after.size(), before.size() + 1);
    const auto found = std::ranges::find(after, socket.get(), &OpenDescriptor::number);
    ASSERT_NE(found, after.end());
    EXPECT_NE(found->socket, 0U);

    constexpr std::size_t kSize = std::size_t{64} << 20U;
    const MemorySeen small = Process_memory(::getpid());
    const std::size_t mappings = Process_mappings(::getpid()).count;
    // Not to be merged with what stands beside it.
    void* const memory = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE | PROT_EXEC,
                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    const MemorySeen large = Process_memory(::getpid());
    // Sanitizers take some for themselves now and then.
    constexpr std::size_t kSome = kSize / 8;
    EXPECT_GE(large.size_bytes, small.size_bytes + kSize);
    EXPECT_LT(large.size_bytes, small.size_bytes + kSize + kSome);
    EXPECT_GE(large.private_bytes, small.private_bytes + kSize);
    EXPECT_LT(large.private_bytes, small.private_bytes + kSize + kSome);
    EXPECT_LT(large.resident_bytes, small.resident_bytes + kSize / 2);
    EXPECT_GT(Process_mappings(::getpid()).count, mappings);
    ::munmap(memory, kSize);
}

TEST(GuardProcessSeen, shows_whether_a_process_is_stopped_and_nothing_of_one_that_is_gone) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::pause();
        ::_exit(0);
    }
    EXPECT_FALSE(Process_isStopped(child));
    ::kill(child, SIGSTOP);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, WUNTRACED), child);
    EXPECT_TRUE(Process_isStopped(child));
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_FALSE(Process_isStopped(child));
    EXPECT_EQ(Process_threads(child).size(), 0U);
    EXPECT_EQ(Process_descriptors(child).size(), 0U);
    EXPECT_EQ(Process_memory(child).size_bytes, 0U);
    EXPECT_EQ(Process_mappings(child).count, 0U);
    EXPECT_FALSE(Process_hasThread(child, child));
}

TEST(GuardSegment, shows_whose_it_is_and_whether_it_is_as_the_daemon_makes_it) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    EXPECT_FALSE(SharedSegment_look().has_value());
    bed::Segment::create(kFull);
    auto seen = SharedSegment_look();
    ASSERT_TRUE(seen.has_value());
    EXPECT_TRUE(seen->isOwn && seen->isFull && seen->isRemovable);
    EXPECT_EQ(seen->owner, "user " + std::to_string(::geteuid()));
    {
        const bed::Segment attached;
        EXPECT_EQ(Process_mappings(::getpid()).segments, std::vector<int>{seen->identifier});
    }
    EXPECT_EQ(Process_mappings(::getpid()).segments, std::vector<int>{});

    shmid_ds changed = bed::Segment().status();
    changed.shm_perm.mode = 0600;
    ASSERT_EQ(::shmctl(seen->identifier, IPC_SET, &changed), 0);
    EXPECT_FALSE(SharedSegment_look()->isOwn);
    changed.shm_perm.mode = 0664;
    changed.shm_perm.gid = 4711;
    ASSERT_EQ(::shmctl(seen->identifier, IPC_SET, &changed), 0);
    EXPECT_FALSE(SharedSegment_look()->isOwn);

    EXPECT_TRUE(SharedSegment_remove(*seen));
    EXPECT_FALSE(SharedSegment_look().has_value());
    bed::Segment::create(32);
    seen = SharedSegment_look();
    EXPECT_TRUE(seen->isOwn);
    EXPECT_FALSE(seen->isFull);
}

TEST(GuardBounds, are_the_limits_of_the_process_and_of_the_system) {
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    const rlimit few{77, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const Bounds bounds = Bounds_look(::getpid());
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &old), 0);
    EXPECT_EQ(bounds.descriptors, 77U);
    EXPECT_GE(bounds.mappings, 1000U);
    EXPECT_EQ(bounds.size_bytes, kBoundless);
    // The address space ends behind everything, at a whole gibibyte, and not far behind.
    EXPECT_GT(bounds.private_bytes, reinterpret_cast<std::uintptr_t>(&old));
    EXPECT_EQ(bounds.private_bytes % (std::size_t{1} << 30U), 0U);
    EXPECT_GT(bounds.free_bytes, 0U);
    EXPECT_LT(bounds.free_bytes, kBoundless);
}

}  // namespace
}  // namespace avoip::guard
