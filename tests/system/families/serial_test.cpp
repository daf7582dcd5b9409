#include <array>
#include <string>
#include <utility>
#include <vector>

#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Serial = Conversation;

Exchange settingParams(const std::string& arguments, const std::string& device,
                       const std::string& values) {
    return {.line = "serial set params" + arguments,
            .heard = {request("serial set params", device, R"("serialparams":{)" + values + "}")},
            .answer = success("serial set params")};
}

Exchange gettingParams(const std::string& argument, const std::string& device,
                       const std::string& deviceid, const std::string& values) {
    const std::string asked = request("serial get params", device);
    const std::string replied = reply("serial get params", R"("serialparams":{)" + values + "}");
    const std::string answer =
        answerText("serial get params", "success",
                   R"(,"serialparams":[{"deviceid":")" + deviceid + "\"," + values + "}]");
    return {.line = "serial get params" + argument,
            .heard = {asked},
            .replies = {replied},
            .printed = asked + "\nrecv buf: " + replied + "\nout: " + answer + "\n",
            .answer = answer};
}

std::string source(const std::string& txid) {
    return R"("serialsource":{"txid":")" + txid + "\"}";
}

/// "serial matrix set" and "serial matrix all set": each end is told of the other.
Exchange settingRoute(const std::string& command, const std::string& arguments,
                      const std::vector<std::string>& devicesAndPeers) {
    return {.line = command + arguments,
            .heard = {request("serial matrix set", devicesAndPeers[0], source(devicesAndPeers[1])),
                      request("serial matrix set", devicesAndPeers[2], source(devicesAndPeers[3]))},
            .answer = success(command)};
}

Exchange sendingData(const std::string& arguments, const std::string& device,
                     const std::string& base64) {
    return {.line = "serial data" + arguments,
            .heard = {request("serial data", device, R"("data":")" + base64 + "\"")},
            .answer = success("serial data")};
}

constexpr const char* kSettings =
    R"("baudrate":"9600","databits":"8","parity":"none","stopbits":"1")";

TEST_F(Serial, port_settings_are_answered_and_the_exchange_is_printed) {
    expect(gettingParams(" tx01!", "tx01", "tx01", kSettings));
    expect(gettingParams(" tx 01 !", "tx 01 ", "tx 01 ", kSettings));
    expect(gettingParams("!", "", "", kSettings));
    expect(gettingParams(" " + std::string(40, 't') + "!", std::string(31, 't'),
                         std::string(31, 't'), kSettings));
}

TEST_F(Serial, every_datagram_that_comes_is_printed) {
    Exchange exchange = gettingParams(" tx01!", "tx01", "tx01", kSettings);
    // Shorter than what comes behind it, whose tail would otherwise be seen.
    exchange.replies.insert(exchange.replies.begin(), "hello");
    exchange.printed.insert(exchange.printed.find("recv buf"),
                            "recv buf: hello\ncJSON_Parse err!\n");
    expect(exchange);
}

TEST_F(Serial, port_settings_are_sent_as_typed) {
    expect(settingParams(" tx01 9600 8 none 1!", "tx01", kSettings));
    expect(settingParams(" tx01 fast eight odd 1.5 or 2 !", "tx01",
                         R"("baudrate":"fast","databits":"eight","parity":"odd",)"
                         R"("stopbits":"1.5 or 2 ")"));
    const std::string word(40, 'w');
    const std::string cut(31, 'w');
    expect(settingParams(" " + word + " " + word + " " + word + " " + word + " " + word + "!", cut,
                         R"("baudrate":")" + cut + R"(","databits":")" + cut + R"(","parity":")" +
                             cut + R"(","stopbits":")" + cut + "\""));
}

TEST_F(Serial, port_settings_that_are_not_reached_are_sent_empty) {
    expect(settingParams(" tx01 9600 8 !", "tx01",
                         R"("baudrate":"9600","databits":"8","parity":"!","stopbits":"")"));
    expect(settingParams(" tx01 9600 8!", "tx01",
                         R"("baudrate":"9600","databits":"8!","parity":"","stopbits":"")"));
    expect(settingParams(" tx01!", "tx01!",
                         R"("baudrate":"","databits":"","parity":"","stopbits":"")"));
}

