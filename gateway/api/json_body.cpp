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
    int deepest = 0;
    std::string text;
};

Scan scan(std::string_view text) {
    Scan scan;
    bool inText = false;
    int depth = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char letter = text[at];
        if (inText && text.substr(at).starts_with(kNulEscape)) {
            scan.text.append(kNulMark);
            at += kNulEscape.size() - 1;
            continue;
        }
        scan.text.push_back(letter);
        if (inText && letter == '\\' && at + 1 < text.size()) {
            scan.text.push_back(text[++at]);
        } else if (letter == '"') {
            inText = !inText;
        } else if (!inText && (letter == '{' || letter == '[')) {
            scan.deepest = std::max(scan.deepest, ++depth);
        } else if (!inText && (letter == '}' || letter == ']')) {
            --depth;
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
        throw Problem{422, std::string(field) + " must not hold a NUL.", std::string(field)};
    }
    std::set<std::string_view> keys;
    for (const cJSON* const item : Json_items(value)) {
        const std::string_view key = Json_isObject(value) ? Json_key(item) : field;
        if (Json_isObject(value) && !keys.insert(key).second) {
            throw Problem{400, "A member stands twice in the same object.", std::string(key)};
        }
        if (holdsNul(key)) {
            throw Problem{422, "A key must not hold a NUL.", std::string(field)};
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
    Json tree = Json_parse(scanned.text);
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
