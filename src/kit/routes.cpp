#include "kit/routes.hpp"

#include <utility>

#include "kit/answer.hpp"
#include "kit/record_requests.hpp"
#include "protocol/exchange.hpp"

namespace {

std::int32_t readRoute(JsonTree reply, const RouteQuery& query, DeviceId& txid) {
    // The receiving end must be there and is not looked at.
    const auto store = [&](const MemberName& member, const char* text) {
        if (&member == &query.members.back()) {
            txid.set(text);
        }
    };
    if (Reply_readObject<MemberName>(reply.get(), query.key, query.objectMissing, query.members,
                                     store) == 0) {
        return 0;
    }
    if (query.resultWhenMissing == 0) {
        // kept: routeless-reply
        Json_leaveUnreleased(std::move(reply));
    }
    return query.resultWhenMissing;
}

}  // namespace

std::int32_t Route_get(ProtocolClient* client, const DeviceId& device, const RouteQuery& query,
                       DeviceId& txid) {
    const auto read = [&](JsonTree reply) { return readRoute(std::move(reply), query, txid); };
    return Protocol_client_singleReply(client, {.cmd = query.cmd, .devices = {&device, 1}},
                                       {.timeout_s = kReplyTimeoutSeconds, .read = read});
}

std::int32_t Route_set(ProtocolClient* client, const DeviceId& device, const char* cmd,
                       const char* key, std::string_view txid) {
    const DeviceId source = Scan_id(txid);
    const auto addSource = [&](cJSON* root) {
        Json_addText(Json_addObject(root, key), "txid", source.c_str());
    };
    return Protocol_client_oneWay(client,
                                  {.cmd = cmd, .devices = {&device, 1}, .addMembers = addSource});
}

int Route_answer(const RouteQuery& query, std::string_view rxid, const DeviceId& txid,
                 char** answer) {
    const JsonTree root = Answer_success(query.cmd);
    cJSON* route = Answer_addSingle(root, query.key);
    Json_addText(route, "rxid", Scan_id(rxid).c_str());
    Json_addText(route, "txid", txid.c_str());
    Answer_store(root, *answer);
    return 0;
}