TEST_F(Serial, a_route_is_answered_as_an_array) {
    expect({.line = "serial matrix get rx 01 !",
            .heard = {request("serial matrix get", "rx 01 ")},
            .replies = {reply("serial matrix get",
                              R"("serialsource":{"rxid":"anyone","txid":"tx03"})")},
            .printed = "Rxid tx03\n",
            .answer = answerText("serial matrix get", "success",
                                 R"(,"serialsource":[{"rxid":"rx 01 ","txid":"tx03"}])")});
}

TEST_F(Serial, a_route_is_told_to_both_of_its_ends) {
    const std::string command = "serial matrix set";
    expect(settingRoute(command, " tx01 rx02!", {"rx02", "tx01", "tx01", "rx02"}));
    expect(settingRoute(command, " tx01 rx 02 !", {"rx 02 ", "tx01", "tx01", "rx 02 "}));
    expect(settingRoute(command, " tx01!", {"", "tx01!", "tx01!", ""}));
    expect(settingRoute(command, " t%%%d r%%%d!", {"r%", "t%%%d", "t%", "r%%%d"}));
    const std::string t(31, 't');
    const std::string r(31, 'r');
    expect(settingRoute(command, " " + t + "tttt " + r + "rrrr!", {r, t, t, r}));
}

TEST_F(Serial, a_route_to_all_is_told_to_all_and_to_the_encoder) {
    const std::string command = "serial matrix all set";
    expect(settingRoute(command, " tx01!", {"All", "tx01", "tx01", "All"}));
    expect(settingRoute(command, " tx 01 !", {"All", "tx 01 ", "tx 01 ", "All"}));
    expect(settingRoute(command, "!", {"All", "", "", "All"}));
}

TEST_F(Serial, a_route_is_cleared) {
    for (const auto& [argument, typed, device] :
         {std::array{" rx01!", "rx01", "rx01"}, std::array{" rx 01 !", "rx 01 ", "rx 01 "},
          std::array{" r%%%d!", "r%%%d", "r%"}, std::array{"!", "", ""}}) {
        expect({.line = std::string("serial matrix clear") + argument,
                .heard = {request("serial matrix clear", device)},
                .printed = std::string("deviceid ") + typed + "\n",
                .answer = success("serial matrix clear")});
    }
}

TEST_F(Serial, clearing_all_routes_ignores_what_is_typed_behind_it) {
    for (const char* line : {"serial matrix all clear!", "serial matrix all clear rx01!",
                             "serial matrix all clears!"}) {
        expect({.line = line,
                .heard = {request("serial matrix clear", "All")},
                .answer = success("serial matrix all clear")});
    }
}

TEST_F(Serial, data_is_two_digits_a_byte) {
    expect(sendingData(" tx01 48656C6C6F!", "tx01", "SGVsbG8="));
    expect(sendingData(" tx01 48656c6c6f!", "tx01", "SGVsbG8="));
    expect(sendingData(" tx01 00ff7f80!", "tx01", "AP9/gA=="));
}

TEST_F(Serial, an_odd_last_digit_is_dropped) {
    expect(sendingData(" tx01 48656C6!", "tx01", "SGVs"));
    expect(sendingData(" tx01 4!", "tx01", ""));
}

TEST_F(Serial, no_character_is_rejected) {
    // By the rule "G" is 16, ":", the character behind the digits, 3, and "/" 248; of the sum of 16
    // highs and the low, 8 bits are sent.
    expect(sendingData(" tx01 G0g00G//!", "tx01", "AAAQeA=="));
    expect(sendingData(" tx01 0:!", "tx01", "Aw=="));
    expect(sendingData(" tx01 4 1!", "tx01", "KQ=="));
}

TEST_F(Serial, data_may_be_missing) {
    expect(sendingData(" tx01 !", "tx01", ""));
    expect(sendingData(" tx01!", "tx01!", ""));
    expect(sendingData("!", "", ""));
}

TEST_F(Serial, data_is_cut_to_1023_digits) {
    // 511 bytes: the odd last digit goes.
    const std::string most = std::string(680, '/') + "/w==";
    expect(sendingData(" tx01 " + std::string(1022, 'F') + "!", "tx01", most));
    expect(sendingData(" tx01 " + std::string(1023, 'F') + "!", "tx01", most));
    expect(sendingData(" tx01 " + std::string(3000, 'F') + "!", "tx01", most));
}

TEST_F(Serial, the_device_of_data_is_a_word_of_at_most_31_characters) {
    expect(sendingData(" " + std::string(40, 't') + " 41!", std::string(31, 't'), "QQ=="));
    expect(sendingData(" t%%%d 41!", "t%", "QQ=="));
}

}  // namespace
