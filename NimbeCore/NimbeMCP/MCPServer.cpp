#include "NimbeMCP/MCPServer.h"

#include "NimbeMCP/JsonText.h"
#include "NimbeMCP/MCPTools.h"

namespace nimbe {
namespace {

/// The text stages count in 32 bits.
constexpr std::size_t longestLine = 0x7FFFFFFF;

std::string answer(const Json* id, std::string_view kind, std::string_view body) {
    const auto idText = id ? id->text() : "null";
    std::string json;
    json.reserve(body.size() + idText.size() + 64);
    json += R"({"jsonrpc":"2.0","id":)";
    json += idText;
    json += ",\"";
    json += kind;
    json += "\":";
    json += body;
    json += '}';
    return json;
}

std::string error(int code, std::string_view message) {
    std::string json = R"({"code":)" + std::to_string(code) + ',';
    jsonText::appendMember(json, "message", message);
    json += '}';
    return json;
}

const std::string* stringIn(const Json& object, std::string_view name) {
    const auto* value = object.member(name);
    return value ? value->asString() : nullptr;
}

/// The member when it is an object, or an empty one.
const Json& objectIn(const Json& object, std::string_view name) {
    static const Json none{Json::Object{}};
    const auto* value = object.member(name);
    return value && value->asObject() ? *value : none;
}

} // namespace

MCPServer::MCPServer(ToolCalls& tools, std::string serverVersion)
    : tools(tools), serverVersion(std::move(serverVersion)) {}

std::optional<std::string> MCPServer::handle(std::string_view line) {
    if (line.empty()) return std::nullopt;
    const auto parsed = line.size() <= longestLine ? Json::parse(line) : failure(JsonError{});
    if (!parsed) return answer(nullptr, "error", error(-32700, "Parse error"));
    const auto* method = stringIn(*parsed, "method");
    if (!method) return std::nullopt;
    const auto* id = parsed->member("id");
    if (const auto result = resultOf(*method, objectIn(*parsed, "params")))
        return answer(id, "result", *result);
    if (!id) return std::nullopt;
    return answer(id, "error", error(-32601, "Method not found: " + *method));
}

/// Absent for a method that is not known.
std::optional<std::string> MCPServer::resultOf(std::string_view method, const Json& parameters) {
    if (method == "tools/call") return callTool(parameters);
    if (method == "tools/list") {
        std::string list = R"({"tools":)";
        list += MCPTools::descriptors();
        return list + '}';
    }
    if (method == "initialize") return initialize(parameters);
    if (method == "ping") return "{}";
    return std::nullopt;
}

std::string MCPServer::initialize(const Json& parameters) const {
    const auto* wanted = stringIn(parameters, "protocolVersion");
    std::string json = "{";
    jsonText::appendMember(json, "protocolVersion", wanted ? *wanted : protocolVersion);
    json += R"(,"capabilities":{"tools":{}},"serverInfo":{"name":"nimbe",)";
    jsonText::appendMember(json, "version", serverVersion);
    return json + "}}";
}

std::string MCPServer::callTool(const Json& parameters) {
    const auto* name = stringIn(parameters, "name");
    return tools.call(name ? *name : std::string(), objectIn(parameters, "arguments"));
}

} // namespace nimbe
