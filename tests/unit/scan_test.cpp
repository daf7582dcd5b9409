// The arguments of a command line: the rules of C's sscanf, checked against sscanf itself, and what
// becomes of a typed identity.
#include "kit/scan.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// What a scan found: its texts or numbers in order, and whether it found all of them.
struct Found {
    std::vector<std::string> texts{};
    bool complete = false;
    bool operator==(const Found&) const = default;
};

void PrintTo(const Found& found, std::ostream* out) {
    for (const std::string& text : found.texts) {
        *out << '[' << text << "] ";
    }
    *out << (found.complete ? "complete" : "incomplete");
}

using Field = std::array<char, 4096>;

template <std::size_t kCount>
Found foundBy(int count, const std::array<Field, kCount>& fields) {
    Found found{.complete = count == kCount};
    for (const Field& field : fields) {
        found.texts.emplace_back(field.data());
    }
    return found;
}

Found foundByRest(LineScan scan) {
    const std::string rest(scan.rest());
    return {{rest}, scan.complete()};
}

Found foundByWordsAndRest(LineScan scan, std::size_t words) {
    Found found;
    for (std::size_t i = 0; i < words; ++i) {
        found.texts.emplace_back(scan.word());
    }
    found.texts.emplace_back(scan.rest());
    found.complete = scan.complete();
    return found;
}

/// One shape of line, scanned by the C library and by LineScan.
struct Shape {
    const char* name;
    Found (*bySscanf)(const char* line);
    Found (*byLineScan)(const char* line);
};

const Shape kShapes[] = {
    {"two words skipped, the rest",
     [](const char* line) {
         std::array<Field, 1> f{};
         return foundBy(std::sscanf(line, "%*s%*s %4095[^!]", f[0].data()), f);
     },
     [](const char* line) { return foundByRest(LineScan(line).skipWords(2)); }},
    {"four words skipped, the rest",
     [](const char* line) {
         std::array<Field, 1> f{};
         return foundBy(std::sscanf(line, "%*s%*s%*s%*s %4095[^!]", f[0].data()), f);
     },
     [](const char* line) { return foundByRest(LineScan(line).skipWords(4)); }},
    {"a literal, the rest",
     [](const char* line) {
         std::array<Field, 1> f{};
         return foundBy(std::sscanf(line, "vw remove %4095[^!]", f[0].data()), f);
     },
     [](const char* line) { return foundByRest(LineScan(line).literal("vw remove ")); }},
    {"four words skipped, a word, the rest",
     [](const char* line) {
         std::array<Field, 2> f{};
         return foundBy(std::sscanf(line, "%*s%*s%*s%*s%4095s %4095[^!]", f[0].data(), f[1].data()),
                        f);
     },
     [](const char* line) { return foundByWordsAndRest(LineScan(line).skipWords(4), 1); }},
    {"a literal, five words, the rest",
     [](const char* line) {
         std::array<Field, 6> f{};
         return foundBy(std::sscanf(line,
                                    "config set net params %4095s %4095s %4095s %4095s %4095s "
                                    "%4095[^!]",
                                    f[0].data(), f[1].data(), f[2].data(), f[3].data(), f[4].data(),
                                    f[5].data()),
                        f);
     },
     [](const char* line) {
         return foundByWordsAndRest(LineScan(line).literal("config set net params "), 5);
     }},
    {"a literal, three numbers, a word, the rest",
     [](const char* line) {
         std::array<int, 3> n{};
         std::array<Field, 2> f{};
         const int count = std::sscanf(line, "vw set %d %d %d %4095s %4095[^!]", n.data(), &n[1],
                                       &n[2], f[0].data(), f[1].data());
         return Found{{std::to_string(n[0]), std::to_string(n[1]), std::to_string(n[2]),
                       f[0].data(), f[1].data()},
                      count == 5};
     },
     [](const char* line) {
         LineScan scan(line);
         scan.literal("vw set ");
         Found found;
         for (int i = 0; i < 3; ++i) {
             found.texts.push_back(std::to_string(scan.number()));
         }
         found.texts.emplace_back(scan.word());
         found.texts.emplace_back(scan.rest());
         found.complete = scan.complete();
         return found;
     }},
};

