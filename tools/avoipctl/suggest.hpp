// "Did you mean": the words that were probably meant by one that is not known.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip::ctl {

/// How many letters have to be added, dropped, changed or swapped with their neighbour to make `b`
/// of `a`.
std::size_t Suggest_distance(std::string_view a, std::string_view b);

/// The candidates that are nearest to `word`, in their order; none when all are too far off.
std::vector<std::string_view> Suggest_nearest(std::string_view word,
                                              std::span<const std::string_view> candidates);

/// "Did you mean "a" or "b"?", nothing when there is nothing to suggest.
std::string Suggest_question(std::span<const std::string_view> words);

/// The question for a console text that no command of the catalogue begins: its first words are
/// compared with each command's.
std::string Suggest_forConsoleText(std::string_view text);

}  // namespace avoip::ctl
