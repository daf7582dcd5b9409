#include "gateway/api/description.hpp"

#include <algorithm>
#include <string_view>

#include "gateway/api/endpoint.hpp"
#include "lib/base/json.hpp"

namespace avoip::gw {

// Made of schemas.json when this is built.
extern const std::string_view kSchemas;

namespace {

constexpr std::string_view kJson = "application/json";
constexpr std::string_view kBytes = "application/octet-stream";

void addReference(cJSON* parent, std::string_view schema) {
    Json_addText(Json_addObject(parent, "schema"), "$ref",
                 std::string("#/components/schemas/").append(schema));
}

/// The content of one media type: a schema, or bytes.
void addContent(cJSON* parent, std::string_view type, std::string_view schema) {
    cJSON* const media =
        Json_addObject(Json_find(parent, "content") == nullptr ? Json_addObject(parent, "content")
                                                               : Json_find(parent, "content"),
                       type);
    if (!schema.empty()) {
        addReference(media, schema);
    }
}

/// Runs over the parts of a text that has a blank between two.
template <class Take>
void forEachPart(std::string_view text, Take take) {
    while (!text.empty()) {
        const std::string_view part = text.substr(0, text.find(' '));
        take(part);
        text.remove_prefix(std::min(part.size() + 1, text.size()));
    }
}

/// `place`: path, query or header.
void addParameter(cJSON* parameters, std::string_view name, std::string_view place,
                  std::string_view schema) {
    cJSON* const parameter = Json_appendObject(parameters);
    Json_addText(parameter, "name", name);
    Json_addText(parameter, "in", place);
    Json_addTruth(parameter, "required", place == "path");
    addReference(parameter, schema);
}

void addParameters(cJSON* operation, const Endpoint& endpoint) {
    cJSON* const parameters = Json_addArray(operation, "parameters");
    std::string_view path = endpoint.path;
    while (path.find('{') != std::string_view::npos) {
        path.remove_prefix(path.find('{') + 1);
        addParameter(parameters, path.substr(0, path.find('}')), "path", "Part");
    }
    forEachPart(endpoint.query, [parameters](std::string_view name) {
        addParameter(parameters, name, "query", std::string("Query_").append(name));
    });
    if (endpoint.response == kEventStream) {
        addParameter(parameters, "Last-Event-ID", "header", "LastEventId");
    }
}

void addBody(cJSON* operation, const Endpoint& endpoint) {
    if (endpoint.request.empty() && endpoint.body != BodyKind::kImage) {
        return;
    }
    cJSON* const body = Json_addObject(operation, "requestBody");
    Json_addTruth(body, "required", endpoint.body != BodyKind::kOptional);
    if (!endpoint.request.empty()) {
        addContent(body, kJson, endpoint.request);
    }
    if (endpoint.body == BodyKind::kImage || endpoint.body == BodyKind::kEdid) {
        addContent(body, kBytes, "");
    }
}

void addResponse(cJSON* responses, int status, const Endpoint& endpoint) {
    cJSON* const response = Json_addObject(responses, std::to_string(status));
    Json_addText(response, "description", status == 201 ? "It is new" : "It is done");
    const bool isSchema = endpoint.response.find('/') == std::string_view::npos;
    forEachPart(endpoint.response, [response, isSchema](std::string_view part) {
        addContent(response, isSchema ? kJson : part, isSchema ? part : "");
    });
    if (endpoint.response == "Edid") {
        addContent(response, kBytes, "");
    }
}

void addOperation(cJSON* path, const Endpoint& endpoint) {
    std::string method(endpoint.method);
    for (char& letter : method) {
        letter = static_cast<char>(letter | 0x20);
    }
    cJSON* const operation = Json_addObject(path, method);
    Json_addText(operation, "operationId", endpoint.name);
    Json_addText(operation, "summary", endpoint.summary);
    addParameters(operation, endpoint);
    addBody(operation, endpoint);
    cJSON* const responses = Json_addObject(operation, "responses");
    addResponse(responses, endpoint.status, endpoint);
    if (endpoint.otherStatus != 0) {
        addResponse(responses, endpoint.otherStatus, endpoint);
    }
    cJSON* const problem = Json_addObject(responses, "default");
    Json_addText(problem, "description", "Why it is not done");
    addContent(problem, "application/problem+json", "Problem");
    if (endpoint.access == Access::kAnybody) {
        Json_addArray(operation, "security");
    }
}

}  // namespace

std::string Description_text(const std::string& version) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "openapi", "3.1.0");
    cJSON* const info = Json_addObject(root.get(), "info");
    Json_addText(info, "title", "avoipgw");
    Json_addText(info, "version", version);
    cJSON* const paths = Json_addObject(root.get(), "paths");
    for (const Endpoint& endpoint : Endpoint_all()) {
        cJSON* path = Json_find(paths, endpoint.path);
        addOperation(path == nullptr ? Json_addObject(paths, endpoint.path) : path, endpoint);
    }
    Json_addPrinted(root.get(), "components", kSchemas);
    Json_addPrinted(root.get(), "security", R"([{"token":[]},{"session":[],"csrf":[]},{}])");
    return Json_print(root.get());
}

}  // namespace avoip::gw
