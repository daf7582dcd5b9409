#include "avoipctl/completion.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "avoipctl/change.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/subcommand.hpp"
#include "lib/catalogue/catalogue.hpp"

namespace avoip::ctl {
namespace {

namespace fs = std::filesystem;

constexpr Argument kFile{.name = "file", .kind = ArgumentKind::kPath, .summary = "", .example = ""};
constexpr Argument kName{
    .name = "device", .kind = ArgumentKind::kIdentity, .summary = "", .example = ""};
constexpr Argument kFileOnly[] = {kFile};
constexpr Argument kGrid[] = {
    {.name = "grid", .kind = ArgumentKind::kWord, .summary = "", .example = ""}, kName};
constexpr Argument kNameOnly[] = {kName};

/// A way to say a command: its fixed words, the arguments that follow them, and what ends it.
struct Sentence {
    std::string words;
    std::span<const Argument> arguments = {};
    std::string_view end = "";
    bool repeats = false;  ///< the last argument may stand there any number of times
    const Command* command = nullptr;
    std::string_view options = "";
};

constexpr std::string_view kListOptions = "--columns --watch --interval";
constexpr std::string_view kCommonOptions = "--help --json --timeout";
constexpr std::string_view kFirstOptions = "--version --host --port";

std::vector<Sentence> sentences(bool consoleTexts) {
    std::vector<Sentence> all;
    for (const Command& command : Catalogue_commands()) {
        all.push_back({Subcommand_words(command), command.arguments, "", false, &command});
        if (consoleTexts) {
            all.push_back({std::string(command.text), command.arguments, "!"});
        }
    }
    for (const char* const kind : {"routes", "routes video", "routes serial", "routes ir"}) {
        all.push_back({.words = kind, .options = kListOptions});
    }
    all.push_back({.words = "routes save", .arguments = kFileOnly, .options = "--kind"});
    all.push_back({.words = "routes load", .arguments = kFileOnly, .options = "--verify"});
    all.push_back({.words = "wall grid",
                   .arguments = kGrid,
                   .repeats = true,
                   .options = "--bezel --picture"});
    all.push_back({.words = "wall show"});
    all.push_back(
        {.words = "update", .arguments = kNameOnly, .repeats = true, .options = "--parallel"});
    all.push_back({.words = "update", .arguments = kFileOnly, .repeats = true});
    all.push_back({.words = "image", .arguments = kFileOnly});
    all.push_back({.words = "send"});
    all.push_back({.words = "health", .options = "--state-folder"});
    all.push_back({.words = "report", .options = "--state-folder"});
    return all;
}

/// A word with what follows it.
struct Found {
    std::string word;
    std::string end;
};

/// The files and folders whose paths begin with what is typed.
std::vector<Found> files(const std::string& begun, std::string_view end) {
    const std::size_t slash = begun.rfind('/') + 1;
    const std::string folder = begun.substr(0, slash);
    std::vector<Found> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), last;
         !error && entry != last; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with('.') && begun.size() == slash) {
            continue;
        }
        std::error_code unknown;
        const bool inner = entry->is_directory(unknown);
        found.push_back({folder + name + (inner ? "/" : ""), std::string(inner ? "" : end)});
    }
    return found;
}

std::vector<Found> valuesOf(const Argument& argument, const DeviceNames& names,
                            const std::string& begun, std::string_view end) {
    if (argument.kind == ArgumentKind::kPath) {
        return files(begun, end);
    }
    std::vector<std::string> words = Line_words(argument.choices);
    if (argument.kind == ArgumentKind::kIdentity || argument.kind == ArgumentKind::kLastIdentity) {
        words = names.identities;
        words.insert(words.end(), names.aliases.begin(), names.aliases.end());
    }
    std::vector<Found> found;
    for (std::string& word : words) {
        found.push_back({std::move(word), std::string(end)});
    }
    return found;
}

