#include "NimbeKitCore/MCPClientConfig.h"

#include <algorithm>
#include <utility>

#include "Foundation/Json.h"

namespace nimbe {
namespace {

constexpr std::string_view servers = "mcpServers";

/// Absent: no object, or one whose servers are none.
std::optional<Json> parse(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    if (text.empty()) return Json(Json::Object{});
    auto config = Json::parse(text);
    if (!config || !config->asObject()) return std::nullopt;
    const auto* named = config->member(servers);
    if (named && !named->asObject()) return std::nullopt;
    return std::move(*config);
}

std::string written(Json config) {
    config.sortMembers();
    return config.text(Json::Layout::pretty);
}

bool isOurs(const Json* list) {
    const auto* elements = list ? list->asArray() : nullptr;
    if (!elements) return false;
    const auto isText = [](const Json& element) {
        return element.asString() != nullptr;
    };
    const auto isSwitch = [](const Json& element) {
        return element.asString() && *element.asString() == MCPClientConfig::arguments.front();
    };
    return std::all_of(elements->begin(), elements->end(), isText) &&
           std::any_of(elements->begin(), elements->end(), isSwitch);
}

} // namespace

Result<std::string, MCPClientConfig::ConfigError> MCPClientConfig::merge(
    std::optional<std::string_view> existing, std::string_view command) {
    auto config = parse(existing.value_or(""));
    if (!config) return failure(ConfigError::notAJSONObject);
    Json::Array words;
    for (const auto argument : arguments) words.push_back(Json(argument));
    Json entry;
    entry.set("command", Json(command));
    entry.set("args", Json(std::move(words)));
    if (!config->member(servers)) config->set(servers, Json(Json::Object{}));
    config->member(servers)->set(serverName, std::move(entry));
    return written(std::move(*config));
}

Result<std::optional<std::string>, MCPClientConfig::ConfigError> MCPClientConfig::remove(
    std::string_view existing) {
    auto config = parse(existing);
    if (!config) return failure(ConfigError::notAJSONObject);
    auto* const named = config->member(servers);
    if (!named || !named->member(serverName)) return std::optional<std::string>();
    named->remove(serverName);
    return std::optional(written(std::move(*config)));
}

bool MCPClientConfig::isRegistered(
    std::optional<std::string_view> existing, std::string_view command) {
    return existing && registeredCommand(*existing) == command;
}

std::optional<std::string> MCPClientConfig::registeredCommand(std::string_view existing) {
    const auto config = parse(existing);
    const auto* const named = config ? config->member(servers) : nullptr;
    const auto* const entry = named ? named->member(serverName) : nullptr;
    const auto* const command = entry ? entry->member("command") : nullptr;
    if (!command || !command->asString() || !isOurs(entry->member("args"))) return std::nullopt;
    return *command->asString();
}

std::string MCPClientConfig::cliCommand(std::string_view command) {
    std::string line = "claude mcp add ";
    line.append(serverName).append(" -- ").append(command);
    for (const auto argument : arguments) line.append(" ").append(argument);
    return line;
}

} // namespace nimbe
