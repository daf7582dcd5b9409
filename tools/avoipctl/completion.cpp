#include "avoipctl/completion.hpp"

#include <algorithm>
#include <set>
#include <string_view>

#include "avoipctl/line.hpp"
#include "avoipctl/subcommand.hpp"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"

namespace avoip::ctl {
namespace {

/// A way to say a command: its fixed words, the arguments that follow them, and what ends it.
struct Sentence {
    std::vector<std::string> words;
    std::span<const Argument> arguments;
    std::string_view end;
};

std::vector<Sentence> sentences(bool consoleTexts) {
    std::vector<Sentence> all;
    for (const Command& command : Catalogue_commands()) {
        all.push_back({Line_words(Subcommand_words(command)), command.arguments, ""});
        if (consoleTexts) {
            all.push_back({Line_words(command.text), command.arguments, "!"});
        }
    }
    for (const char* const own : {"routes", "routes video", "routes serial", "routes ir", "send",
                                  "image", "health", "report"}) {
        all.push_back({Line_words(own), {}, ""});
    }
    return all;
}

std::vector<std::string> valuesOf(const Argument& argument,
                                  std::span<const std::string> identities) {
    if (argument.kind == ArgumentKind::kIdentity || argument.kind == ArgumentKind::kLastIdentity) {
        return {identities.begin(), identities.end()};
    }
    return Line_words(argument.choices);
}

/// What may stand at `place` of the sentence, its ending included.
std::vector<std::string> wordsAt(const Sentence& sentence, std::size_t place,
                                 std::span<const std::string> identities) {
    const std::size_t fixed = sentence.words.size();
    if (place >= fixed + sentence.arguments.size()) {
        return {};
    }
    std::vector<std::string> found = place < fixed
                                         ? std::vector{sentence.words[place]}
                                         : valuesOf(sentence.arguments[place - fixed], identities);
    const bool last = place + 1 == fixed + sentence.arguments.size();
    for (std::string& word : found) {
        word.append(last ? sentence.end : " ");
    }
    return found;
}

bool agrees(const Sentence& sentence, std::span<const std::string> before) {
    const std::size_t count = std::min(before.size(), sentence.words.size());
    return std::ranges::equal(before.first(count), std::span(sentence.words).first(count));
}

}  // namespace

std::vector<std::string> Completion_candidates(std::span<const std::string> words,
                                               std::span<const std::string> identities,
                                               bool consoleTexts) {
    std::set<std::string> found;
    const std::string begun = words.empty() ? std::string() : words.back();
    const auto before = words.first(words.empty() ? 0 : words.size() - 1);
    for (const Sentence& sentence : sentences(consoleTexts)) {
        if (!agrees(sentence, before)) {
            continue;
        }
        for (const std::string& word : wordsAt(sentence, before.size(), identities)) {
            if (word.starts_with(begun)) {
                found.insert(word);
            }
        }
    }
    return {found.begin(), found.end()};
}

std::string Completion_commonStart(std::span<const std::string> texts) {
    if (texts.empty()) {
        return {};
    }
    std::string start = texts.front();
    for (const std::string& text : texts) {
        const auto differ = std::ranges::mismatch(start, text);
        start.erase(differ.in1, start.end());
    }
    return start;
}

std::string Completion_bashScript() {
    return R"(# bash completion for avoipctl
_avoipctl() {
    local current=${COMP_WORDS[COMP_CWORD]}
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W \
            "--help --version --host --port --timeout --json" -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <("$1" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -o default -F _avoipctl avoipctl
)";
}

}  // namespace avoip::ctl
