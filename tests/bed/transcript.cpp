#include "bed/transcript.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "bed/wait.hpp"

namespace bed {
namespace {

std::filesystem::path pathOf(const std::string& name) {
    return std::filesystem::path(AVOIP_TRANSCRIPTS) / (name + ".txt");
}

/// Takes one line of a file into the record that it belongs to.
void take(std::vector<Recorded>& records, const std::string& line) {
    const std::string mark = line.substr(0, line.find(' ') + 1);
    const std::string text = line.substr(mark.size());
    if (mark == "> ") {
        records.push_back({text});
    } else if (mark == "-> " || mark == "<- ") {
        records.back().cable.push_back(line);
    } else if (mark == "| ") {
        records.back().printed.push_back(text);
    } else if (mark == "= ") {
        records.back().answer = text;
    }
}

}  // namespace

std::vector<std::string> sessionNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(AVOIP_TRANSCRIPTS)) {
        if (entry.path().extension() == ".txt") {
            names.push_back(entry.path().stem());
        }
    }
    std::ranges::sort(names);
    return names;
}

std::string transcript(const std::string& name) {
    std::ifstream file(pathOf(name));
    std::stringstream text;
    text << file.rdbuf();
    if (!file) {
        throw Error("cannot read " + pathOf(name).string());
    }
    return text.str();
}

std::vector<Recorded> records(const std::string& name) {
    std::vector<Recorded> found;
    for (const std::string& line : linesOf(transcript(name))) {
        take(found, line);
    }
    return found;
}

std::vector<Recorded> allRecords(const std::string& folder) {
    std::vector<Recorded> all;
    std::set<std::string> seen;
    for (const std::string& name : sessionNames()) {
        for (Recorded& record : records(folder + name)) {
            if (seen.insert(record.line).second) {
                all.push_back(std::move(record));
            }
        }
    }
    return all;
}

std::string textOf(const Recorded& record) {
    std::string text = "> " + record.line + "\n";
    const auto append = [&](const char* mark, const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            text.append(mark).append(line).append("\n");
        }
    };
    append("", record.cable);
    append("| ", record.printed);
    return text + "= " + record.answer + "\n";
}

Recorded failedBy(const Recorded& unsent, const std::string& reason, bool traced) {
    Recorded failed{unsent.line, {}, {}, unsent.answer};
    for (const std::string& line : unsent.printed) {
        if (line == kSendFailed && !reason.empty()) {
            failed.printed.push_back(reason);
        } else if (line != kSendFailed && (traced || !line.starts_with("{\"request\""))) {
            failed.printed.push_back(line);
        }
    }
    return failed;
}

std::string printedBehind(const Recorded& record) {
    std::string text;
    for (std::size_t i = 1; i < record.printed.size(); ++i) {
        text += record.printed[i] + "\n";
    }
    return text;
}

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void expectTranscript(const std::string& name, const std::string& text) {
    if (std::getenv("AVOIP_REBUILD_TRANSCRIPTS") != nullptr) {
        std::filesystem::create_directories(pathOf(name).parent_path());
        std::ofstream(pathOf(name)) << text;
    } else {
        EXPECT_EQ(transcript(name), text)
            << pathOf(name) << ": where the new one is right, run scripts/transcripts";
    }
}

}  // namespace bed