void expectAsSscanf(const std::string& line) {
    for (const Shape& shape : kShapes) {
        EXPECT_EQ(shape.byLineScan(line.c_str()), shape.bySscanf(line.c_str()))
            << shape.name << " of \"" << line << '"';
    }
}

class RandomLines {
  public:
    explicit RandomLines(unsigned seed) : random_(seed) {}

    std::string next() {
        std::string line;
        do {
            line = pick(kBeginnings);
            for (auto pieces = below(12); pieces > 0; --pieces) {
                line += below(4) == 0 ? bytes() : pick(kPieces);
                line += pick(kGaps);
            }
        } while (hasLongNumber(line));
        return line;
    }

  private:
    static constexpr const char* kBeginnings[] = {
        "vw set ", "vw set", "vw remove ", "config set net params ", "config set net param", "",
    };
    static constexpr const char* kPieces[] = {
        "tx01", "rx 01", "7",  "-3", "+5", "+-5", "-+5", "-",  "+",   "0x1F",
        "12ab", "007",   "1!", "!",  "!!", "%",   "%%",  "%s", "%n!", "a word of several words",
    };
    static constexpr const char* kGaps[] = {"", " ", "  ", "\t", "\n", "\v\f\r ", " "};

    std::size_t below(std::size_t bound) { return random_() % bound; }

    template <std::size_t kCount>
    const char* pick(const char* const (&choices)[kCount]) {
        return choices[below(kCount)];
    }

    std::string bytes() {
        std::string text(1 + below(40), ' ');
        std::ranges::generate(text, [this] { return static_cast<char>(1 + below(255)); });
        return text;
    }

    // C leaves open what sscanf makes of a number that no int holds.
    static bool hasLongNumber(const std::string& line) {
        std::size_t digits = 0;
        return std::ranges::any_of(line, [&digits](char each) {
            digits = '0' <= each && each <= '9' ? digits + 1 : 0;
            return digits == 10;
        });
    }

    std::mt19937 random_;
};

TEST(LineScan, reads_random_lines_as_sscanf_does) {
    RandomLines lines(20240229);
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        expectAsSscanf(lines.next());
    }
}

TEST(LineScan, reads_the_ends_of_lines_as_sscanf_does) {
    const std::string whole = "config set net params tx01 1 1 10.0.0.1 255.0.0.0 10.0.0.254!";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        expectAsSscanf(whole.substr(0, length));
    }
    const std::string wall = "vw set 3840 -2160 +0 TX-01 RX-07!";
    for (std::size_t length = 0; length <= wall.size(); ++length) {
        expectAsSscanf(wall.substr(0, length));
        expectAsSscanf(wall.substr(0, length) + "!");
    }
}

TEST(LineScan, a_word_may_carry_the_exclamation_mark) {
    LineScan scan("config remove device tx01!");
    EXPECT_EQ(scan.skipWords(3).word(), "tx01!");
    EXPECT_TRUE(scan.complete());
}

TEST(LineScan, the_rest_keeps_its_blanks_and_ends_before_the_first_exclamation_mark) {
    EXPECT_EQ(LineScan("a b  c  d !e!").skipWords(2).rest(), "c  d ");
    EXPECT_EQ(LineScan("a b  c  d").skipWords(2).rest(), "c  d");
}

TEST(LineScan, nothing_is_found_behind_a_step_that_found_nothing) {
    LineScan scan("vw set 1 x 2 tx rx!");
    EXPECT_EQ(scan.literal("vw set ").number(), 1);
    EXPECT_TRUE(scan.complete());
    EXPECT_EQ(scan.number(), 0);
    EXPECT_FALSE(scan.complete());
    EXPECT_EQ(scan.number(), 0);
    EXPECT_EQ(scan.word(), "");
    EXPECT_EQ(scan.rest(), "");
    EXPECT_EQ(scan.literal("x").skipWords(1).rest(), "");
}

TEST(LineScan, a_rest_without_a_character_is_not_found) {
    LineScan scan("matrix get   !");
    EXPECT_EQ(scan.skipWords(2).rest(), "");
    EXPECT_FALSE(scan.complete());
}

