#include <array>
#include <string>
#include <utility>
#include <vector>

#include "system/families/conversation.hpp"

namespace {

using namespace families;
using VideoWall = Conversation;

/// The numbers in the order of the wire: the row before the column.
using Numbers = std::array<const char*, 8>;

Exchange placing(const std::string& arguments, const Numbers& numbers, const std::string& txid,
                 const std::string& rxid) {
    constexpr std::array kKeys{"wigth", "height", "horcut", "vercut", "row", "column", "x", "y"};
    std::string members = R"("vwsource":{"txid":")" + txid + R"(","deviceid":")" + rxid + "\"";
    std::string printed;
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        members.append(",\"").append(kKeys[i]).append("\":\"").append(numbers[i]).append("\"");
        printed.append(kKeys[i]).append(" ").append(numbers[i]).append("\n");
    }
    return {.line = "vw set" + arguments,
            .heard = {request("vw set", rxid, members + "}")},
            .printed = printed + "txid " + txid + "\ndeviceid " + rxid + "\n",
            .answer = success("vw set")};
}

constexpr Numbers kZeros = {"0", "0", "0", "0", "0", "0", "0", "0"};

TEST_F(VideoWall, the_column_comes_before_the_row_in_the_line_and_behind_it_on_the_wire) {
    expect(placing(" 3840 2160 0 0 2 1 0 0 TX-01 RX-07!",
                   {"3840", "2160", "0", "0", "1", "2", "0", "0"}, "TX-01", "RX-07"));
    expect(placing(" 1 2 3 4 5 6 7 8 TX-01 RX-07!", {"1", "2", "3", "4", "6", "5", "7", "8"},
                   "TX-01", "RX-07"));
}

TEST_F(VideoWall, values_that_are_not_reached_are_sent_as_zero_and_empty) {
    expect(placing(" 1920!", {"1920", "0", "0", "0", "0", "0", "0", "0"}, "", ""));
    expect(placing(" 1 2 3 4 5 6 7 8!", {"1", "2", "3", "4", "6", "5", "7", "8"}, "!", ""));
    expect(
        placing(" 1 2 3 4 5 6 7 8 TX-01 !", {"1", "2", "3", "4", "6", "5", "7", "8"}, "TX-01", ""));
    expect(placing("!", kZeros, "", ""));
}

TEST_F(VideoWall, the_scan_ends_at_what_is_no_number) {
    expect(placing(" 1 two 3 4 5 6 7 8 TX-01 RX-07!", {"1", "0", "0", "0", "0", "0", "0", "0"}, "",
                   ""));
    expect(placing(" 1.5 2 3 4 5 6 7 8 TX-01 RX-07!", {"1", "0", "0", "0", "0", "0", "0", "0"}, "",
                   ""));
    expect(placing("s 1 2 3 4 5 6 7 8 TX-01 RX-07!", kZeros, "", ""));
}

TEST_F(VideoWall, numbers_are_decimal_and_signed_and_printed_anew) {
    expect(placing("-1 +2 007 -0 2147483647 -2147483648 0 -10 TX-01 RX-07!",
                   {"-1", "2", "7", "0", "-2147483648", "2147483647", "0", "-10"}, "TX-01",
                   "RX-07"));
    expect(placing(" 2147483648 -2147483649 99999999999 -99999999999 0 0 0 0 TX-01 RX-07!",
                   {"2147483647", "-2147483648", "2147483647", "-2147483648", "0", "0", "0", "0"},
                   "TX-01", "RX-07"));
}

TEST_F(VideoWall, identities_are_cut_and_the_decoder_is_the_rest_of_the_line) {
    expect(placing(" 0 0 0 0 0 0 0 0 TX-01 RX 07 !", kZeros, "TX-01", "RX 07 "));
    expect(placing(" 0 0 0 0 0 0 0 0 " + std::string(40, 't') + " " + std::string(40, 'r') + "!",
                   kZeros, std::string(31, 't'), std::string(31, 'r')));
}

TEST_F(VideoWall, a_pattern_is_expanded_for_the_addressed_device_only) {
    Exchange exchange = placing(" 0 0 0 0 0 0 0 0 t%%%d r%%%d!", kZeros, "t%%%d", "r%%%d");
    const std::string id = R"("id":"r%%%d")";
    exchange.heard[0].replace(exchange.heard[0].find(id), id.size(), R"("id":"r%")");
    expect(exchange);
}

TEST_F(VideoWall, a_decoder_is_taken_out_again) {
    for (const auto& [argument, device] :
         {std::array{" RX-07!", "RX-07"}, std::array{" RX 07 !", "RX 07 "},
          std::array{"RX-07!", "RX-07"}, std::array{" r%%%d!", "r%"}, std::array{"!", ""}}) {
        expect({.line = std::string("vw remove") + argument,
                .heard = {request("vw remove", device)},
                .answer = success("vw remove")});
    }
}

TEST_F(VideoWall, the_layout_cannot_be_asked_for) {
    expectRefused("vw add get!", "vw add ");
    expectRefused("vw add getting RX-07!", "vw add ");
}

}  // namespace
