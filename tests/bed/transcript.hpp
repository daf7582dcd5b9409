// What was recorded of the console: lines, and what came of each. tests/transcripts/README.md has
// the marks of the files, and says which folder of them holds what.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bed {

/// A console line and what came of it.
struct Recorded {
    std::string line;
    std::vector<std::string> cable{};    ///< datagrams in their order, as "-> " or "<- ADDRESS "
    std::vector<std::string> printed{};  ///< lines that the daemon printed
    std::string answer{};
};

/// The names of the sessions, in the order of the alphabet: "aliases", "edid" and so on. Each is a
/// file of tests/transcripts, and has one of the same name in its folders "unsent" and "skipped".
std::vector<std::string> sessionNames();

/// The text of a file of tests/transcripts, such as "matrix" or "unsent/matrix"; throws when there
/// is none.
std::string transcript(const std::string& name);

/// What stands in that file.
std::vector<Recorded> records(const std::string& name);

/// What stands in the files of all sessions below a folder: "" for the sessions themselves, or
/// "unsent/" or "skipped/". Each console line counts where it stands first.
std::vector<Recorded> allRecords(const std::string& folder = "");

/// A record as it stands in a file.
std::string textOf(const Recorded& record);

/// The line that says so in the records of "unsent".
inline constexpr const char* kSendFailed = "pEthName(eth0.2) sendPacket err!";

/// A record of "unsent", in which the system refuses to send, as it is when something else stands
/// in the way: `reason` stands in place of that line then, or nothing where it is empty; without
/// `traced`, a request that is printed before it is sent is not printed.
Recorded failedBy(const Recorded& unsent, const std::string& reason, bool traced);

/// What was printed behind the line that every line begins with.
std::string printedBehind(const Recorded& record);

/// The lines of a text, without their ends.
std::vector<std::string> linesOf(std::string_view text);

/// Expects the file to hold `text`. With AVOIP_REBUILD_TRANSCRIPTS in the environment, writes it
/// there instead.
void expectTranscript(const std::string& name, const std::string& text);

}  // namespace bed
