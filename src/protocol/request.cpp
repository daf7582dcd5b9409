#include "protocol/request.hpp"

#include <atomic>
#include <cstddef>
#include <string>

#include "base/output.hpp"

namespace {

/// Refreshes the client's current address. Requests on several threads write it at the same time,
/// each of them the same text as a rule, so every character is stored for itself.
bool refreshAddress(ProtocolClient& client) {
    FixedText<32> address{};
    if (Protocol_client_getIfAddr(client.interfaceName.c_str(), address.bytes.data()) < 0) {
        return false;
    }
    for (std::size_t i = 0; i < address.bytes.size(); ++i) {
        std::atomic_ref(client.currentAddress.bytes[i])
            .store(address.bytes[i], std::memory_order_relaxed);
    }
    return true;
}

/// The datagram's bytes: the document and what follows it. Empty without memory.
std::string datagram(const Request& request, const RequestRecord& record) {
    const JsonTree root = Protocol_client_buildRequest(record);
    if (request.addMembers) {
        request.addMembers(root.get());
    }
    const JsonText text = Json_print(root.get());
    if (text == nullptr) {
        return {};
    }
    if (request.traced) {
        Output_print("%s\n", text.get());
    }
    std::string bytes(text.get());
    bytes += request.trailer;
    return bytes;
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

Started Protocol_client_startRequest(ProtocolClient* client, const Request& request,
                                     RequestRecord& record) {
    if (client == nullptr) {
        return Started::kFailed;
    }
    if (client->state == kStateSkipping) {
        return Started::kSkipped;
    }
    if (client->state != kStateReady && client->state != kStateAlsoReady) {
        Output_print("client state(%d) err!\n", client->state);
        return Started::kFailed;
    }
    const char* interfaceName = client->interfaceName.c_str();
    if (!refreshAddress(*client)) {
        Output_print("pEthName(%s) get ip err!\n", interfaceName);
        return Started::kFailed;
    }
    record = RequestRecord{};
    record.cmd.set(request.cmd);
    record.hostid.set(client->hostIdentity.view());
    record.deviceCount = static_cast<std::int32_t>(request.devices.size());
    record.devices = request.devices.data();

    const std::string bytes = datagram(request, record);
    if (bytes.size() > request.sizeMax) {
        Output_print("%s: a datagram of %zu bytes is too long: at most %zu\n", request.cmd,
                     bytes.size(), request.sizeMax);
        return Started::kFailed;
    }
    if (Protocol_client_send(client, client->socket.peek(), bytes.data(), bytes.size()) < 0) {
        Output_print("pEthName(%s) sendPacket err!\n", interfaceName);
        return Started::kFailed;
    }
    return Started::kSent;
}
