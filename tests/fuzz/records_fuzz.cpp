// The readers of the ack and of the five records, each with the input as the reply.
#include <cstring>
#include <string>

#include "fuzz/fuzz.hpp"
#include "protocol/records.hpp"

namespace {

template <typename Record>
void parse(std::int32_t (*parser)(const char* reply, Record& record), const std::string& reply) {
    constexpr std::size_t kWidth = sizeof(FixedText<32>);
    Record record{};
    const std::int32_t result = parser(reply.c_str(), record);
    fuzz::require(result == 0 || result == -1, "a parser returns 0 or -1");
    const char* texts = reinterpret_cast<const char*>(&record);
    for (std::size_t at = 0; at < sizeof record; at += kWidth) {
        fuzz::require(::strnlen(texts + at, kWidth) < kWidth, "a record's texts are terminated");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string reply(reinterpret_cast<const char*>(data), size);
    ReplyAck ack;
    Protocol_client_parseAck(ack, reply.c_str());
    fuzz::require(ack.deviceid().size() < 128, "no text leaves the ack");
    parse(Protocol_client_parseDevice, reply);
    parse(Protocol_client_parseTxParams, reply);
    parse(Protocol_client_parseRxParams, reply);
    parse(Protocol_client_parseSerialParams, reply);
    parse(Protocol_client_parseNetParams, reply);
    return 0;
}
