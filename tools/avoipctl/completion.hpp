// Completion: which words may follow, at the prompt and in bash.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace avoip::ctl {

/// The words that may stand last in `words`, whose last element is what has been typed of that
/// word, and may be empty. They are subcommands, their choices and the given identities; with
/// `consoleTexts` also the words of console texts. Each comes with what follows it: a blank, or
/// "!" at the end of a console text, or nothing at the end of a subcommand.
std::vector<std::string> Completion_candidates(std::span<const std::string> words,
                                               std::span<const std::string> identities,
                                               bool consoleTexts);

/// What all of these texts begin with.
std::string Completion_commonStart(std::span<const std::string> texts);

/// A script that makes bash complete avoipctl's words. It asks avoipctl itself.
std::string Completion_bashScript();

}  // namespace avoip::ctl
