// The configuration: a TOML file in which every key is optional, with its defaults.
//
// Reading it checks everything that can be told from the file alone: unknown keys, types, ranges
// and forms. What the machine then makes of it (a port that is taken, a folder that cannot be made)
// is found out by whoever uses it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/base/role.hpp"
#include "gateway/config/listen.hpp"

namespace avoip::gw {

inline constexpr std::string_view kDefaultConfigFile = "/etc/avoip/gateway.toml";

struct Config {
    std::string site = "main";
    std::string data = "/var/lib/avoip";
    struct {
        std::string address = "127.0.0.1:6888";
    } console;
    struct {
        std::vector<std::string> listen = {"127.0.0.1:8088"};
        std::string tlsCertificate;
        std::string tlsKey;
        bool open = false;
    } http;
    struct {
        int devices_s = 15;
        int routes_s = 10;
        int offlineAfter = 3;
    } poll;
    struct {
        int return_s = 300;
        int keep = 20;
        int parallel = 4;
    } firmware;
    struct {
        std::vector<std::string> broker;
        std::string username;
        std::string passwordFile;
        std::string caFile;
        std::string prefix = "avoip";
        bool homeAssistant = true;
        std::string homeAssistantPrefix = "homeassistant";
        std::string role = "operator";
    } mqtt;
    struct {
        int keepDays = 365;
    } log;
};

/// What is wrong with a configuration, as "FILE:LINE:COLUMN: what", one line.
struct ConfigError {
    std::string text;
};

/// Reads the text of a configuration; `name` is what errors call it. Throws ConfigError.
Config Config_parse(std::string_view text, const std::string& name);

/// Reads the file, or the default one, which may be missing, when none is named. Throws
/// ConfigError.
Config Config_read(const std::optional<std::string>& file);

/// The whole configuration as a file that reads as the same.
std::string Config_print(const Config& config);

}  // namespace avoip::gw
