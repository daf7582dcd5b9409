// An update beside others: when it lets them have their turns, and how it learns of its end.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include "bed/stand_in.hpp"
#include "bed/upload_port.hpp"
#include "bed/wait.hpp"
#include "frontend_bed.hpp"
#include "gtest/gtest.h"
#include "lib/base/descriptor.hpp"
#include "lib/client/client.hpp"
#include "lib/frontend/notes.hpp"
#include "lib/frontend/sockets.hpp"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using avoip::End;
using avoip::Reply;

constexpr const char* kUpdate = "update device encoder";

std::string answer(const std::string& name, const std::string& status = "success") {
    return R"({"ack":{"cmd":")" + name + R"(","status":")" + status + R"("}})";
}

bool isUpdate(const std::string& line) {
    return line.starts_with("update");
}

/// A connection to a device's port for firmware, as the daemon makes it.
avoip::Descriptor upload(const char* address) {
    avoip::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(5888);
    ::inet_pton(AF_INET, address, &to.sin_addr);
    EXPECT_EQ(::connect(socket.get(), reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    return socket;
}

class ClientUpdate : public FrontEnd {
  protected:
    Reply update(const std::string& device = "TX-1", int timeout_ms = 0) const {
        avoip::Client client({});
        client.options.timeout_ms = timeout_ms;
        const std::string addresses[] = {"127.0.0.2"};
        return avoip::Client_update(
            client, {avoip::Catalogue_findText(kUpdate), {device, "/image.bin"}}, addresses);
    }

    [[nodiscard]] avoip::Notes notes() const {
        std::ifstream file(lockFile);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        return avoip::Notes_parse(text);
    }

    /// Gets an answer beside the update.
    static void askBeside(const std::string& line, const char* name) {
        Asker asker;
        EXPECT_EQ(asker.askNamed(line, name), AVOIP_OK) << asker.error();
    }

    std::atomic<bool> done = false;
};

/// The daemon during an update: it answers others, and has not answered the update until `done`.
class Busy {
  public:
    Busy(std::atomic<bool>& done, std::function<void()> whenAsked)
        : done_(done), whenAsked_(std::move(whenAsked)) {}

    std::optional<std::string> operator()(const std::string& line) const {
        if (!isUpdate(line)) {
            return answer(line);
        }
        whenAsked_();
        while (!done_) {
            std::this_thread::sleep_for(1ms);
        }
        return answer(kUpdate);
    }

  private:
    std::atomic<bool>& done_;
    std::function<void()> whenAsked_;
};

}  // namespace

TEST_F(ClientUpdate, gives_the_answer_that_comes_at_once) {
    bed::StandIn daemon(always(answer(kUpdate, "failure")));
    const Reply reply = update();
    EXPECT_EQ(reply.end, End::kFailure);
    EXPECT_EQ(reply.json, answer(kUpdate, "failure"));
    EXPECT_EQ(notes().owedCount, 0U);
}

TEST_F(ClientUpdate, lets_others_have_their_turn_when_its_upload_has_begun) {
    const bed::UploadPort port("127.0.0.2");
    avoip::Descriptor connection;
    std::atomic<bool> begun = false;
    bed::StandIn daemon(Busy(done, [&] {
        connection = upload("127.0.0.2");
        begun = true;
    }));
    // The shortest of a few: a busy machine may hold one up.
    auto shortest = Clock::duration::max();
    for (int i = 0; i < 5 && shortest > 1s; ++i) {
        done = false;
        begun = false;
        std::optional<Reply> reply;
        std::jthread updating([&] { reply = update(); });
        bed::awaitCondition("the upload to begin", [&] { return begun.load(); });
        const auto begin = Clock::now();
        askBeside("matrix get RX-1!", "matrix get RX-1!");
        shortest = std::min(shortest, Clock::now() - begin);
        ASSERT_EQ(notes().owedCount, 1U);
        EXPECT_STREQ(notes().owed[0].names[0].data(), kUpdate);
        EXPECT_EQ(notes().owed[0].sharedUntil_ms, 0);
        done = true;
        updating.join();
        EXPECT_EQ(reply->end, End::kSuccess) << reply->reason;
        EXPECT_EQ(reply->json, answer(kUpdate));
        EXPECT_EQ(notes().owedCount, 0U);
    }
    // Without the connection it would be three seconds.
    EXPECT_LT(shortest, 1s);
}

TEST_F(ClientUpdate, keeps_its_turn_beside_uploads_that_are_not_its_own) {
    const bed::UploadPort port("127.0.0.2");
    const bed::UploadPort otherPort("127.0.0.3");
    // One to the same device stood before, and one to another device comes now.
    const avoip::Descriptor before = upload("127.0.0.2");
    avoip::Descriptor other;
    std::atomic<bool> begun = false;
    bed::StandIn daemon(Busy(done, [&] {
        other = upload("127.0.0.3");
        begun = true;
    }));
    const auto begin = Clock::now();
    std::jthread updating([&] { update(); });
    bed::awaitCondition("the upload to begin", [&] { return begun.load(); });
    askBeside("x!", "x!");
    EXPECT_GE(Clock::now() - begin, 3s);
    done = true;
}

TEST_F(ClientUpdate, keeps_its_turn_for_three_seconds_at_most) {
    std::atomic<bool> asked = false;
    bed::StandIn daemon(Busy(done, [&] { asked = true; }));
    const auto begin = Clock::now();
    std::jthread updating([&] { update(); });
    bed::awaitCondition("the update to be sent", [&] { return asked.load(); });
    askBeside("matrix get RX-1!", "matrix get RX-1!");
    EXPECT_GE(Clock::now() - begin, 3s);
    // The update goes on.
    EXPECT_EQ(notes().owedCount, 1U);
    done = true;
}

TEST_F(ClientUpdate, knows_by_a_marker_that_it_is_over_when_its_answer_was_overwritten) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string& line) {
        if (!isUpdate(line)) {
            return answer(line, "failure");
        }
        std::this_thread::sleep_for(3500ms);
        standIn->post(answer(kUpdate));
        return answer("something else");
    });
    standIn = &daemon;
    const Reply reply = update();
    EXPECT_EQ(reply.end, End::kOverwritten) << reply.reason;
    EXPECT_EQ(daemon.lines().size(), 2U);
    EXPECT_TRUE(daemon.lines()[1].starts_with("avoip marker ")) << daemon.lines()[1];
    EXPECT_EQ(notes().owedCount, 0U);
}

