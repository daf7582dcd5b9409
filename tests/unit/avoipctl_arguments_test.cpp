#include <stdexcept>
#include <string>

#include "gtest/gtest.h"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

/// The argument of this name of a command of the catalogue.
const Argument& argument(std::string_view group, std::string_view action, std::string_view name) {
    for (const Argument& each : Catalogue_find(group, action)->arguments) {
        if (each.name == name) {
            return each;
        }
    }
    throw std::invalid_argument(std::string(name));
}

std::string problem(std::string_view group, std::string_view action, std::string_view name,
                    std::string_view value) {
    return Arguments_problem(argument(group, action, name), value);
}

const std::string k31(31, 'a');
const std::string k32(32, 'a');

}  // namespace

TEST(Identity, has_1_to_31_bytes) {
    EXPECT_EQ(problem("matrix", "get", "decoder", k31), "");
    EXPECT_EQ(problem("matrix", "get", "decoder", k32), "must be 1 to 31 bytes long");
    EXPECT_EQ(problem("matrix", "get", "decoder", ""), "must be 1 to 31 bytes long");
    EXPECT_EQ(problem("matrix", "set", "encoder", k31), "");
    EXPECT_EQ(problem("matrix", "set", "encoder", k32), "must be 1 to 31 bytes long");
}

TEST(Identity, may_hold_a_blank_only_as_the_rest_of_the_line) {
    EXPECT_EQ(problem("matrix", "set", "decoder", "rx 01"), "");
    EXPECT_EQ(problem("matrix", "set", "decoder", " rx01"),
              "must not begin with a blank, which the console skips");
    EXPECT_EQ(problem("matrix", "set", "encoder", "tx 01"),
              "must not hold blanks, which end a word of the command");
    EXPECT_EQ(problem("matrix", "set", "encoder", "tx\t01"),
              "must not hold blanks, which end a word of the command");
}

TEST(Identity, holds_no_percent_sign) {
    const std::string text = "must not hold \"%\", which the daemon does not carry in identities";
    EXPECT_EQ(problem("matrix", "set", "encoder", "tx%d"), text);
    EXPECT_EQ(problem("matrix", "set", "decoder", "rx%%"), text);
}

TEST(AnyArgument, holds_nothing_that_the_console_cannot_carry) {
    for (const char* const name : {"device", "alias"}) {
        EXPECT_EQ(problem("alias", "set", name, "a!b"),
                  "must not hold \"!\", which ends a command");
        EXPECT_EQ(problem("alias", "set", name, "a\rb"),
                  "must not hold a line end, which the console removes");
        EXPECT_EQ(problem("alias", "set", name, "a\nb"),
                  "must not hold a line end, which the console removes");
        EXPECT_EQ(problem("alias", "set", name, "noexits"),
                  "must not hold the letters \"exit\", which end the console's connection");
        EXPECT_EQ(problem("alias", "set", name, std::string_view("a\0b", 3)),
                  "must not hold a NUL");
    }
}

TEST(Alias, has_1_to_31_bytes_and_may_hold_blanks_and_percent_signs) {
    EXPECT_EQ(problem("alias", "set", "alias", "Room 2, 100% ä"), "");
    EXPECT_EQ(problem("alias", "set", "alias", k31), "");
    EXPECT_EQ(problem("alias", "set", "alias", k32), "must be 1 to 31 bytes long");
}

