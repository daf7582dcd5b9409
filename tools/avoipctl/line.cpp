#include "avoipctl/line.hpp"

#include <algorithm>

namespace avoip::ctl {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// All others have a value behind them.
constexpr std::string_view kFlags[] = {
    "--json",        "--verify", "--yes", "-y",        "--watch",
    "--edid-decode", "--help",   "-h",    "--version", "--help-all",
};

bool takesValue(std::string_view option) {
    return option.find('=') == std::string_view::npos &&
           std::ranges::find(kFlags, option) == std::end(kFlags);
}

}  // namespace

std::vector<std::string> Line_words(std::string_view line) {
    std::vector<std::string> words;
    bool inWord = false;
    char quote = '\0';
    for (const char letter : line) {
        if (quote == '\0' && kBlanks.find(letter) != std::string_view::npos) {
            inWord = false;
            continue;
        }
        if (quote == '\0' && !inWord && letter == '#') {
            break;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (quote == '\0' && (letter == '\'' || letter == '"')) {
            quote = letter;
        } else if (letter == quote) {
            quote = '\0';
        } else {
            words.back() += letter;
        }
    }
    return words;
}

std::size_t Line_lastWord(std::string_view line) {
    std::size_t begin = 0;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (quote == '\0' && kBlanks.find(line[i]) != std::string_view::npos) {
            begin = i + 1;
        } else if (quote == '\0' && (line[i] == '\'' || line[i] == '"')) {
            quote = line[i];
        } else if (line[i] == quote) {
            quote = '\0';
        }
    }
    return begin;
}

std::string_view Line_trimmed(std::string_view line) {
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(kBlanks) + 1 - first);
}

std::vector<std::string> Line_withoutOptions(const std::vector<std::string>& words) {
    std::vector<std::string> plain;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (!words[i].starts_with('-')) {
            plain.push_back(words[i]);
        } else if (takesValue(words[i])) {
            ++i;
        }
    }
    return plain;
}

}  // namespace avoip::ctl
