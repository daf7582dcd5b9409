#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Ir = Conversation;

Exchange getting(const std::string& argument, const std::string& rxid, const std::string& txid,
                 const std::string& reported) {
    return {
        .line = "ir matrix get" + argument,
        .heard = {request("ir matrix get", rxid)},
        .replies = {reply("ir matrix get", R"("irsource":)" + reported)},
        .printed = "Rxid " + txid + "\n",
        .answer = answerText("ir matrix get", "success",
                             R"(,"irsource":[{"rxid":")" + rxid + R"(","txid":")" + txid + "\"}]")};
}

Exchange setting(const std::string& arguments, const std::string& txid, const std::string& rxid) {
    return {.line = "ir matrix set" + arguments,
            .heard = {request("ir matrix set", rxid, R"("irsource":{"txid":")" + txid + "\"}")},
            .answer = success("ir matrix set")};
}

Exchange clearing(const std::string& argument, const std::string& rxid) {
    return {.line = "ir matrix clear" + argument,
            .heard = {request("ir matrix clear", rxid)},
            .printed = "deviceid " + rxid + "\n",
            .answer = success("ir matrix clear")};
}

TEST_F(Ir, a_route_is_answered_as_an_array) {
    expect(getting(" RX-05!", "RX-05", "TX-02", R"({"rxid":"RX-05","txid":"TX-02"})"));
}

TEST_F(Ir, a_reply_of_another_decoder_is_accepted) {
    expect(getting(" RX-05!", "RX-05", "TX-02", R"({"rxid":"RX-99","txid":"TX-02"})"));
}

TEST_F(Ir, keys_may_be_of_any_case_and_a_source_that_is_no_text_is_empty) {
    Exchange exchange = getting(" RX-05!", "RX-05", "", R"({"RXID":7,"TxId":8})");
    expect(exchange);
}

TEST_F(Ir, a_long_source_is_cut) {
    expect(getting(" RX-05!", "RX-05", std::string(31, 't'),
                   R"({"rxid":"","txid":")" + std::string(40, 't') + "\"}"));
}

TEST_F(Ir, one_encoder_is_routed_to_one_decoder) {
    expect(setting(" TX-02 RX-05!", "TX-02", "RX-05"));
    expect(setting(" TX-02 RX-05 RX-06!", "TX-02", "RX-05 RX-06"));
    expect(setting(" TX-02!", "TX-02!", ""));
    expect(setting(" " + std::string(40, 't') + " " + std::string(40, 'r') + "!",
                   std::string(31, 't'), std::string(31, 'r')));
}

TEST_F(Ir, a_route_is_cleared) {
    expect(clearing(" RX-05!", "RX-05"));
    expect(clearing(" RX-05 !", "RX-05 "));
    expect(clearing("!", ""));
}

TEST_F(Ir, a_pattern_is_expanded_in_the_request_only) {
    expect(setting(" t%%%s r%%%s!", "t%%%s", "r%"));
    Exchange exchange = clearing(" r%%%s!", "r%");
    exchange.printed = "deviceid r%%%s\n";
    expect(exchange);
}

}  // namespace