TEST(Number, stays_within_its_range) {
    const std::string text = "must be a number from 1 to 30";
    EXPECT_EQ(problem("encoder", "set", "fps", "1"), "");
    EXPECT_EQ(problem("encoder", "set", "fps", "30"), "");
    for (const char* const value :
         {"0", "31", "-1", "", "1.5", "30 ", " 1", "+1", "ten", "0x1", "99999999999999999999"}) {
        EXPECT_EQ(problem("encoder", "set", "fps", value), text) << value;
    }
    EXPECT_EQ(problem("encoder", "set", "bitrate", "31"), "must be a number from 32 to 20480");
    EXPECT_EQ(problem("encoder", "set", "bitrate", "32"), "");
    EXPECT_EQ(problem("encoder", "set", "bitrate", "20480"), "");
    EXPECT_EQ(problem("encoder", "set", "bitrate", "20481"), "must be a number from 32 to 20480");
    for (const char* const name : {"luma", "contrast", "hue", "saturation"}) {
        EXPECT_EQ(problem("decoder", "set", name, "0"), "");
        EXPECT_EQ(problem("decoder", "set", name, "100"), "");
        EXPECT_EQ(problem("decoder", "set", name, "101"), "must be a number from 0 to 100");
    }
    EXPECT_EQ(problem("decoder", "set", "videoformat", "2"), "");
    EXPECT_EQ(problem("decoder", "set", "videoformat", "3"), "must be a number from 0 to 2");
    EXPECT_EQ(problem("wall", "set", "x", "-2147483648"), "");
    EXPECT_EQ(problem("wall", "set", "x", "2147483648"),
              "must be a number from -2147483648 to 2147483647");
}

TEST(Choice, is_one_of_its_words_to_the_letter) {
    EXPECT_EQ(problem("encoder", "set", "enctype", "H264"), "");
    EXPECT_EQ(problem("encoder", "set", "enctype", "H265"), "");
    EXPECT_EQ(problem("encoder", "set", "enctype", "h264"), "must be H264 or H265");
    EXPECT_EQ(problem("encoder", "set", "ratecontrol", "ABR"), "must be CBR or VBR");
    EXPECT_EQ(problem("encoder", "set", "ratecontrol", ""), "must be CBR or VBR");
}

TEST(Word, has_1_to_31_bytes_without_blanks) {
    EXPECT_EQ(problem("serial", "set", "parity", "none"), "");
    EXPECT_EQ(problem("serial", "set", "parity", ""), "must be 1 to 31 bytes long");
    EXPECT_EQ(problem("serial", "set", "stopbits", "1 5"),
              "must not hold blanks, which end a word of the command");
}

TEST(Address, is_dotted) {
    EXPECT_EQ(problem("net", "set", "address", "192.168.2.31"), "");
    for (const char* const value : {"192.168.2", "192.168.2.256", "host", "", "1.2.3.4 "}) {
        EXPECT_EQ(problem("net", "set", "gateway", value),
                  "must be an IPv4 address such as 192.168.2.31");
    }
}

TEST(Hex, is_pairs_of_digits_up_to_what_the_daemon_carries) {
    const std::string digits = "must be hexadecimal digits, two for each byte";
    EXPECT_EQ(problem("serial", "send", "data", "48656c6C6F"), "");
    EXPECT_EQ(problem("serial", "send", "data", "4865 6C"), digits);
    EXPECT_EQ(problem("serial", "send", "data", "0x48"), digits);
    EXPECT_EQ(problem("serial", "send", "data", ""), digits);
    EXPECT_EQ(problem("serial", "send", "data", "486"),
              "must have an even number of digits, two for each byte");
    EXPECT_EQ(problem("serial", "send", "data", std::string(1022, 'A')), "");
    EXPECT_EQ(problem("serial", "send", "data", std::string(1024, 'A')),
              "must have at most 1022 digits");
    EXPECT_EQ(problem("edid", "set", "edid", std::string(768, 'A')), "");
    EXPECT_EQ(problem("edid", "set-all", "edid", std::string(770, 'A')),
              "must have at most 768 digits");
}

TEST(Path, has_1_to_127_bytes_and_may_hold_blanks) {
    EXPECT_EQ(problem("update", "encoder", "image", "/srv/new image.bin"), "");
    EXPECT_EQ(problem("update", "encoder", "image", std::string(127, 'a')), "");
    EXPECT_EQ(problem("update", "encoder", "image", std::string(128, 'a')),
              "must be 1 to 127 bytes long");
    EXPECT_EQ(problem("update", "encoder", "image", "/srv/exit.bin"),
              "must not hold the letters \"exit\", which end the console's connection");
}

}  // namespace avoip::ctl
