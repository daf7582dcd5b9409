#include <array>
#include <string>
#include <utility>
#include <vector>

#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Matrix = Conversation;

Exchange getting(const std::string& argument, const std::string& device, const std::string& rxid,
                 const std::string& txid) {
    return {
        .line = "matrix get" + argument,
        .heard = {request("matrix get", device)},
        .replies = {reply("matrix get", R"("rxsource":{"rxid":"anyone","txid":")" + txid + "\"}")},
        .printed = "Encoderid " + txid.substr(0, 31) + "\n",
        .answer = answerText(
            "matrix get", "success",
            R"(,"rxsource":[{"rxid":")" + rxid + R"(","txid":")" + txid.substr(0, 31) + "\"}]")};
}

Exchange setting(const std::string& arguments, const std::string& txid, const std::string& rxid) {
    return {.line = "matrix set" + arguments,
            .heard = {request("matrix set", rxid, R"("rxsource":{"txid":")" + txid + "\"}")},
            .answer = success("matrix sets")};
}

Exchange settingAll(const std::string& argument, const std::string& txid) {
    return {.line = "matrix all set" + argument,
            .heard = {request("matrix set", "All_RX", R"("rxsource":{"txid":")" + txid + "\"}")},
            .printed = "Encoderid " + txid + "\n",
            .answer = success("matrix all set")};
}

Exchange clearing(const std::string& argument, const std::string& rxid) {
    return {.line = "matrix clear" + argument,
            .heard = {request("matrix clear", rxid)},
            .printed = "deviceid " + rxid + "\n" + request("matrix clear", rxid) + "\n",
            .answer = success("matrix clear")};
}

TEST_F(Matrix, a_route_is_answered_as_an_array) {
    expect(getting(" rx01!", "rx01", "rx01", "tx03"));
    expect(getting(" rx01!", "rx01", "rx01", std::string(40, 't')));
}

TEST_F(Matrix, a_blank_before_the_exclamation_mark_belongs_to_the_identity) {
    expect(getting(" rx01 !", "rx01 ", "rx01 ", "tx03"));
}

TEST_F(Matrix, the_identity_is_cut_to_31_characters) {
    const std::string identity(40, 'r');
    const std::string cut = identity.substr(0, 31);
    expect(getting(" " + identity + "!", cut, cut, "tx03"));
    expect(setting(" " + std::string(40, 't') + " " + identity + "!", std::string(31, 't'), cut));
    expect(settingAll(" " + identity + "!", cut));
    expect(clearing(" " + identity + "!", cut));
}

TEST_F(Matrix, a_pattern_is_expanded_in_the_request_only) {
    expect(getting(" r%%%d!", "r%", "r%%%d", "tx03"));
    expect(setting(" t%%%d r%%%d!", "t%%%d", "r%"));
    expect(settingAll(" t%%%d!", "t%%%d"));
    Exchange exchange = clearing("", "r%");
    exchange.line = "matrix clear r%%%d!";
    exchange.printed = "deviceid r%%%d\n" + request("matrix clear", "r%") + "\n";
    expect(exchange);
}

TEST_F(Matrix, letters_behind_the_command_belong_to_its_last_word) {
    expect(getting("rx01 rx02!", "rx02", "rx02", "tx03"));
    expect(getting("rx01!", "", "", "tx03"));
    expect(getting("!", "", "", "tx03"));
}

TEST_F(Matrix, a_reply_without_the_route_is_a_success_without_one) {
    for (const auto& [data, printed] : {
             std::pair(R"("other":{})", "get rxsource err!\n"),
             std::pair(R"("rxsource":{"txid":"tx03"})", "get deviceid err!\n"),
             std::pair(R"("rxsource":{"rxid":"rx01"})", "get deviceid err!\n"),
             std::pair(R"("rxsource":"tx03")", "get deviceid err!\n"),
         }) {
        Exchange exchange = getting(" rx01!", "rx01", "rx01", "");
        exchange.replies = {reply("matrix get", data)};
        exchange.printed.insert(0, printed);
        expect(exchange);
    }
}

TEST_F(Matrix, one_encoder_is_routed_to_one_decoder) {
    expect(setting(" tx03 rx01!", "tx03", "rx01"));
}

TEST_F(Matrix, the_decoder_is_the_rest_of_the_line) {
    expect(setting(" tx03 rx01 rx02!", "tx03", "rx01 rx02"));
    expect(setting(" tx03 !", "tx03", ""));
    expect(setting(" tx03!", "tx03!", ""));
    expect(setting("!", "", ""));
}

TEST_F(Matrix, one_encoder_is_routed_to_all_decoders) {
    expect(settingAll(" tx03!", "tx03"));
    expect(settingAll(" tx 03 !", "tx 03 "));
    expect(settingAll("!", ""));
}

TEST_F(Matrix, a_route_is_cleared) {
    expect(clearing(" rx01!", "rx01"));
    expect(clearing(" rx01 rx02!", "rx01 rx02"));
    expect(clearing("!", ""));
}

}  // namespace
