#include "avoipctl/edid.hpp"

#include <cstdio>
#include <vector>

#include "avoipctl/table.hpp"
#include "lib/base/printable.hpp"

namespace avoip::ctl {

std::string Edid_hexDump(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kPerLine = 16;
    std::string out;
    char text[24];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % kPerLine == 0) {
            std::snprintf(text, sizeof text, "%04zx ", i);
            out += text;
        }
        std::snprintf(text, sizeof text, " %02x", unsigned{bytes[i]});
        out += text;
        if (i % kPerLine == kPerLine - 1 || i + 1 == bytes.size()) {
            out += '\n';
        }
    }
    return out;
}

std::string Edid_text(std::string_view hex) {
    const std::vector<std::uint8_t> bytes = Edid_bytes(hex);
    if (bytes.empty()) {
        return hex.empty() ? "no EDID\n" : "not hexadecimal: " + Printable_text(hex) + "\n";
    }
    EdidFacts facts;
    if (!Edid_read(bytes, facts)) {
        return "not an EDID, " + std::to_string(bytes.size()) + " bytes\n\n" + Edid_hexDump(bytes);
    }
    const std::vector<std::string> lines[] = {
        {"manufacturer", facts.manufacturer},
        {"product", facts.product},
        {"serial number", facts.serial},
        {"made", facts.made},
        {"preferred mode", facts.preferredMode.empty() ? "none" : facts.preferredMode},
        {"size", std::to_string(bytes.size()) + " bytes"},
        {"checksum", facts.checksumIsRight ? "right" : "wrong"},
    };
    return Table_print({}, lines) + "\n" + Edid_hexDump(bytes);
}

}  // namespace avoip::ctl
