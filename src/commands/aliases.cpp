#include "commands/aliases.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "kit/finish.hpp"
#include "kit/scan.hpp"
#include "protocol/exchange.hpp"

namespace {

/// The two texts of a set command side by side, the alias first: 32 characters, then the identity.
/// The identity is stored first, so that a longer alias runs on into it. The room behind it takes
/// the longest text that a line can hold.
class AliasAndIdentity {
  public:
    void setIdentity(std::string_view text) { setAt(kIdentity, text); }
    void setAlias(std::string_view text) { setAt(kAlias, text); }
    [[nodiscard]] const char* identity() const { return &bytes_[kIdentity]; }
    [[nodiscard]] const char* alias() const { return &bytes_[kAlias]; }

  private:
    static constexpr std::size_t kAlias = 0;
    static constexpr std::size_t kIdentity = kAlias + 32;
    static constexpr std::size_t kLongest = 4095;

    void setAt(std::size_t offset, std::string_view text) {
        const std::size_t length = std::min(text.size(), kLongest);
        std::copy_n(text.data(), length, &bytes_[offset]);
        bytes_[offset + length] = '\0';
    }

    std::array<char, kIdentity + kLongest + 1> bytes_{};
};

}  // namespace

int Command_setDeviceAlias(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    AliasAndIdentity texts;
    texts.setIdentity(scan.skipWords(4).word());
    texts.setAlias(scan.rest());
    const DeviceId device = Scan_expanded(texts.identity());
    return Command_acknowledge(Protocol_client_setAlias(daemonClient, device, texts.alias()),
                               "Protocol_client_setAlias err!", "config set device alias", answer);
}

int Command_removeDeviceAlias(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_expanded(LineScan(line).skipWords(4).rest());
    return Command_acknowledge(Protocol_client_removeAlias(daemonClient, device),
                               "Protocol_client_removeAlias err!", "config remove device alias",
                               answer);
}

std::int32_t Protocol_client_setAlias(ProtocolClient* client, const DeviceId& device,
                                      const char* alias) {
    const auto addAlias = [alias](cJSON* root) {
        Json_addText(Json_addObject(root, "alias"), "name", alias);
    };
    return Protocol_client_oneWay(
        client, {.cmd = "config set alias", .devices = {&device, 1}, .addMembers = addAlias});
}

std::int32_t Protocol_client_removeAlias(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client, {.cmd = "config remove alias", .devices = {&device, 1}});
}
