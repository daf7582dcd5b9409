#include "lib/frontend/answer_name.hpp"

#include <cstdlib>

namespace avoip {

namespace {

constexpr std::string_view kBeginning = R"({"ack":{"cmd":")";

// The cut never goes through a character of UTF-8, so up to three bytes less may be left.
constexpr std::size_t kShortestCut = kNameMax - 3;

/// Takes one character off the front of a text that is escaped as JSON wants it. The daemon escapes
/// nothing above 0x7F.
char takeCharacter(std::string_view& text) {
    const std::string_view beginning = text.substr(0, 2);
    if (beginning.size() < 2 || beginning[0] != '\\') {
        text.remove_prefix(1);
        return beginning[0];
    }
    const char second = beginning[1];
    text.remove_prefix(2);
    constexpr std::string_view kLetters = "bfnrt";
    constexpr std::string_view kMeanings = "\b\f\n\r\t";
    if (const std::size_t place = kLetters.find(second); place != std::string_view::npos) {
        return kMeanings[place];
    }
    if (second != 'u' || text.size() < 4) {
        return second;
    }
    const char digits[] = {text[0], text[1], text[2], text[3], '\0'};
    text.remove_prefix(4);
    return static_cast<char>(std::strtoul(digits, nullptr, 16));
}

}  // namespace

AnswerName Answer_name(const char* answer) {
    AnswerName name;
    std::string_view text = answer;
    name.exists = text.starts_with(kBeginning);
    text.remove_prefix(name.exists ? kBeginning.size() : text.size());
    for (std::size_t i = 0; i < kNameMax && !text.empty() && text.front() != '"'; ++i) {
        name.text[i] = takeCharacter(text);
    }
    return name;
}

bool AnswerName_fits(std::string_view name, std::string_view expected) {
    return name == expected || (expected.size() >= kNameMax && name.size() >= kShortestCut &&
                                expected.starts_with(name));
}

}  // namespace avoip
