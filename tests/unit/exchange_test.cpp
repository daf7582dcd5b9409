// The exchanges: what a request does with what comes back.
#include "protocol/exchange.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client_bed.hpp"
#include "lib/base/descriptor.hpp"

namespace {

using namespace std::chrono_literals;

// Upper bounds are far above what is expected: the machine may be loaded.
constexpr auto kSoon = 15s;

std::string reply(const std::string& cmd = "matrix get", const std::string& status = "success",
                  const std::string& hostid = kHostIdentity, const std::string& data = "") {
    return bed::replyText(cmd, status, hostid, "rx01", data);
}

class Exchange : public testing::Test {
  protected:
    /// Sends and awaits one reply; what the reader got is kept.
    std::int32_t ask(int timeout_s = 1) {
        SingleReply reply = reply_;
        reply.timeout_s = timeout_s;
        return Protocol_client_singleReply(bed_.client, request_, reply);
    }

    /// Asks while the device answers with `replies`, one after the other.
    Outcome askAndAnswer(const std::vector<std::string>& replies, int timeout_s = 10) {
        return runRequest([&] { return ask(timeout_s); },
                          [&] {
                              bed_.device.receive();
                              for (const std::string& each : replies) {
                                  bed_.device.reply(each);
                              }
                          });
    }

    void expectAnswered(const Outcome& outcome, const std::string& output) const {
        EXPECT_EQ(outcome.result, readResult_);
        EXPECT_EQ(outcome.output, output);
        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(read_.size(), 1U);
    }