TEST(LineScan, a_literal_that_does_not_stand_there_ends_the_scan) {
    EXPECT_EQ(LineScan("vw sets rx01!").literal("vw set ").rest(), "s rx01");
    EXPECT_EQ(LineScan("vw\t \tset rx01!").literal("vw set ").rest(), "rx01");
    EXPECT_EQ(LineScan("vw get rx01!").literal("vw set ").rest(), "");
}

TEST(LineScan, numbers_keep_to_their_range) {
    constexpr auto kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr auto kHighest = std::numeric_limits<std::int32_t>::max();
    LineScan scan("2147483647 -2147483648 2147483648 -2147483649 +99999999999999999999 8");
    EXPECT_EQ(scan.number(), kHighest);
    EXPECT_EQ(scan.number(), kLowest);
    EXPECT_EQ(scan.number(), kHighest);
    EXPECT_EQ(scan.number(), kLowest);
    EXPECT_EQ(scan.number(), kHighest);
    EXPECT_EQ(scan.number(), 8);
    EXPECT_TRUE(scan.complete());
}

TEST(ScanId, keeps_31_characters) {
    EXPECT_EQ(Scan_id("").view(), "");
    EXPECT_EQ(Scan_id("tx %s 100%").view(), "tx %s 100%");
    EXPECT_EQ(Scan_id(std::string(31, 'x')).view(), std::string(31, 'x'));
    EXPECT_EQ(Scan_id(std::string(32, 'x')).view(), std::string(31, 'x'));
}

TEST(ScanDeviceEntry, an_identity_without_a_percent_sign_is_itself) {
    EXPECT_EQ(Scan_deviceEntry("").view(), "");
    EXPECT_EQ(Scan_deviceEntry("Meeting room \x01\xFF 2").view(), "Meeting room \x01\xFF 2");
}

TEST(ScanDeviceEntry, two_percent_signs_are_one) {
    EXPECT_EQ(Scan_deviceEntry("%%").view(), "%");
    EXPECT_EQ(Scan_deviceEntry("100%% tx").view(), "100% tx");
    EXPECT_EQ(Scan_deviceEntry("%%%%d").view(), "%%d");
}

TEST(ScanDeviceEntry, any_other_directive_is_nothing) {
    EXPECT_EQ(Scan_deviceEntry("a%db").view(), "ab");
    EXPECT_EQ(Scan_deviceEntry("a%sb%nc").view(), "abc");
    EXPECT_EQ(Scan_deviceEntry("a%-08.3lldb").view(), "ab");
    EXPECT_EQ(Scan_deviceEntry("a%*.*fb").view(), "ab");
    EXPECT_EQ(Scan_deviceEntry("a%1$sb").view(), "ab");
    EXPECT_EQ(Scan_deviceEntry("a%5%b").view(), "ab");
}

TEST(ScanDeviceEntry, a_directive_without_an_end_is_nothing) {
    EXPECT_EQ(Scan_deviceEntry("tx01%").view(), "tx01");
    EXPECT_EQ(Scan_deviceEntry("tx01%%%").view(), "tx01%");
    EXPECT_EQ(Scan_deviceEntry("tx01%-10.5ll").view(), "tx01");
}

TEST(ScanDeviceEntry, is_cut_to_31_characters) {
    EXPECT_EQ(Scan_deviceEntry(std::string(40, 'x')).view(), std::string(31, 'x'));
}

TEST(ScanDeviceEntry, is_cut_before_it_is_expanded) {
    EXPECT_EQ(Scan_deviceEntry(std::string(40, '%')).view(), std::string(15, '%'));
    EXPECT_EQ(Scan_deviceEntry(std::string(30, 'x') + "%%%%").view(), std::string(30, 'x'));
    EXPECT_EQ(Scan_deviceEntry("%4000d" + std::string(40, 'x')).view(), std::string(25, 'x'));
}

TEST(ScanExpanded, is_expanded_before_it_is_cut) {
    EXPECT_EQ(Scan_expanded(std::string(40, '%')).view(), std::string(20, '%'));
    EXPECT_EQ(Scan_expanded(std::string(80, '%')).view(), std::string(31, '%'));
    EXPECT_EQ(Scan_expanded("%4000d" + std::string(40, 'x')).view(), std::string(31, 'x'));
}

}  // namespace