/// What may stand at `place` of the sentence.
std::vector<Found> wordsAt(const Sentence& sentence, std::size_t place, const DeviceNames& names,
                           const std::string& begun) {
    const std::vector<std::string> words = Line_words(sentence.words);
    const std::size_t count = words.size() + sentence.arguments.size();
    const bool repeated = sentence.repeats && place >= words.size();
    if (place >= count && !repeated) {
        return {};
    }
    const std::string_view end = place + 1 >= count ? sentence.end : " ";
    if (place < words.size()) {
        return {{words[place], std::string(end)}};
    }
    const std::size_t argument = std::min(place, count - 1) - words.size();
    return valuesOf(sentence.arguments[argument], names, begun, end);
}

bool agrees(const Sentence& sentence, std::span<const std::string> before) {
    const std::vector<std::string> words = Line_words(sentence.words);
    const std::size_t count = std::min(before.size(), words.size());
    return std::ranges::equal(before.first(count), std::span(words).first(count));
}

/// The options that a sentence takes.
std::vector<std::string> optionsOf(const Sentence& sentence) {
    std::vector<std::string> options = Line_words(sentence.options);
    const Command* const command = sentence.command;
    if (command == nullptr) {
        return options;
    }
    const auto add = [&](bool has, std::string_view more) {
        const std::vector<std::string> words = Line_words(has ? more : "");
        options.insert(options.end(), words.begin(), words.end());
    };
    add(command->exchange.kind == ExchangeKind::kListing, kListOptions);
    add(command->exchange.kind == ExchangeKind::kSending, "--verify");
    add(command->everyone, "--yes");
    add(command->shape.key == "rxedid", "--edid-decode");
    for (std::size_t i = 1; Change_isPossible(*command) && i < command->arguments.size(); ++i) {
        options.push_back("--" + std::string(command->arguments[i].name));
    }
    return options;
}

std::vector<Found> optionsBehind(std::span<const std::string> before) {
    std::vector<std::string> options = Line_words(std::string(kCommonOptions) + " " +
                                                  std::string(before.empty() ? kFirstOptions : ""));
    for (const Sentence& sentence : sentences(false)) {
        if (!before.empty() && agrees(sentence, before) &&
            before.size() >= Line_words(sentence.words).size()) {
            const std::vector<std::string> own = optionsOf(sentence);
            options.insert(options.end(), own.begin(), own.end());
        }
    }
    std::vector<Found> found;
    for (std::string& option : options) {
        found.push_back({std::move(option), " "});
    }
    return found;
}

}  // namespace

std::vector<std::string> Completion_candidates(std::span<const std::string> words,
                                               const DeviceNames& names, bool consoleTexts) {
    const std::string begun = words.empty() ? std::string() : words.back();
    const std::vector<std::string> before =
        Line_withoutOptions({words.begin(), words.end() - (words.empty() ? 0 : 1)});
    std::vector<Found> all;
    if (begun.starts_with('-')) {
        all = optionsBehind(before);
    } else {
        for (const Sentence& sentence : sentences(consoleTexts)) {
            if (agrees(sentence, before)) {
                const auto found = wordsAt(sentence, before.size(), names, begun);
                all.insert(all.end(), found.begin(), found.end());
            }
        }
    }
    std::map<std::string, std::set<std::string>> endings;
    for (const Found& found : all) {
        if (found.word.starts_with(begun)) {
            endings[found.word].insert(found.end);
        }
    }
    std::vector<std::string> candidates;
    for (const auto& [word, ends] : endings) {
        candidates.push_back(word + (ends.size() == 1 ? *ends.begin() : ""));
    }
    return candidates;
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

std::string Completion_typed(const std::string& candidate) {
    const std::size_t end = candidate.find_last_not_of(" !") + 1;
    const std::string word = candidate.substr(0, end);
    return word.find(' ') == std::string::npos ? candidate
                                               : "'" + word + "'" + candidate.substr(end);
}

}  // namespace avoip::ctl
