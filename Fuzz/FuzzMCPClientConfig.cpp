#include <cstdint>
#include <string_view>

#include "Check.h"
#include "Foundation/Json.h"
#include "NimbeKitCore/MCPClientConfig.h"

namespace {

using nimbe::Json;

/// What is of others, sorted: without this program's entry, and without the servers when
/// it was the only one.
Json ofOthers(Json config) {
    config.sortMembers();
    auto* const servers = config.member("mcpServers");
    if (!servers) return config;
    servers->remove("nimbe");
    if (servers->asObject()->empty()) config.remove("mcpServers");
    return config;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using nimbe::MCPClientConfig;
    constexpr std::string_view command = "/opt/a b/\xC3\xA9/nimbe";
    const std::string_view existing(reinterpret_cast<const char*>(data), size);
    const auto merged = MCPClientConfig::merge(existing, command);
    const auto removed = MCPClientConfig::remove(existing);
    check(merged.has_value() == removed.has_value(), "both take the same for a configuration");
    if (!merged) {
        check(!MCPClientConfig::isRegistered(existing, command), "nothing stands in it then");
        return 0;
    }
    check(MCPClientConfig::isRegistered(*merged, command), "what is merged is registered");
    check(MCPClientConfig::merge(*merged, command) == merged, "merging twice changes nothing");
    const auto after = Json::parse(*merged);
    check(after.has_value(), "what is written can be read");
    const auto before = Json::parse(existing);
    if (!before) return 0; // empty, or with a byte order mark
    check(ofOthers(*before) == ofOthers(*after), "everything else is kept");

    const auto taken = MCPClientConfig::remove(*merged);
    check(taken && *taken, "and can be taken out again");
    check(ofOthers(Json::parse(**taken).value()) == ofOthers(*before), "with nothing else");
    check(!MCPClientConfig::remove(**taken).value(), "once");
    return 0;
}
