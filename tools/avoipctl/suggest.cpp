#include "avoipctl/suggest.hpp"

#include <algorithm>

#include "lib/catalogue/catalogue.hpp"

namespace avoip::ctl {
namespace {

/// A third of the letters may be wrong, at least one.
std::size_t tolerance(std::string_view word) {
    return std::max<std::size_t>(word.size() / 3, 1);
}

/// As many of the first words of `text` as `pattern` has words.
std::string_view leadingWords(std::string_view text, std::string_view pattern) {
    std::size_t end = 0;
    for (auto words = std::ranges::count(pattern, ' ') + 1; words > 0; --words) {
        end = text.find(' ', end == 0 ? 0 : end + 1);
        if (end == std::string_view::npos) {
            return text;
        }
    }
    return text.substr(0, end);
}

}  // namespace

std::size_t Suggest_distance(std::string_view a, std::string_view b) {
    // Rows of the classic table: distances of prefixes of `a` to all prefixes of `b`.
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> current(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        current[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        beforeLast.swap(last);
        last.swap(current);
        current[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t change = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[j] = std::min({last[j] + 1, current[j - 1] + 1, change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                current[j] = std::min(current[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return current[b.size()];
}

std::vector<std::string_view> Suggest_nearest(std::string_view word,
                                              std::span<const std::string_view> candidates) {
    std::size_t best = tolerance(word);
    std::vector<std::string_view> nearest;
    for (const std::string_view candidate : candidates) {
        const std::size_t distance = Suggest_distance(word, candidate);
        if (distance < best) {
            nearest.clear();
            best = distance;
        }
        if (distance == best) {
            nearest.push_back(candidate);
        }
    }
    return nearest;
}

std::string Suggest_question(std::span<const std::string_view> words) {
    std::string text;
    for (const std::string_view word : words) {
        text.append(text.empty() ? "Did you mean \"" : " or \"").append(word).append("\"");
    }
    return text.empty() ? text : text + "?";
}

std::string Suggest_forConsoleText(std::string_view text) {
    text = text.substr(0, text.find('!'));
    std::size_t best = std::string_view::npos;
    std::vector<std::string_view> nearest;
    for (const Command& command : Catalogue_commands()) {
        const std::string_view meant[] = {command.text};
        const std::string_view typed = leadingWords(text, command.text);
        const std::size_t distance = Suggest_distance(typed, command.text);
        if (Suggest_nearest(typed, meant).empty() || distance > best) {
            continue;
        }
        if (distance < best) {
            nearest.clear();
            best = distance;
        }
        nearest.push_back(command.text);
    }
    return Suggest_question(nearest);
}

}  // namespace avoip::ctl
