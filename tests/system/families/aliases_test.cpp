#include "system/families/conversation.hpp"

namespace {

using namespace families;
using Aliases = Conversation;

Exchange setting(const std::string& arguments, const std::string& device,
                 const std::string& alias) {
    return {.line = "config set device alias" + arguments,
            .heard = {request("config set alias", device, R"("alias":{"name":")" + alias + "\"}")},
            .answer = success("config set device alias")};
}

Exchange removing(const std::string& arguments, const std::string& device) {
    return {.line = "config remove device alias" + arguments,
            .heard = {request("config remove alias", device)},
            .answer = success("config remove device alias")};
}

TEST_F(Aliases, an_alias_is_everything_behind_the_identity) {
    expect(setting(" tx01 Meeting!", "tx01", "Meeting"));
    expect(setting(" tx01 Meeting room 2!", "tx01", "Meeting room 2"));
    expect(setting("  tx01   Meeting  room !", "tx01", "Meeting  room "));
    expect(setting(" All_TX \"quoted\\!", "All_TX", R"(\"quoted\\)"));
}

TEST_F(Aliases, without_an_alias_an_empty_one_is_sent) {
    expect(setting(" tx01 !", "tx01", ""));
    expect(setting(" tx01!", "tx01!", ""));
    expect(setting(" !", "!", ""));
    expect(setting("!", "", ""));
}

TEST_F(Aliases, an_alias_before_it_is_not_remembered) {
    expect(setting(" tx01 Meeting!", "tx01", "Meeting"));
    expect(setting(" tx02 !", "tx02", ""));
}

TEST_F(Aliases, a_short_alias_leaves_the_identity_alone) {
    const std::string alias(31, 'a');
    expect(setting(" tx01 " + alias + "!", "tx01", alias));
}

TEST_F(Aliases, a_long_alias_runs_on_into_the_identity) {
    const std::string alias = "0123456789abcdefghijklmnopqrstuv";  // 32 characters
    ASSERT_EQ(alias.size(), 32U);
    expect(setting(" tx01 " + alias + "!", "", alias));
    // The last one makes a line of 4,095 characters, the longest there is.
    for (const std::size_t length : {33U, 40U, 63U, 64U, 100U, 2000U, 4065U}) {
        std::string text = alias;
        while (text.size() < length) {
            text += static_cast<char>('A' + text.size() % 26);
        }
        expect(setting(" tx01 " + text + "!", text.substr(32, 31), text));
    }
}

TEST_F(Aliases, what_has_run_on_is_read_as_a_pattern) {
    const std::string alias(32, 'a');
    expect(setting(" tx01 " + alias + "50%% %d!", "50% ", alias + "50%% %d"));
}

TEST_F(Aliases, a_long_identity_is_cut) {
    const std::string identity = "tx-" + std::string(60, 'x');
    expect(setting(" " + identity + " Meeting!", identity.substr(0, 31), "Meeting"));
    expect(removing(" " + identity + "!", identity.substr(0, 31)));
}

TEST_F(Aliases, an_alias_is_removed_from_one_device) {
    expect(removing(" tx01!", "tx01"));
}

TEST_F(Aliases, the_identity_to_remove_from_is_the_rest_of_the_line) {
    expect(removing(" tx01 tx02!", "tx01 tx02"));
    expect(removing(" tx01 !", "tx01 "));
    expect(removing("!", ""));
}

TEST_F(Aliases, an_identity_is_read_as_a_pattern) {
    expect(setting(" 100%%%stx Meeting %d!", "100%tx", "Meeting %d"));
    expect(removing(" 100%%%n%!", "100%"));
}

}  // namespace