TEST_F(ClientUpdate, takes_no_answer_for_its_own_while_another_with_its_name_is_owed) {
    const std::int64_t later = avoip::BootClock_ms() + 600'000;
    bed::StandIn daemon([&](const std::string& line) {
        if (isUpdate(line)) {
            std::this_thread::sleep_for(3500ms);
            return answer(kUpdate);
        }
        return answer(line, "failure");
    });
    std::ofstream(lockFile) << "avoip 1\ndaemon " << avoip::Sockets_listener(AVOIP_CONSOLE_PORT)
                            << "\nowed " << later << " 0 1 1 " << kUpdate << "\nend\n";
    EXPECT_EQ(update().end, End::kOverwritten);
    // The other one's note stands as it stood.
    ASSERT_EQ(notes().owedCount, 1U);
    EXPECT_EQ(notes().owed[0].until_ms, later);
}

TEST_F(ClientUpdate, waits_on_when_an_answer_of_its_name_is_not_its_own) {
    bed::StandIn* standIn = nullptr;
    std::atomic<int> updates = 0;
    bed::StandIn daemon([&](const std::string& line) {
        if (isUpdate(line)) {
            std::this_thread::sleep_for(3200ms);
            standIn->post(answer(kUpdate, "failure"));
            std::this_thread::sleep_for(2s);
        }
        return isUpdate(line) ? answer(kUpdate) : answer(line, "failure");
    });
    standIn = &daemon;
    // Somebody's answer came while this one was at work: whose the next one is cannot be told.
    EXPECT_EQ(update().end, End::kOverwritten);
}

TEST_F(ClientUpdate, ends_with_the_daemon) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string&) {
        std::this_thread::sleep_for(3500ms);
        standIn->endConnections();
        return std::nullopt;
    });
    standIn = &daemon;
    const Reply reply = update();
    EXPECT_EQ(reply.end, End::kNoDaemon);
    EXPECT_EQ(reply.reason,
              "The daemon has ended the connection during the update. Look at its output, and at "
              "the versions of the devices.");
}

TEST_F(ClientUpdate, ends_with_its_time_out) {
    bed::StandIn daemon(Busy(done, [] {}));
    const auto begin = Clock::now();
    const Reply reply = update("TX-1", 3500);
    EXPECT_EQ(reply.end, End::kNoAnswer);
    EXPECT_GE(Clock::now() - begin, 3500ms);
    EXPECT_EQ(
        reply.reason,
        "No answer within 3500 ms. The daemon may still be at work on the update; look at the "
        "versions of the devices.");
    ASSERT_EQ(notes().owedCount, 1U);
    done = true;
}
