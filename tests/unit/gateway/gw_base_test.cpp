// Texts, secrets, addresses and the bodies of calls.
#include <gtest/gtest.h>

#include "gateway/api/json_body.hpp"
#include "gateway/api/sessions.hpp"
#include "gateway/base/secret.hpp"
#include "gateway/base/text.hpp"
#include "gateway/config/config.hpp"
#include "gateway/operations/outcome.hpp"
#include "gateway/store/password.hpp"

namespace {

using namespace avoip;
using namespace avoip::gw;
using namespace std::chrono_literals;

TEST(Text, what_is_no_utf8_becomes_one_character_for_each_byte) {
    EXPECT_EQ(Text_repaired("a\xff\xc3(b"), "a\xEF\xBF\xBD\xEF\xBF\xBD(b");
    EXPECT_EQ(Text_repaired("\xed\xa0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Text_repaired("\xf0\x9f\x93\xba"), "\xf0\x9f\x93\xba");
    for (const char* const wrong :
         {"\xc0\x80", "\xe0\x80\x80", "\xf4\x90\x80\x80", "\xc3", "\x80"}) {
        EXPECT_FALSE(Text_isUtf8(wrong)) << wrong;
    }
}

TEST(Text, names_are_1_to_64_characters_without_controls_and_slashes) {
    std::string umlauts;
    for (int count = 0; count < 64; ++count) {
        umlauts += "\xC3\xBC";
    }
    EXPECT_EQ(Text_nameProblem(umlauts), "");
    EXPECT_EQ(Text_nameProblem("Evening show"), "");
    for (const std::string& wrong :
         {std::string(), umlauts + "u", std::string("a/b"), std::string("a\nb"),
          std::string("a\x7f"), std::string("a\xC2\x85"), std::string("a\xff"),
          std::string("a\0b", 3)}) {
        EXPECT_NE(Text_nameProblem(wrong), "") << wrong;
    }
}

TEST(Secret, sha256_is_that_of_the_standard) {
    EXPECT_EQ(Secret_sha256("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Secret_random(8).size(), 16U);
    EXPECT_NE(Secret_random(8), Secret_random(8));
}

TEST(Password, matches_its_own_hash_alone) {
    const std::string hash = Password_hash("open sesame");
    EXPECT_TRUE(hash.starts_with("$y$")) << hash;
    EXPECT_TRUE(Password_matches("open sesame", hash));
    EXPECT_FALSE(Password_matches("open sesam", hash));
    EXPECT_FALSE(Password_matches("open sesame", ""));
}

TEST(Listen, has_three_forms) {
    EXPECT_EQ(Listen_parse("127.0.0.1:80"), (Listen{Family::kIpv4, "127.0.0.1", 80}));
    EXPECT_EQ(Listen_parse("[::1]:80"), (Listen{Family::kIpv6, "::1", 80}));
    EXPECT_EQ(Listen_parse("unix:/a"), (Listen{Family::kUnix, "/a", 0}));
    for (const char* const wrong : {"", "80", ":80", "localhost:80", "127.0.0.1", "127.0.0.1:0",
                                    "127.0.0.1:65536", "::1:80", "[127.0.0.1]:80", "unix:a"}) {
        EXPECT_EQ(Listen_parse(wrong), std::nullopt) << wrong;
    }
    EXPECT_TRUE(Listen_isLoopback(*Listen_parse("[::1]:80")));
    EXPECT_FALSE(Listen_isLoopback(*Listen_parse("0.0.0.0:80")));
}

TEST(Config, is_printed_so_that_it_reads_as_the_same) {
    Config config;
    config.site = "hall-2";
    config.http.listen = {"[::1]:1", "unix:/a 'b'"};
    config.http.open = true;
    config.poll.routes_s = 77;
    const std::string text = Config_print(config);
    EXPECT_EQ(Config_print(Config_parse(text, "t")), text);
}

int statusOf(std::string_view body, std::string* field = nullptr) {
    try {
        Body_parse(body);
        return 200;
    } catch (const Problem& problem) {
        if (field != nullptr) {
            *field = problem.field;
        }
        return problem.status;
    }
}

TEST(Body, is_one_json_object_and_nothing_else) {
    for (const std::string_view wrong :
         {"", "{", "{}x", "{\"a\":}", "{\"a\":\"\xff\"}", "{\"a\":1,\"a\":2}", "nul",
          "{\"a\":{\"b\":1,\"b\":2}}", "[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]"}) {
        EXPECT_EQ(statusOf(wrong), 400) << wrong;
    }
    for (const std::string_view wrong : {"[]", "1", "\"a\"", "null"}) {
        EXPECT_EQ(statusOf(wrong), 422) << wrong;
    }
    EXPECT_EQ(statusOf("{\"a\":\"[[[[[[[[[[[[[[[[[[[[[\\\"\"}"), 200);
}

TEST(Body, with_a_nul_is_refused_with_the_member) {
    std::string field;
    EXPECT_EQ(statusOf(R"({"b":{"c":["x\u0000y"]}})", &field), 422);
    EXPECT_EQ(field, "c");
    EXPECT_EQ(statusOf(R"({"b":"x\\u0000y"})"), 200);
    EXPECT_EQ(statusOf(R"({"b\u0000c":1})"), 422);
}

TEST(Attempts, are_five_a_minute_for_each_address) {
    Attempts attempts;
    const Time now{1'000'000ms};
    for (int count = 0; count < 5; ++count) {
        EXPECT_EQ(Attempts_begin(attempts, "a", now + count * 1s), 0);
    }
    EXPECT_EQ(Attempts_begin(attempts, "a", now + 10s), 50);
    EXPECT_EQ(Attempts_begin(attempts, "b", now + 10s), 0);
    EXPECT_EQ(Attempts_begin(attempts, "a", now + 60s), 0);
    EXPECT_EQ(Attempts_begin(attempts, "a", now + 60s), 1);
}

TEST(Attempts, that_are_right_do_not_count) {
    Attempts attempts;
    for (int count = 0; count < 20; ++count) {
        EXPECT_EQ(Attempts_begin(attempts, "a", Time{}), 0);
        Attempts_right(attempts, "a");
    }
    EXPECT_TRUE(attempts.wrong.empty());
}

TEST(Sessions, end_with_their_time_with_their_user_and_when_there_are_too_many) {
    Sessions sessions;
    const Time now{1'000ms};
    const std::string first = Sessions_begin(sessions, "anna", now);
    const std::string second = Sessions_begin(sessions, "anna", now + 1ms);
    EXPECT_EQ(Sessions_find(sessions, first, now)->user, "anna");
    EXPECT_EQ(Sessions_find(sessions, first, now + kSessionLife), std::nullopt);
    Sessions_endOf(sessions, "anna", first);
    EXPECT_EQ(Sessions_find(sessions, second, now), std::nullopt);
    for (std::size_t count = 0; count < kSessionsMax; ++count) {
        Sessions_begin(sessions, "otto", now + 2ms);
    }
    EXPECT_EQ(Sessions_find(sessions, first, now), std::nullopt);
    EXPECT_EQ(sessions.open.size(), kSessionsMax);
}

}  // namespace
