// Firmware images, and the jobs that install them.
#include "gateway/api/handlers.hpp"
#include "gateway/api/json_body.hpp"
#include "gateway/state/json.hpp"
#include "gateway/store/images.hpp"

namespace avoip::gw::handlers {
namespace {

ImageFacts find(Gateway& gateway, const std::string& id) {
    const auto found = Image_find(gateway.store, id);
    if (!found) {
        throw unknown("image", id);
    }
    return *found;
}

DeviceType typeOf(const std::string& name) {
    for (const DeviceType type : {DeviceType::kEncoder, DeviceType::kDecoder}) {
        if (DeviceType_name(type) == name) {
            return type;
        }
    }
    return DeviceType::kUnknown;
}

/// Removes the oldest images beyond the number that is kept, but those that are in use and `fresh`.
void removeSurplus(Gateway& gateway, const std::string& fresh) {
    for (const std::string& id :
         Image_surplus(gateway.store, gateway.data, gateway.config.firmware.keep)) {
        if (id != fresh && !gateway.installations.uses(id)) {
            Image_remove(gateway.store, gateway.data, id);
        }
    }
}

}  // namespace

Response addImage(Gateway& gateway, Call& call) {
    const auto facts = call.upload->read();
    if (!facts) {
        throw Problem{422, "The file is no firmware image: it has no valid info block."};
    }
    call.target = facts->id;
    call.detail = facts->name + " " + facts->version;
    const std::lock_guard lock(gateway.keeping);
    const bool isNew = call.upload->keep(gateway.store, *facts);
    removeSurplus(gateway, facts->id);
    return Response_json(Image_json(*facts), isNew ? 201 : 200);
}

Response images(Gateway& gateway, Call& /*call*/) {
    std::vector<std::string> rows;
    for (const ImageFacts& each : Image_list(gateway.store)) {
        rows.push_back(Image_json(each));
    }
    return Response_json(collection(gateway, "firmware", rows));
}

Response image(Gateway& gateway, Call& call) {
    return Response_json(Image_json(find(gateway, call.parts.at(0))));
}

Response removeImage(Gateway& gateway, Call& call) {
    const std::string& id = call.parts.at(0);
    const std::lock_guard lock(gateway.keeping);
    find(gateway, id);
    if (gateway.installations.uses(id)) {
        throw Problem{409, "A job that is not over uses the image."};
    }
    Image_remove(gateway.store, gateway.data, id);
    return Response_empty();
}

Response install(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"devices"};
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    body.require("devices");
    const auto devices = body.texts("devices");
    check(body);
    const std::lock_guard lock(gateway.keeping);
    const ImageFacts facts = find(gateway, call.parts.at(0));
    const Image wanted{facts.id, facts.name, typeOf(facts.type), facts.version,
                       Image_path(gateway.data, facts.id)};
    const Job begun = take(gateway.installations.begin(wanted, *devices));
    call.detail = "job " + begun.id;
    Response response = Response_json(Job_json(begun), 202);
    response.headers.emplace_back("Location", "/api/v1/jobs/" + begun.id);
    return response;
}

Response jobs(Gateway& gateway, Call& /*call*/) {
    return Response_json(gateway.state.with([](const State& state) { return Jobs_text(state); }));
}

Response job(Gateway& gateway, Call& call) {
    const std::string& id = call.parts.at(0);
    return Response_json(gateway.state.with([&id](const State& state) {
        const auto found = state.jobs.find(id);
        if (found == state.jobs.end()) {
            throw unknown("job", id);
        }
        return Job_json(found->second);
    }));
}

Response removeJob(Gateway& gateway, Call& call) {
    take(gateway.installations.remove(call.parts.at(0)));
    return Response_empty();
}

}  // namespace avoip::gw::handlers
