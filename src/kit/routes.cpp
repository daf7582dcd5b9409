#include "kit/routes.hpp"

#include <utility>

#include "base/output.hpp"
#include "kit/answer.hpp"
#include "kit/record_requests.hpp"
#include "protocol/exchange.hpp"

namespace {

/// The line that says what the reply lacks; null when it has the route, which is then in `txid`.
const char* readRoute(const cJSON* reply, const RouteQuery& query, DeviceId& txid) {
    const cJSON* route = Json_find(reply, query.key);
    if (route == nullptr) {
        return query.objectMissing;
    }
    if (Json_find(route, "rxid") == nullptr) {
        return query.rxidMissing;
    }
    const cJSON* source = Json_find(route, "txid");
    if (source == nullptr) {
        return query.txidMissing;
    }
    txid.set(Json_text(source));
    return nullptr;
}

std::int32_t readReply(const char* reply, const RouteQuery& query, DeviceId& txid) {
    JsonTree tree = Json_parse(reply);
    if (tree == nullptr) {
        Output_print("cJSON_Parse err!\n");
        return query.resultWhenMissing;
    }
    const char* missing = readRoute(tree.get(), query, txid);
    if (missing == nullptr) {
        return 0;
    }
    Output_print("%s\n", missing);
    if (query.resultWhenMissing == 0) {
        // On purpose ("routeless-reply" in docs/kept-behaviours.md).
        Json_leaveUnreleased(std::move(tree));
    }
    return query.resultWhenMissing;
}

}  // namespace

std::int32_t Route_get(ProtocolClient* client, const DeviceId& device, const RouteQuery& query,
                       DeviceId& txid) {
    const auto read = [&](const char* reply) { return readReply(reply, query, txid); };
    return Protocol_client_singleReply(client, {.cmd = query.cmd, .devices = {&device, 1}},
                                       {.timeoutSeconds = kReplyTimeoutSeconds, .read = read});
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
