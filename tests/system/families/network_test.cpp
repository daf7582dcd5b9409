#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Network = Conversation;

Exchange setting(const std::string& arguments, const std::string& device,
                 const std::string& values) {
    return {.line = "config set net param" + arguments,
            .heard = {request("config set net params", device, R"("netparams":{)" + values + "}")},
            .answer = success("config set net params")};
}

constexpr const char* kReported =
    R"("hdcpserver":"1","static":"0","devaddr":"10.0.0.9","devnetmask":"255.0.0.0",)"
    R"("devgateway":"10.0.0.254","devmac":"00:11:22:33:44:55"})";

Exchange getting(const std::string& argument, const std::string& device,
                 const std::string& deviceid) {
    return {
        .line = "config get net params" + argument,
        .heard = {request("config get net params", device)},
        .replies = {reply("config get net params", std::string(R"("netparams":{)") + kReported)},
        .answer =
            answerText("config get net params", "success",
                       R"(,"netparamsinfo":[{"deviceid":")" + deviceid + "\"," + kReported + "]")};
}

TEST_F(Network, settings_are_sent_with_an_empty_mac_address) {
    expect(setting("s tx01 1 1 10.0.0.9 255.0.0.0 10.0.0.254!", "tx01",
                   R"("hdcpserver":"1","static":"1","devaddr":"10.0.0.9",)"
                   R"("devnetmask":"255.0.0.0","devgateway":"10.0.0.254","devmac":"")"));
}

TEST_F(Network, the_gateway_is_the_rest_of_the_line) {
    expect(setting("s tx01 1 1 a b c d !", "tx01",
                   R"("hdcpserver":"1","static":"1","devaddr":"a","devnetmask":"b",)"
                   R"("devgateway":"c d ","devmac":"")"));
}

TEST_F(Network, settings_that_are_not_reached_are_sent_empty) {
    expect(setting("s tx01 1 1 a b!", "tx01",
                   R"("hdcpserver":"1","static":"1","devaddr":"a","devnetmask":"b!",)"
                   R"("devgateway":"","devmac":"")"));
    expect(setting("s tx01 1 1 a b !", "tx01",
                   R"("hdcpserver":"1","static":"1","devaddr":"a","devnetmask":"b",)"
                   R"("devgateway":"","devmac":"")"));
    expect(setting("s tx01 1!", "tx01",
                   R"("hdcpserver":"1!","static":"","devaddr":"","devnetmask":"",)"
                   R"("devgateway":"","devmac":"")"));
    expect(setting("s!", "!",
                   R"("hdcpserver":"","static":"","devaddr":"","devnetmask":"",)"
                   R"("devgateway":"","devmac":"")"));
}

TEST_F(Network, without_the_last_letter_of_the_command_nothing_is_scanned) {
    expect(setting(" tx01 1 1 a b c!", "",
                   R"("hdcpserver":"","static":"","devaddr":"","devnetmask":"",)"
                   R"("devgateway":"","devmac":"")"));
}

TEST_F(Network, long_settings_are_cut_and_do_not_spill) {
    const std::string word(80, 'w');
    const std::string cut = word.substr(0, 31);
    std::string arguments = "s";
    for (int i = 0; i < 6; ++i) {
        arguments += " " + word;
    }
    expect(setting(arguments + "!", cut,
                   R"("hdcpserver":")" + cut + R"(","static":")" + cut + R"(","devaddr":")" + cut +
                       R"(","devnetmask":")" + cut + R"(","devgateway":")" + cut +
                       R"(","devmac":"")"));
}

TEST_F(Network, a_pattern_is_expanded_where_settings_are_sent) {
    expect(setting("s 100%%%dx %s %d a b %%!", "100%x",
                   R"("hdcpserver":"%s","static":"%d","devaddr":"a","devnetmask":"b",)"
                   R"("devgateway":"%%","devmac":"")"));
}

TEST_F(Network, settings_are_answered_under_the_identity) {
    expect(getting(" tx01!", "tx01", "tx01"));
    expect(getting(" tx 01 !", "tx 01 ", "tx 01 "));
}

TEST_F(Network, a_long_identity_is_cut_in_the_request_and_whole_in_the_answer) {
    for (const std::size_t length : {31U, 32U, 40U, 2000U}) {
        const std::string identity(length, 'i');
        expect(getting(" " + identity + "!", identity.substr(0, 31), identity));
    }
}

TEST_F(Network, a_pattern_is_expanded_in_the_request_and_as_typed_in_the_answer) {
    expect(getting(" 100%%%d!", "100%", "100%%%d"));
}

TEST_F(Network, without_an_identity_it_is_empty) {
    expect(getting("!", "", ""));
    expect(getting(" !", "", ""));
}

}  // namespace
