// The fleet's log: one JSON object a line, each with the time (UTC) and what happened, written out
// at once.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "avoipsim/device.hpp"
#include "lib/base/json.hpp"

namespace avoip::sim {

struct LogClose {
    void operator()(std::FILE* file) const;
};

/// Without a file nothing is logged.
struct Log {
    std::unique_ptr<std::FILE, LogClose> file;
};

/// Opens the log for appending; "-" is standard output. False when it cannot be opened (errno).
bool Log_open(Log& log, const std::string& path);

/// A new line, {"time":...,"event":EVENT}, for the caller to add to.
Json Log_begin(std::string_view event);
void Log_write(const Log& log, const Json& line);

/// Adds received bytes as text; false, with nothing added, where they are not printable UTF-8.
bool Log_addText(const Json& line, const char* key, std::string_view bytes);

/// Adds received bytes as upper-case hexadecimal digits.
void Log_addHex(const Json& line, const char* key, std::string_view bytes);

}  // namespace avoip::sim
