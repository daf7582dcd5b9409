#include "avoipsim/log.hpp"

#include <chrono>
#include <ctime>

namespace avoip::sim {
namespace {

std::string timeText() {
    using std::chrono::milliseconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ms = std::chrono::duration_cast<milliseconds>(now).count();
    const auto seconds = static_cast<std::time_t>(ms / 1000);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03dZ", date, static_cast<int>(ms % 1000));
    return text;
}

/// Length of the UTF-8 character that starts with `lead`; 0 for bytes that start none.
std::size_t characterLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead < 0xE0) {
        return 2;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        return 3;
    }
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

bool isPrintable(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto lead = static_cast<unsigned char>(bytes.front());
        const std::size_t length = characterLength(lead);
        if (length == 0 || length > bytes.size() || lead < 0x20 || lead == 0x7F) {
            return false;
        }
        for (std::size_t i = 1; i < length; ++i) {
            if ((static_cast<unsigned char>(bytes[i]) & 0xC0U) != 0x80U) {
                return false;
            }
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string hexText(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += kDigits[value >> 4U];
        text += kDigits[value & 0xFU];
    }
    return text;
}

}  // namespace

void LogClose::operator()(std::FILE* file) const {
    if (file != stdout) {
        std::fclose(file);
    }
}

bool Log_open(Log& log, const std::string& path) {
    log.file.reset(path == "-" ? stdout : std::fopen(path.c_str(), "ae"));
    return log.file != nullptr;
}

Json Log_begin(std::string_view event) {
    Json line = Json_newObject();
    Json_addText(line.get(), "time", timeText());
    Json_addText(line.get(), "event", event);
    return line;
}

void Log_write(const Log& log, const Json& line) {
    if (log.file != nullptr) {
        std::fprintf(log.file.get(), "%s\n", Json_print(line.get()).c_str());
        std::fflush(log.file.get());
    }
}

bool Log_addText(const Json& line, const char* key, std::string_view bytes) {
    if (!isPrintable(bytes)) {
        return false;
    }
    Json_addText(line.get(), key, bytes);
    return true;
}

void Log_addHex(const Json& line, const char* key, std::string_view bytes) {
    Json_addText(line.get(), key, hexText(bytes));
}

}  // namespace avoip::sim
