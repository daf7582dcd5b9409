// Completion: which words may follow, at the prompt and in shells.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip::ctl {

/// The names that devices have.
struct DeviceNames {
    std::vector<std::string> identities = {};
    std::vector<std::string> aliases = {};
};

/// The words that may stand last in `words`, whose last element is what has been typed of that
/// word, and may be empty, each once. They are subcommands, their choices, options and files, and
/// the names of devices; with `consoleTexts` also the words of console texts. Each comes with what
/// follows it: a blank, or "!" at the end of a console text, or nothing at the end of a subcommand,
/// behind a folder, and where there is more than one of these.
std::vector<std::string> Completion_candidates(std::span<const std::string> words,
                                               const DeviceNames& names, bool consoleTexts);

/// What all of these texts begin with.
std::string Completion_commonStart(std::span<const std::string> texts);

/// A candidate as it is typed at the prompt: in quotes where it holds blanks.
std::string Completion_typed(const std::string& candidate);

enum class Shell { kBash, kZsh, kFish };

/// A script that makes the shell complete avoipctl's words. It asks avoipctl itself.
std::string_view Completion_script(Shell shell);

}  // namespace avoip::ctl
