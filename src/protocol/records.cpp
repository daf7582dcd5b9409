#include "protocol/records.hpp"

#include <algorithm>

#include "protocol/reply.hpp"

namespace {

/// A field of a record, the key it is read from, and the line that says the key is missing.
template <typename Record>
struct Field {
    FixedText<32> Record::*field;
    const char* key;
    const char* missing;
};

constexpr Field<DeviceRecord> kDeviceFields[] = {
    {&DeviceRecord::deviceid, "deviceid", "get deviceid err!"},
    {&DeviceRecord::alias, "alias", "get alias err!"},
    {&DeviceRecord::devtype, "devtype", "get devtype err!"},
    {&DeviceRecord::devaddr, "devaddr", "get devaddr err!"},
    {&DeviceRecord::devnetmask, "devnetmask", "get devnetmask err!"},
    {&DeviceRecord::devgateway, "devgateway", "get devgateway err!"},
    {&DeviceRecord::devmac, "devmac", "get devmac err!"},
    {&DeviceRecord::status, "status", "get status err!"},
    {&DeviceRecord::version, "version", "get version err!"},
};

// From here on many fields report the device identity as missing (kept: copied-missing-messages).
constexpr Field<EncodeParams> kTxParamsFields[] = {
    {&EncodeParams::deviceid, "deviceid", "get deviceid err!"},
    {&EncodeParams::alias, "alias", "get deviceid err!"},
    {&EncodeParams::enctype, "enctype", "get deviceid err!"},
    {&EncodeParams::encres, "encres", "get deviceid err!"},
    {&EncodeParams::fps, "fps", "get deviceid err!"},
    {&EncodeParams::ratecontrol, "ratecontrol", "get deviceid err!"},
    {&EncodeParams::bitrate, "bitrate", "get deviceid err!"},
    {&EncodeParams::audioinput, "audioinput", "get deviceid err!"},
    {&EncodeParams::audiocodec, "audiocodec", "get deviceid err!"},
    {&EncodeParams::audiofreq, "audiofreq", "get deviceid err!"},
    {&EncodeParams::audiobitrate, "audiobitrate", "get deviceid err!"},
    {&EncodeParams::videoresstatus, "videoresstatus", "get deviceid err!"},
    {&EncodeParams::hdcpstatus, "hdcpstatus", "get deviceid err!"},
};

constexpr Field<DecodeParams> kRxParamsFields[] = {
    {&DecodeParams::deviceid, "deviceid", "get deviceid err!"},
    {&DecodeParams::alias, "alias", "get alias err!"},
    {&DecodeParams::luma, "luma", "get luma err!"},
    {&DecodeParams::contrast, "contrast", "get contrast err!"},
    {&DecodeParams::hue, "hue", "get hue err!"},
    {&DecodeParams::saturation, "saturation", "get saturation err!"},
    {&DecodeParams::videoformat, "videoformat", "get videoformat err!"},
    {&DecodeParams::videoresstatus, "videoresstatus", "get deviceid err!"},
    {&DecodeParams::hdcpstatus, "hdcpstatus", "get deviceid err!"},
};

constexpr Field<SerialParams> kSerialParamsFields[] = {
    {&SerialParams::baudrate, "baudrate", "get deviceid err!"},
    {&SerialParams::databits, "databits", "get deviceid err!"},
    {&SerialParams::parity, "parity", "get deviceid err!"},
    {&SerialParams::stopbits, "stopbits", "get deviceid err!"},
};

constexpr Field<NetParams> kNetParamsFields[] = {
    {&NetParams::hdcpserver, "hdcpserver", "get deviceid err!"},
    {&NetParams::isStatic, "static", "get deviceid err!"},
    {&NetParams::devaddr, "devaddr", "get deviceid err!"},
    {&NetParams::devnetmask, "devnetmask", "get deviceid err!"},
    {&NetParams::devgateway, "devgateway", "get deviceid err!"},
    {&NetParams::devmac, "devmac", "get deviceid err!"},
};

struct AckField {
    const char* key;
    void (ReplyAck::*set)(std::string_view);
    const char* missing;
};

constexpr AckField kAckFields[] = {
    {"cmd", &ReplyAck::setCmd, "get cmd err!"},
    {"status", &ReplyAck::setStatus, "get status err!"},
    {"hostid", &ReplyAck::setHostid, "get hostid err!"},
    {"deviceid", &ReplyAck::setDeviceid, "get deviceid err!"},
};

/// Reads a record. A missing object is reported as "device" whatever its key
/// (kept: copied-missing-messages).
template <typename Record, std::size_t kCount>
std::int32_t readRecord(const cJSON* reply, const char* objectKey,
                        const Field<Record> (&fields)[kCount], Record& record) {
    return Reply_readObject(reply, objectKey, "get device err!",
                            std::span<const Field<Record>>(fields),
                            [&record](const Field<Record>& field, const char* text) {
                                (record.*field.field).set(text);
                            });
}

/// Reads a record from a reply's text.
template <typename Record>
std::int32_t parse(const char* reply, Record& record,
                   std::int32_t (*read)(const cJSON* reply, Record& record)) {
    return Reply_take(Reply_parse(reply),
                      [&](const cJSON* document) { return read(document, record); });
}

}  // namespace

void ReplyAck::setAt(std::size_t offset, std::string_view text) {
    const std::size_t length = std::min(text.size(), kBound - 1);
    std::copy_n(text.data(), length, &bytes_[offset]);
    bytes_[offset + length] = '\0';
}

std::int32_t Protocol_client_readAck(const cJSON* reply, ReplyAck& ack) {
    return Reply_readObject(
        reply, "ack", "get ack err!", std::span<const AckField>(kAckFields),
        [&ack](const AckField& field, const char* text) { (ack.*field.set)(text); });
}

std::int32_t Protocol_client_readDevice(const cJSON* reply, DeviceRecord& record) {
    return readRecord(reply, "device", kDeviceFields, record);
}

std::int32_t Protocol_client_readTxParams(const cJSON* reply, EncodeParams& record) {
    return readRecord(reply, "txparams", kTxParamsFields, record);
}

std::int32_t Protocol_client_readRxParams(const cJSON* reply, DecodeParams& record) {
    return readRecord(reply, "rxparams", kRxParamsFields, record);
}

std::int32_t Protocol_client_readSerialParams(const cJSON* reply, SerialParams& record) {
    return readRecord(reply, "serialparams", kSerialParamsFields, record);
}

std::int32_t Protocol_client_readNetParams(const cJSON* reply, NetParams& record) {
    return readRecord(reply, "netparams", kNetParamsFields, record);
}

std::int32_t Protocol_client_parseAck(ReplyAck& ack, const char* reply) {
    return parse(reply, ack, Protocol_client_readAck);
}

std::int32_t Protocol_client_parseDevice(const char* reply, DeviceRecord& record) {
    return parse(reply, record, Protocol_client_readDevice);
}

std::int32_t Protocol_client_parseTxParams(const char* reply, EncodeParams& record) {
    return parse(reply, record, Protocol_client_readTxParams);
}

std::int32_t Protocol_client_parseRxParams(const char* reply, DecodeParams& record) {
    return parse(reply, record, Protocol_client_readRxParams);
}

std::int32_t Protocol_client_parseSerialParams(const char* reply, SerialParams& record) {
    return parse(reply, record, Protocol_client_readSerialParams);
}

std::int32_t Protocol_client_parseNetParams(const char* reply, NetParams& record) {
    return parse(reply, record, Protocol_client_readNetParams);
}
