#include "gateway/api/json_body.hpp"

#include <algorithm>
#include <set>

#include "gateway/base/text.hpp"
#include "gateway/operations/outcome.hpp"

namespace avoip::gw {
namespace {

// The JSON library ends a text at a NUL. "\u0000" is therefore exchanged for a character that no
// text may hold, and whoever takes a text looks for that.
constexpr std::string_view kNulEscape = "\\u0000";
constexpr std::string_view kNulMark = "\\ufdd0";
constexpr std::string_view kNulMarkBytes = "\xEF\xB7\x90";

/// What is read of a JSON text before the JSON library sees it.
struct Scan {
    int depth = 0;
    int deepest = 0;
    bool strict = true;  ///< without what the library takes beyond JSON
    std::string text;
};

bool isControl(char letter) {
    return static_cast<unsigned char>(letter) < 0x20;
}

/// Whether a number is written as JSON wants it: the library takes "02" and "2." too.
bool isNumber(std::string_view rest) {
    const auto take = [&rest](std::string_view letters) {
        const bool taken = !rest.empty() && letters.find(rest.front()) != std::string_view::npos;
        rest.remove_prefix(taken ? 1 : 0);
        return taken;
    };
    const auto takeDigits = [&take] {
        const bool taken = take("0123456789");
        while (take("0123456789")) {
        }
        return taken;
    };
    take("-");
    const bool whole = take("0") || takeDigits();
    const bool part = !take(".") || takeDigits();
    bool exponent = true;
    if (take("eE")) {
        take("+-");
        exponent = takeDigits();
    }
    return whole && part && exponent && rest.empty();
}

/// Takes the text between two quotes, from behind the first one; gives how long it is with the
/// second.
std::size_t scanText(std::string_view rest, Scan& scan) {
    for (std::size_t at = 0; at < rest.size(); ++at) {
        const char letter = rest[at];
        if (rest.substr(at).starts_with(kNulEscape)) {
            scan.text.append(kNulMark);
            at += kNulEscape.size() - 1;
            continue;
        }
        scan.text.push_back(letter);
        scan.strict = scan.strict && !isControl(letter);
        if (letter == '"') {
            return at + 1;
        }
        if (letter == '\\' && at + 1 < rest.size()) {
            scan.text.push_back(rest[++at]);
        }
    }
    return rest.size();
}

/// Takes a letter outside of texts, or a number as a whole; gives how long it is.
std::size_t scanOutside(std::string_view rest, Scan& scan) {
    const char letter = rest.front();
    if (letter == '-' || (letter >= '0' && letter <= '9')) {
        const std::string_view number = rest.substr(0, rest.find_first_not_of("+-.0123456789eE"));
        scan.strict = scan.strict && isNumber(number);
        scan.text.append(number);
        return number.size();
    }
    if (letter == '{' || letter == '[') {
        scan.deepest = std::max(scan.deepest, ++scan.depth);
    } else if (letter == '}' || letter == ']') {
        --scan.depth;
    }
    const bool isBlank = letter == '\t' || letter == '\n' || letter == '\r';
    // What is no ASCII is a byte order mark, or wrong in any case.
    scan.strict = scan.strict && (isBlank || (letter >= ' ' && letter <= '~'));
    scan.text.push_back(letter);
    return 1;
}

Scan scan(std::string_view text) {
    Scan scan;
    for (std::size_t at = 0; at < text.size();) {
        const bool quoted = text[at] == '"';
        at += scanOutside(text.substr(at), scan);
        if (quoted) {
            at += scanText(text.substr(at), scan);
        }
    }
    return scan;
}

bool holdsNul(std::string_view text) {
    return text.find(kNulMarkBytes) != std::string_view::npos;
}

/// Refuses a member that stands twice, and a NUL in a key or a text; `field` is the member that all
/// this belongs to.
void check(const cJSON* value, std::string_view field) {
    if (holdsNul(Json_text(value).value_or(""))) {
        throw Problem{422, std::string(field) + " must not hold a NUL or U+FDD0.",
                      std::string(field)};
    }
    std::set<std::string_view> keys;
    for (const cJSON* const item : Json_items(value)) {
        const std::string_view key = Json_isObject(value) ? Json_key(item) : field;
        if (Json_isObject(value) && !keys.insert(key).second) {
            throw Problem{400, "A member stands twice in the same object.", std::string(key)};
        }
        if (holdsNul(key)) {
            throw Problem{422, "A key must not hold a NUL or U+FDD0.", std::string(field)};
        }
        check(item, key);
    }
}

}  // namespace

Json Body_parse(std::string_view text, bool mayBeMissing) {
    if (text.empty() && mayBeMissing) {
        return Json_newObject();
    }
    if (!Text_isUtf8(text) || text.find('\0') != std::string_view::npos) {
        throw Problem{400, "The body is not UTF-8 text."};
    }
    const Scan scanned = scan(text);
    if (scanned.deepest > kBodyDepthMax) {
        throw Problem{400, "The body is nested too deeply."};
    }
    Json tree = scanned.strict ? Json_parse(scanned.text) : nullptr;
    if (tree == nullptr) {
        throw Problem{400, "The body is not JSON."};
    }
    check(tree.get(), "");
    if (!Json_isObject(tree.get())) {
        throw Problem{422, "The body must be a JSON object."};
    }
    return tree;
}

}  // namespace avoip::gw
