#include "protocol/request.hpp"

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "base/output.hpp"

namespace {

/// Refreshes the client's current address. Requests on several threads write it at the same time,
/// each of them the same text as a rule, so every character is stored for itself.
bool refreshAddress(ProtocolClient& client) {
    const char* interfaceName = client.interfaceName.c_str();
    FixedText<32> address{};
    if (Protocol_client_isDown(interfaceName) ||
        Protocol_client_getIfAddr(interfaceName, address.bytes.data()) < 0) {
        return false;
    }
    for (std::size_t i = 0; i < address.bytes.size(); ++i) {
        std::atomic_ref(client.currentAddress.bytes[i])
            .store(address.bytes[i], std::memory_order_relaxed);
    }
    return true;
}

/// The request's document as it is printed. Null without memory.
JsonText printed(const Request& request, const RequestRecord& record) {
    const JsonTree root = Protocol_client_buildRequest(record);
    if (request.addMembers) {
        request.addMembers(root.get());
    }
    JsonText text = Json_print(root.get());
    if (request.traced && text != nullptr) {
        Output_print("%s\n", text.get());
    }
    return text;
}

/// Sends the document and what follows it as one datagram.
std::int32_t sendDatagram(ProtocolClient* client, const Request& request, std::string_view text) {
    std::string whole;
    if (!request.trailer.empty()) {
        text = whole.append(text).append(request.trailer);
    }
    return Protocol_client_send(client, client->socket.peek(), text.data(), text.size());
}

}  // namespace

JsonTree Protocol_client_buildRequest(const RequestRecord& record) {
    JsonTree root = Json_newObject();
    cJSON* request = Json_addObject(root.get(), "request");
    Json_addText(request, "cmd", record.cmd.c_str());
    Json_addText(request, "hostid", record.hostid.c_str());
    cJSON* devices = Json_addArray(request, "device");
    for (std::int32_t i = 0; i < record.deviceCount; ++i) {
        const std::string id(record.devices[i].view());
        Json_addText(Json_appendObject(devices), "id", id.c_str());
    }
    return root;
}

std::optional<std::int32_t> Protocol_client_resultOfState(const ProtocolClient* client) {
    if (client == nullptr) {
        return -1;
    }
    if (client->state == kStateSkipping) {
        return 0;
    }
    if (client->state != kStateReady && client->state != kStateAlsoReady) {
        Output_print("client state(%d) err!\n", client->state);
        return -1;
    }
    return std::nullopt;
}

Started Protocol_client_startRequest(ProtocolClient* client, const Request& request,
                                     RequestRecord& record) {
    if (const auto result = Protocol_client_resultOfState(client)) {
        return *result == 0 ? Started::kSkipped : Started::kFailed;
    }
    if (!refreshAddress(*client)) {
        Output_print("pEthName(%s) get ip err!\n", client->interfaceName.c_str());
        return Started::kFailed;
    }
    record = RequestRecord{};
    record.cmd.set(request.cmd);
    record.hostid.set(client->hostIdentity.view());
    record.deviceCount = static_cast<std::int32_t>(request.devices.size());
    record.devices = request.devices.data();

    const JsonText document = printed(request, record);
    const std::string_view text = document != nullptr ? document.get() : "";
    if (const std::size_t size = text.size() + request.trailer.size(); size > request.sizeMax) {
        Output_print("%s: a datagram of %zu bytes is too long: at most %zu\n", request.cmd, size,
                     request.sizeMax);
        return Started::kFailed;
    }
    if (document == nullptr || sendDatagram(client, request, text) < 0) {
        Output_print("pEthName(%s) sendPacket err!\n", client->interfaceName.c_str());
        return Started::kFailed;
    }
    return Started::kSent;
}