    ClientBed bed_;
    const std::array<DeviceId, 1> devices_{deviceId("rx01")};
    const Request request_{.cmd = "matrix get", .devices = devices_};
    std::vector<std::string> read_;
    std::int32_t readResult_ = 0;
    SingleReply reply_{.timeout_s = 1, .read = [this](const JsonTree& reply) {
                           read_.emplace_back(Json_print(reply.get()).get());
                           return readResult_;
                       }};
};

using OneWay = Exchange;
using SingleReplyExchange = Exchange;

TEST_F(OneWay, success_means_that_the_datagram_has_left) {
    const Outcome outcome =
        runRequest([&] { return Protocol_client_oneWay(bed_.client, request_); });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(
        bed_.device.receive().text,
        R"({"request":{"cmd":"matrix get","hostid":"001122aabbcc","device":[{"id":"rx01"}]}})");
}

TEST_F(SingleReplyExchange, a_matching_reply_is_handed_to_the_reader) {
    const std::string text = reply("matrix get", "success", kHostIdentity, R"("rxsource":{})");
    expectAnswered(askAndAnswer({text}), "");
    EXPECT_EQ(read_, std::vector{text});
}

TEST_F(SingleReplyExchange, the_readers_result_is_the_result) {
    for (const std::int32_t result : {0, -1, -5, 3}) {
        read_.clear();
        readResult_ = result;
        expectAnswered(askAndAnswer({reply()}), "");
    }
}

TEST_F(SingleReplyExchange, the_senders_port_and_identity_do_not_matter) {
    const Outcome outcome =
        runRequest([&] { return ask(10); },
                   [&] {
                       bed_.device.receive();
                       bed_.device.replyFrom(
                           0, bed::replyText("matrix get", "success", kHostIdentity, "another"));
                   });
    expectAnswered(outcome, "");
}

TEST_F(SingleReplyExchange, without_a_reply_it_fails_after_its_time_out) {
    const Outcome outcome = runRequest([&] { return ask(1); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_GE(outcome.took, 1s);
    EXPECT_LT(outcome.took, kSoon);
}

TEST_F(SingleReplyExchange, a_foreign_or_failed_ack_ends_it_though_a_match_follows) {
    for (const std::string& foreign :
         {reply("matrix set"), reply("Matrix get"), reply("matrix get "), reply(""),
          reply("matrix get", "failure"), reply("matrix get", "Success"), reply("matrix get", ""),
          reply("matrix get", "successful"), reply("matrix get", "succes"),
          reply("matrix get", "success", "001122aabbcd"),
          reply("matrix get", "success", "001122aabbccd"),
          reply("matrix get", "success", "001122aabbc"),
          reply("matrix get", "success", "001122AABBCC"), reply("matrix get", "success", "")}) {
        const Outcome outcome = askAndAnswer({foreign, reply()}, 10);
        EXPECT_EQ(outcome.result, -1) << foreign;
        EXPECT_EQ(outcome.output + outcome.errors, "") << foreign;
        EXPECT_LT(outcome.took, 10s) << "it does not wait for more";
        EXPECT_TRUE(read_.empty()) << foreign;
        // The reply that was not looked at is still there, for the next request.
        EXPECT_EQ(runRequest([&] { return ask(10); }).result, 0);
        bed_.device.receive();
        read_.clear();
    }
}

TEST_F(SingleReplyExchange, what_has_no_readable_ack_is_skipped) {
    const Outcome outcome =
        askAndAnswer({"hello", "{}",
                      R"({"ack":{"cmd":"matrix get","status":"success","hostid":"x"}})", reply()});
    expectAnswered(outcome, "cJSON_Parse err!\nget ack err!\nget deviceid err!\n");
}

TEST_F(SingleReplyExchange, where_unreadable_datagrams_end_it_the_first_one_decides) {
    reply_.unreadable = Unreadable::kEndsRequest;
    for (const std::string& unreadable :
         {std::string("hello"), std::string(R"({"ack":{"cmd":"matrix get"}})"), std::string()}) {
        const Outcome outcome = askAndAnswer({unreadable, reply()}, 10);
        EXPECT_EQ(outcome.result, -1) << unreadable;
        EXPECT_LT(outcome.took, 10s);
        EXPECT_TRUE(read_.empty());
        EXPECT_EQ(runRequest([&] { return ask(10); }).result, 0) << "the next one gets the match";
        bed_.device.receive();
        read_.clear();
    }
}

TEST_F(SingleReplyExchange, a_traced_one_prints_every_datagram) {
    reply_.traced = true;
    expectAnswered(askAndAnswer({"hello", reply()}),
                   "recv buf: hello\ncJSON_Parse err!\nrecv buf: " + reply() + "\n");
}

TEST_F(SingleReplyExchange, a_short_datagram_keeps_the_tail_of_a_longer_one) {
    reply_.traced = true;
    const std::string tail(20, 'x');
    const std::string longer = std::string(reply().size(), 'x') + tail;
    expectAnswered(
        askAndAnswer({longer, reply()}),
        "recv buf: " + longer + "\ncJSON_Parse err!\nrecv buf: " + reply() + tail + "\n");
}

TEST_F(SingleReplyExchange, an_empty_datagram_reads_as_the_one_before) {
    reply_.traced = true;
    expectAnswered(askAndAnswer({"", "hello", "", reply()}),
                   "recv buf: \ncJSON_Parse err!\n"
                   "recv buf: hello\ncJSON_Parse err!\n"
                   "recv buf: hello\ncJSON_Parse err!\n"
                   "recv buf: " +
                       reply() + "\n");
}

TEST_F(SingleReplyExchange, each_request_begins_with_a_zeroed_buffer) {
    askAndAnswer({std::string(1000, 'x'), reply()});
    read_.clear();
    reply_.traced = true;
    expectAnswered(askAndAnswer({reply()}), "recv buf: " + reply() + "\n");
}

TEST_F(SingleReplyExchange, a_datagram_is_read_up_to_its_first_zero_byte) {
    reply_.traced = true;
    expectAnswered(askAndAnswer({reply() + std::string("\0junk", 5)}),
                   "recv buf: " + reply() + "\n");
}

TEST_F(SingleReplyExchange, a_datagram_of_1500_bytes_is_read_whole) {
    const std::string ends = reply("matrix get", "success", kHostIdentity, R"("fill":"")");
    const std::string fill(1500 - ends.size(), 'f');
    const std::string text =
        reply("matrix get", "success", kHostIdentity, R"("fill":")" + fill + '"');
    ASSERT_EQ(text.size(), 1500U);
    expectAnswered(askAndAnswer({text}), "");
    EXPECT_EQ(read_.front(), text);
}

TEST_F(SingleReplyExchange, a_longer_datagram_is_cut_to_1500_bytes) {
    const std::string fill(1500, 'f');
    const std::string cut =
        reply("matrix get", "success", kHostIdentity, R"("fill":")" + fill + '"');
    reply_.traced = true;
    expectAnswered(askAndAnswer({cut, reply() + fill}),
                   "recv buf: " + cut.substr(0, 1500) +
                       "\ncJSON_Parse err!\nrecv buf: " + (reply() + fill).substr(0, 1500) + "\n");
}

TEST_F(SingleReplyExchange, a_reply_that_came_before_the_request_is_taken_too) {
    bed_.device.reply(reply());
    const Outcome outcome = runRequest([&] { return ask(10); });
    expectAnswered(outcome, "");
}

TEST_F(SingleReplyExchange, a_failed_receive_is_reported_and_ends_it) {
    const avoip::Descriptor file(::open("/proc/self/exe", O_RDONLY));
    // Where the socket was, something that can be read from but not received from.
    const Outcome outcome = runRequest([&] { return ask(10); },
                                       [&] {
                                           bed_.device.receive();
                                           ::dup2(file.get(), bed_.client->socket.peek());
                                           bed_.device.reply("wakes a wait that has begun");
                                       });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
              "devsearch_client_discover recvfrom(): Socket operation on non-socket\n");
    EXPECT_LT(outcome.took, 10s);
}

TEST_F(SingleReplyExchange, a_socket_closed_meanwhile_ends_it) {
    const Outcome outcome = runRequest([&] { return ask(1); },
                                       [&] {
                                           bed_.device.receive();
                                           Protocol_client_closeSocket(bed_.client);
                                       });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_LT(outcome.took, kSoon);
}

TEST_F(SingleReplyExchange, two_that_wait_for_one_datagram_do_not_hang) {
    const auto sum = [&] {
        std::int32_t other = 0;
        std::int32_t own = 0;
        {
            const std::jthread second([&] { other = ask(1); });
            own = ask(1);
        }
        return own + other;
    };
    const Outcome outcome = runRequest(sum, [&] {
        bed_.device.receive();
        bed_.device.receive();
        bed_.device.reply(reply());
    });
    EXPECT_EQ(outcome.result, -1) << "one got the reply, the other its time-out";
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_GE(outcome.took, 1s);
    EXPECT_LT(outcome.took, kSoon);
    EXPECT_EQ(read_.size(), 1U);
}

class CollectingExchange : public Exchange {
  protected:
    /// Collects what `take_` takes while the device answers with `replies`.
    Outcome collect(const std::vector<std::string>& replies, std::int32_t idleTimeout_ms) {
        const Collection collection{.idleTimeout_ms = idleTimeout_ms, .take = take_};
        return runRequest(
            [&] { return Protocol_client_collect(bed_.client, request_, collection, &count_); },
            [&] {
                bed_.device.receive();
                bed_.device.replyAll(replies);
            });
    }

    std::function<bool(JsonTree, std::uint32_t)> take_;
    std::uint32_t count_ = 77;
};

TEST_F(CollectingExchange, what_is_not_taken_does_not_count) {
    std::vector<std::string> offered;
    take_ = [&](const JsonTree& reply, std::uint32_t index) {
        offered.push_back(std::to_string(index) + Json_print(reply.get()).get());
        return offered.size() != 2;
    };
    const std::string one = reply();
    EXPECT_EQ(collect({one, one, reply("matrix set"), one}, 1000).result, 0);
    EXPECT_EQ(offered, (std::vector{"0" + one, "1" + one, "1" + one}));
    EXPECT_EQ(count_, 2U);
}

TEST_F(CollectingExchange, a_failed_receive_ends_it_with_what_was_taken) {
    const avoip::Descriptor file(::open("/proc/self/exe", O_RDONLY));
    take_ = [&](const JsonTree& /*reply*/, std::uint32_t index) {
        if (index == 1) {
            ::dup2(file.get(), bed_.client->socket.peek());
        }
        return true;
    };
    const Outcome outcome = collect({reply(), reply(), reply()}, 10'000);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(count_, 2U);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
              "devsearch_client_discover recvfrom(): Socket operation on non-socket\n");
    EXPECT_LT(outcome.took, 10s);
}

TEST_F(CollectingExchange, two_that_share_the_replies_do_not_hang) {
    std::array<std::uint32_t, 2> counts{};
    const Collection all{.idleTimeout_ms = 1000, .take = [](auto...) { return true; }};
    const auto both = [&] {
        const std::jthread second(
            [&] { Protocol_client_collect(bed_.client, request_, all, &counts[1]); });
        return Protocol_client_collect(bed_.client, request_, all, counts.data());
    };
    const Outcome outcome = runRequest(both, [&] {
        bed_.device.receive();
        bed_.device.receive();
        bed_.device.replyAll(std::vector{reply(), reply(), reply(), reply(), reply()});
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(counts[0] + counts[1], 5U) << "each reply goes to one of them";
    EXPECT_LT(outcome.took, kSoon);
}

TEST_F(CollectingExchange, those_that_wake_for_one_datagram_do_not_block) {
    // In each round all wait and one datagram comes; now and then several are told of it.
    constexpr int kRounds = 60;
    constexpr int kThreads = 4;
    bool blocked = false;
    for (int round = 0; round < kRounds && !blocked; ++round) {
        std::array<std::future<std::uint32_t>, kThreads> counts;
        for (auto& each : counts) {
            each = std::async(std::launch::async, [&] {
                const Collection all{.idleTimeout_ms = 20, .take = [](auto...) { return true; }};
                std::uint32_t count = 0;
                Protocol_client_collect(bed_.client, request_, all, &count);
                return count;
            });
        }
        for (int i = 0; i < kThreads; ++i) {
            bed_.device.receive();
        }
        bed_.device.reply(reply());
        for (const auto& each : counts) {
            while (each.wait_for(kSoon) != std::future_status::ready) {
                blocked = true;
                bed_.device.reply(reply());
            }
        }
    }
    EXPECT_FALSE(blocked) << "in a receive that found nothing";
}

// What holds for every kind of exchange.
class EveryExchange : public testing::TestWithParam<int> {
  protected:
    Outcome run() {
        return runRequest([&] {
            if (GetParam() == 0) {
                return Protocol_client_oneWay(bed_.client, request_);
            }
            if (GetParam() == 1) {
                const SingleReply reply{.timeout_s = 1, .read = [&](const JsonTree&) {
                                            ++taken_;
                                            return -7;
                                        }};
                return Protocol_client_singleReply(bed_.client, request_, reply);
            }
            const Collection all{.idleTimeout_ms = 100, .take = [&](auto...) {
                                     ++taken_;
                                     return true;
                                 }};
            return Protocol_client_collect(bed_.client, request_, all, &count_);
        });
    }

    ClientBed bed_;
    const std::array<DeviceId, 1> devices_{deviceId("rx01")};
    const Request request_{.cmd = "matrix get", .devices = devices_};
    std::uint32_t count_ = 77;
    int taken_ = 0;
};

std::string kindName(const testing::TestParamInfo<int>& info) {
    const std::array names{"OneWay", "SingleReply", "Collecting"};
    return names.at(static_cast<std::size_t>(info.param));
}

INSTANTIATE_TEST_SUITE_P(Kind, EveryExchange, testing::Values(0, 1, 2), kindName);

TEST_P(EveryExchange, in_state_3_succeeds_at_once_and_does_nothing) {
    bed_.client->state = 3;
    bed_.device.reply(reply());
    const Outcome outcome = run();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(count_, 77U);
    EXPECT_EQ(taken_, 0);
    bed_.client->state = 2;
    run();
    bed_.device.receive();
    EXPECT_TRUE(bed_.device.hasHeardNothing()) << "only the second run sent";
}

TEST_P(EveryExchange, in_state_5_fails_with_its_line) {
    bed_.client->state = 5;
    const Outcome outcome = run();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "client state(5) err!\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(count_, 77U);
}

TEST_P(EveryExchange, in_state_4_is_carried_out_as_in_state_2) {
    for (const std::int32_t state : {2, 4}) {
        bed_.client->state = state;
        taken_ = 0;
        bed_.device.reply(reply());
        const Outcome outcome = run();
        EXPECT_EQ(outcome.result, GetParam() == 1 ? -7 : 0);
        EXPECT_EQ(taken_, GetParam() == 0 ? 0 : 1);
        bed_.device.receive();
        if (GetParam() == 0) {
            return;  // the reply is still unread
        }
    }
}

TEST_P(EveryExchange, without_a_client_fails_silently) {
    ProtocolClient* const client = std::exchange(bed_.client, nullptr);
    const Outcome outcome = run();
    bed_.client = client;
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(count_, 77U);
}

TEST_P(EveryExchange, without_an_address_fails_before_anything_is_sent) {
    bed_.namespaces.removeAddress();
    const Outcome outcome = run();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.output, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
    EXPECT_EQ(count_, 77U);
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

}  // namespace
