#include <sys/resource.h>

#include <csignal>

#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Edid = Conversation;

Exchange setOne(const std::string& arguments, const std::string& device,
                const std::string& base64) {
    return {.line = "config set tx edid" + arguments,
            .heard = {request("edid set", device, R"("txedid":{"edid":")" + base64 + "\"}")},
            .answer = success("config set tx edid")};
}

Exchange setAll(const std::string& arguments, const std::string& base64) {
    return {.line = "config set all edid" + arguments,
            .heard = {request("edid set", "All_TX", R"("txedid":{"edid":")" + base64 + "\"}")},
            .answer = success("config set all edid")};
}

Exchange get(const std::string& base64, const std::string& hex) {
    return {.line = "config get rx edid rx01!",
            .heard = {request("edid get", "rx01")},
            .replies = {reply("edid get", R"("rxedid":{"edid":")" + base64 + "\"}")},
            .answer = answerText("config get rx edid", "success",
                                 R"(,"rxedid":[{"deviceid":"rx01","edid":")" + hex + "\"}]")};
}

TEST_F(Edid, is_answered_in_upper_case_hexadecimal) {
    expect(get("AP8A", "00FF00"));
    expect(get("q83v", "ABCDEF"));
    expect(get("QQ==", "41"));
    expect(get("QUI=", "4142"));
    expect(get("", ""));
}

TEST_F(Edid, is_decoded_as_far_as_its_text_goes) {
    expect(get("!?*\\u0041", "000000"));
    expect(get("QV=/", "413F"));
}

TEST_F(Edid, of_any_length_that_fits_is_answered) {
    expect(get(std::string(342, 'A') + "==", std::string(512, '0')));
    expect(get(std::string(508, '/'), std::string(762, 'F')));
}

TEST_F(Edid, that_does_not_fit_is_not_answered) {
    Exchange exchange = get(std::string(512, 'A'), "");
    exchange.printed =
        "an EDID of 512 characters is too long: at most 511\n"
        "Protocol_client_getDecodeEdid err!\n";
    exchange.answer = failure("config get rx edid");
    expect(exchange);
}

TEST_F(Edid, that_is_no_text_is_empty) {
    Exchange exchange = get("", "");
    exchange.replies = {reply("edid get", R"("rxedid":{"edid":7})")};
    expect(exchange);
}

TEST_F(Edid, is_answered_under_the_identity_as_typed) {
    Exchange exchange = get("AP8A", "00FF00");
    exchange.line = "config get rx edid rx 100%%" + std::string(40, 'x') + "!";
    exchange.heard = {request("edid get", "rx 100%" + std::string(23, 'x'))};
    exchange.answer = answerText(
        "config get rx edid", "success",
        R"(,"rxedid":[{"deviceid":"rx 100%%)" + std::string(23, 'x') + R"(","edid":"00FF00"}])");
    expect(exchange);
}

TEST_F(Edid, is_given_to_one_encoder_or_to_all) {
    expect(setOne(" tx01 00FF00!", "tx01", "AP8A"));
    expect(setAll(" 00FF00!", "AP8A"));
}

TEST_F(Edid, is_given_to_an_identity_that_is_read_as_a_pattern) {
    expect(setOne(" 100%%%dx 00FF00!", "100%x", "AP8A"));
}

TEST_F(Edid, digits_may_be_of_either_case) {
    expect(setOne(" tx01 abCDef!", "tx01", "q83v"));
}

TEST_F(Edid, an_odd_last_digit_is_a_byte_of_its_own) {
    expect(setOne(" tx01 abc!", "tx01", "qww="));
    expect(setAll(" f!", "Dw=="));
}

TEST_F(Edid, two_characters_are_read_as_the_c_library_reads_a_number) {
    // A blank and a sign in front are taken, the rest behind the digits is not.
    expect(setOne(" tx01 41 5!", "tx01", "QQU="));
    expect(setOne(" tx01 41+A-1!", "tx01", "QQr/"));
    expect(setOne(" tx01 zz4gg4!", "tx01", "AAQA"));
    expect(setAll(" 0x41!", "AEE="));
}

TEST_F(Edid, blocks_of_128_and_256_bytes_are_carried) {
    expect(setOne(" tx01 " + std::string(256, '0') + "!", "tx01", std::string(171, 'A') + "="));
    expect(setAll(" " + std::string(512, 'f') + "!", std::string(341, '/') + "w=="));
}

TEST_F(Edid, of_384_bytes_is_carried_and_a_longer_one_refused) {
    expect(setOne(" tx01 " + std::string(768, '0') + "!", "tx01", std::string(512, 'A')));
    expect({.line = "config set tx edid tx01 " + std::string(769, '0') + "!",
            .printed = "an EDID of 385 bytes is too long: at most 384\n"
                       "Protocol_client_setEncodeEdid err!\n",
            .answer = failure("config set tx edid")});
    expect({.line = "config set all edid " + std::string(4000, '0') + "!",
            .printed = "an EDID of 2000 bytes is too long: at most 384\n"
                       "Protocol_client_setEncodeEdid err!\n",
            .answer = failure("config set all edid")});
}

TEST_F(Edid, a_line_without_all_arguments_is_refused_in_silence) {
    expectRefused("config set tx edid!", "config set tx edid");
    expectRefused("config set tx edid tx01!", "config set tx edid");
    expectRefused("config set tx edid tx01 !", "config set tx edid");
    expectRefused("config set all edid!", "config set all edid");
    expectRefused("config set all edid !", "config set all edid");
}

TEST(EdidAssertion, a_text_that_is_no_multiple_of_four_long_ends_the_daemon) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    bed::DaemonOptions options;
    options.limits = {{RLIMIT_CORE, 0}};
    bed::Daemon daemon(options);
    bed::Console console;
    console.send("config get rx edid rx01!");
    EXPECT_EQ(device.receive().text, request("edid get", "rx01"));
    device.reply(reply("edid get", R"("rxedid":{"edid":"AP8A="})"));
    EXPECT_EQ(daemon.awaitExit(), (bed::Exit{true, SIGABRT}));
    daemon.awaitError("base64_decode");
    daemon.awaitError("Assertion `0 == bytes % 4' failed.\n");
}

}  // namespace
