#include "gateway/config/config.hpp"

#include <toml++/toml.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <variant>

namespace avoip::gw {
namespace {

using Texts = std::vector<std::string>;

/// A check gives what is wrong with a text, or nothing.
using Check = std::string (*)(const std::string&);

std::string anyText(const std::string& /*text*/) {
    return {};
}

std::string siteProblem(const std::string& text) {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789-";
    const bool fine =
        !text.empty() && text.size() <= 32 && text.find_first_not_of(kLetters) == std::string::npos;
    return fine ? "" : "must be 1 to 32 of the characters a-z, 0-9 and \"-\"";
}

std::string notEmpty(const std::string& text) {
    return text.empty() ? "must not be empty" : "";
}

std::string consoleProblem(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const bool fine =
        colon != std::string::npos && colon > 0 && Listen_port(text.substr(colon + 1));
    return fine ? "" : "must be an address and a port, such as 127.0.0.1:6888";
}

std::string listenProblem(const std::string& text) {
    return Listen_parse(text) ? ""
                              : "must be an IPv4 address or an [IPv6] address with a port, such as "
                                "127.0.0.1:8088, or unix:/path";
}

std::string brokerProblem(const std::string& text) {
    for (const std::string_view scheme : {"mqtt://", "mqtts://"}) {
        if (text.starts_with(scheme) && text.size() > scheme.size()) {
            return {};
        }
    }
    return "must be mqtt://host:port or mqtts://host:port";
}

std::string topicProblem(const std::string& text) {
    return text.empty() || text.find_first_of("+#") != std::string::npos
               ? "must be a topic without \"+\" and \"#\""
               : "";
}

std::string roleProblem(const std::string& text) {
    return Role_find(text) ? "" : "must be viewer, operator or admin";
}

struct TextKey {
    std::string* value;
    Check check = anyText;
};
struct TextsKey {
    Texts* value;
    Check check;
    bool mayBeEmpty;
};
struct NumberKey {
    int* value;
    int minimum;
    int maximum;
};
struct BoolKey {
    bool* value;
};

/// One key of the file: its table, empty for the top, its name, and where its value goes.
struct Key {
    std::string_view table;
    std::string_view name;
    std::variant<TextKey, TextsKey, NumberKey, BoolKey> kind;
};

constexpr int kDayS = 86400;

/// Every key there is, in the order in which they are printed.
std::vector<Key> keys(Config& config) {
    return {
        {"", "site", TextKey{&config.site, siteProblem}},
        {"", "data", TextKey{&config.data, notEmpty}},
        {"console", "address", TextKey{&config.console.address, consoleProblem}},
        {"http", "listen", TextsKey{&config.http.listen, listenProblem, false}},
        {"http", "tls_certificate", TextKey{&config.http.tlsCertificate}},
        {"http", "tls_key", TextKey{&config.http.tlsKey}},
        {"http", "open", BoolKey{&config.http.open}},
        {"poll", "devices_s", NumberKey{&config.poll.devices_s, 1, kDayS}},
        {"poll", "routes_s", NumberKey{&config.poll.routes_s, 1, kDayS}},
        {"poll", "offline_after", NumberKey{&config.poll.offlineAfter, 1, 1000}},
        {"firmware", "return_s", NumberKey{&config.firmware.return_s, 1, kDayS}},
        {"firmware", "keep", NumberKey{&config.firmware.keep, 1, 1000}},
        {"firmware", "parallel", NumberKey{&config.firmware.parallel, 1, 64}},
        {"mqtt", "broker", TextsKey{&config.mqtt.broker, brokerProblem, true}},
        {"mqtt", "username", TextKey{&config.mqtt.username}},
        {"mqtt", "password_file", TextKey{&config.mqtt.passwordFile}},
        {"mqtt", "ca_file", TextKey{&config.mqtt.caFile}},
        {"mqtt", "prefix", TextKey{&config.mqtt.prefix, topicProblem}},
        {"mqtt", "home_assistant", BoolKey{&config.mqtt.homeAssistant}},
        {"mqtt", "home_assistant_prefix", TextKey{&config.mqtt.homeAssistantPrefix, topicProblem}},
        {"mqtt", "role", TextKey{&config.mqtt.role, roleProblem}},
        {"log", "keep_days", NumberKey{&config.log.keepDays, 1, 36500}},
    };
}

/// The file's name, for errors.
struct Source {
    const std::string& name;

