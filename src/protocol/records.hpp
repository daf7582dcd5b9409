// What devices reply: the acknowledgement that every reply carries, and the five records.
//
// Each is read from a reply's document (protocol/reply.hpp). A reader returns 0, or -1 after
// printing what was missing; the fields before the missing one are then written.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/fixed_text.hpp"
#include "base/json.hpp"

/// The "ack" of a reply: four texts side by side, 128, 32, 32 and 32 wide. Each is stored with the
/// bound of the first, so a status, hostid or deviceid of 32 characters or more runs on into what
/// stands behind it (kept: ack-runs-on). The room behind the last one belongs to the object, so
/// that it stays inside.
class ReplyAck {
  public:
    [[nodiscard]] std::string_view cmd() const { return textAt(kCmd); }
    [[nodiscard]] std::string_view status() const { return textAt(kStatus); }
    [[nodiscard]] std::string_view hostid() const { return textAt(kHostid); }
    [[nodiscard]] std::string_view deviceid() const { return textAt(kDeviceid); }

    void setCmd(std::string_view text) { setAt(kCmd, text); }
    void setStatus(std::string_view text) { setAt(kStatus, text); }
    void setHostid(std::string_view text) { setAt(kHostid, text); }
    void setDeviceid(std::string_view text) { setAt(kDeviceid, text); }

  private:
    static constexpr std::size_t kBound = 128;
    static constexpr std::size_t kCmd = 0;
    static constexpr std::size_t kStatus = kCmd + 128;
    static constexpr std::size_t kHostid = kStatus + 32;
    static constexpr std::size_t kDeviceid = kHostid + 32;

    [[nodiscard]] std::string_view textAt(std::size_t offset) const { return &bytes_[offset]; }
    void setAt(std::size_t offset, std::string_view text);

    std::array<char, kDeviceid + kBound> bytes_{};
};

/// One device as discovery reports it.
struct DeviceRecord {
    FixedText<32> deviceid, alias, devtype, devaddr, devnetmask, devgateway, devmac, status,
        version;
};

/// The parameters of an encoder.
struct EncodeParams {
    FixedText<32> deviceid, alias, enctype, encres, fps, ratecontrol, bitrate, audioinput,
        audiocodec, audiofreq, audiobitrate, videoresstatus, hdcpstatus;
};

/// The parameters of a decoder.
struct DecodeParams {
    FixedText<32> deviceid, alias, luma, contrast, hue, saturation, videoformat, videoresstatus,
        hdcpstatus;
};

/// The settings of a device's serial port.
struct SerialParams {
    FixedText<32> baudrate, databits, parity, stopbits;
};

/// The network settings of a device. `isStatic` travels as "static".
struct NetParams {
    FixedText<32> hdcpserver, isStatic, devaddr, devnetmask, devgateway, devmac;
};

std::int32_t Protocol_client_readAck(const cJSON* reply, ReplyAck& ack);
std::int32_t Protocol_client_readDevice(const cJSON* reply, DeviceRecord& record);
std::int32_t Protocol_client_readTxParams(const cJSON* reply, EncodeParams& record);
std::int32_t Protocol_client_readRxParams(const cJSON* reply, DecodeParams& record);
std::int32_t Protocol_client_readSerialParams(const cJSON* reply, SerialParams& record);
std::int32_t Protocol_client_readNetParams(const cJSON* reply, NetParams& record);

// The same from a reply's text. Each prints "cJSON_Parse err!" when that is no JSON, and leaves a
// document that cannot be read unreleased (kept: parser-leak).

std::int32_t Protocol_client_parseAck(ReplyAck& ack, const char* reply);
std::int32_t Protocol_client_parseDevice(const char* reply, DeviceRecord& record);
std::int32_t Protocol_client_parseTxParams(const char* reply, EncodeParams& record);
std::int32_t Protocol_client_parseRxParams(const char* reply, DecodeParams& record);
std::int32_t Protocol_client_parseSerialParams(const char* reply, SerialParams& record);
std::int32_t Protocol_client_parseNetParams(const char* reply, NetParams& record);

/// A field of a record under the key that a request or an answer gives it.
template <typename Record>
struct RecordMember {
    const char* key;
    FixedText<32> Record::*field;
};

/// Adds the fields of `record` to `object` as text members, in the order of the list.
template <typename Record>
void Record_addMembers(cJSON* object, const Record& record,
                       std::span<const RecordMember<Record>> members) {
    for (const auto& [key, field] : members) {
        Json_addText(object, key, (record.*field).c_str());
    }
}
