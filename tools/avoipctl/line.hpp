// Lines of the prompt: their words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace avoip::ctl {

/// The words of `line`, which blanks separate. Single or double quotes keep blanks in a word, as in
/// a shell; a quote that is not closed reaches to the end of the line. A word that begins with "#"
/// begins a comment, which reaches to the end of the line.
std::vector<std::string> Line_words(std::string_view line);

/// Where the last word of `line` begins, its quotes included; the end of the line where that is a
/// blank.
std::size_t Line_lastWord(std::string_view line);

/// `line` without blanks, tabs and line ends at its ends.
std::string_view Line_trimmed(std::string_view line);

/// The words that are neither options nor values of options.
std::vector<std::string> Line_withoutOptions(const std::vector<std::string>& words);

}  // namespace avoip::ctl