    [[noreturn]] void fail(const toml::source_position& at, const std::string& what) const {
        throw ConfigError{name + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) +
                          ": " + what};
    }
};

std::string fullName(const Key& key) {
    return key.table.empty() ? std::string(key.name)
                             : std::string(key.table).append(".").append(key.name);
}

std::string takeText(const Source& source, const std::string& name, const toml::node& node,
                     Check check) {
    const auto* const text = node.as_string();
    if (text == nullptr) {
        source.fail(node.source().begin, name + " must be a text in quotes");
    }
    const std::string problem =
        text->get().find('\0') == std::string::npos ? check(text->get()) : "must not hold a NUL";
    if (!problem.empty()) {
        source.fail(node.source().begin, name + " " + problem);
    }
    return text->get();
}

void take(const Source& source, const std::string& name, const toml::node& node, TextKey& key) {
    *key.value = takeText(source, name, node, key.check);
}

void take(const Source& source, const std::string& name, const toml::node& node, TextsKey& key) {
    const toml::array* const items = node.as_array();
    if (items == nullptr) {
        source.fail(node.source().begin, name + " must be a list of texts: [\"...\"]");
    }
    if (items->empty() && !key.mayBeEmpty) {
        source.fail(node.source().begin, name + " must not be empty");
    }
    key.value->clear();
    for (const toml::node& item : *items) {
        key.value->push_back(takeText(source, name, item, key.check));
    }
}

void take(const Source& source, const std::string& name, const toml::node& node, NumberKey& key) {
    const auto* const number = node.as_integer();
    if (number == nullptr || number->get() < key.minimum || number->get() > key.maximum) {
        source.fail(node.source().begin, name + " must be a whole number from " +
                                             std::to_string(key.minimum) + " to " +
                                             std::to_string(key.maximum));
    }
    *key.value = static_cast<int>(number->get());
}

void take(const Source& source, const std::string& name, const toml::node& node, BoolKey& key) {
    const auto* const value = node.as_boolean();
    if (value == nullptr) {
        source.fail(node.source().begin, name + " must be true or false");
    }
    *key.value = value->get();
}

/// Takes the values of one table; `below` says whether keys of that name are tables themselves.
void takeTable(const Source& source, std::vector<Key>& all, std::string_view table,
               const toml::table& values) {
    for (const auto& [name, node] : values) {
        const auto isTable = [&name = name](const Key& key) { return key.table == name.str(); };
        if (table.empty() && std::any_of(all.begin(), all.end(), isTable)) {
            if (node.as_table() == nullptr) {
                source.fail(node.source().begin, std::string(name) + " must be a table");
            }
            takeTable(source, all, name.str(), *node.as_table());
            continue;
        }
        const auto found = std::find_if(all.begin(), all.end(), [&, &name = name](const Key& key) {
            return key.table == table && key.name == name.str();
        });
        if (found == all.end()) {
            const std::string place = table.empty() ? "" : std::string(table) + ".";
            source.fail(name.source().begin, name.str() == "campus" && table.empty()
                                                 ? "this version serves no campus of many sites"
                                                 : "unknown key " + place + std::string(name));
        }
        std::visit([&, &node = node](auto& kind) { take(source, fullName(*found), node, kind); },
                   found->kind);
    }
}

std::string literal(const std::string& text) {
    std::ostringstream out;
    out << toml::value<std::string>(text);
    return out.str();
}

std::string printed(const TextKey& key) {
    return literal(*key.value);
}

std::string printed(const TextsKey& key) {
    std::string text = "[";
    for (const std::string& item : *key.value) {
        text.append(text.size() > 1 ? ", " : "").append(literal(item));
    }
    return text + "]";
}

std::string printed(const NumberKey& key) {
    return std::to_string(*key.value);
}

std::string printed(const BoolKey& key) {
    return *key.value ? "true" : "false";
}

}  // namespace

Config Config_parse(std::string_view text, const std::string& name) {
    const Source source{name};
    toml::table file;
    try {
        file = toml::parse(text);
    } catch (const toml::parse_error& error) {
        source.fail(error.source().begin, std::string(error.description()));
    }
    Config config;
    std::vector<Key> all = keys(config);
    takeTable(source, all, "", file);
    if (config.http.tlsCertificate.empty() != config.http.tlsKey.empty()) {
        const bool hasKey = config.http.tlsCertificate.empty();
        source.fail(file["http"][hasKey ? "tls_key" : "tls_certificate"].node()->source().begin,
                    hasKey ? "http.tls_key needs http.tls_certificate beside it"
                           : "http.tls_certificate needs http.tls_key beside it");
    }
    return config;
}

Config Config_read(const std::optional<std::string>& file) {
    const std::string name = file.value_or(std::string(kDefaultConfigFile));
    std::error_code error;
    if (!file && !std::filesystem::exists(name, error)) {
        return {};
    }
    // Before it is opened: reading a folder throws.
    if (std::filesystem::is_directory(name, error)) {
        throw ConfigError{name + ": this is a folder, and has to be a file"};
    }
    std::ifstream in(name, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in.good()) {
        throw ConfigError{name + ": the file cannot be read"};
    }
    return Config_parse(text, name);
}

std::string Config_print(const Config& config) {
    Config copy = config;
    std::string text;
    std::string_view table;
    for (const Key& key : keys(copy)) {
        if (key.table != table) {
            table = key.table;
            text.append("\n[").append(table).append("]\n");
        }
        text.append(key.name).append(" = ");
        text.append(std::visit([](const auto& kind) { return printed(kind); }, key.kind));
        text.append("\n");
    }
    return text;
}

}  // namespace avoip::gw
