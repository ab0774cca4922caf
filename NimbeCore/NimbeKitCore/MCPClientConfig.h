#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace nimbe {

/// How an AI client's configuration names this program as a server of the Model Context
/// Protocol: an object whose member "mcpServers" has a member for each server,
/// {"command": …, "args": […]}. Pure: bytes in, bytes out.
///
/// What is written is UTF-8 without a byte order mark, laid out in lines, in every object
/// the members by the bytes of their keys. Numbers stay as they are written; of a member
/// given twice the last one stays, which is the one that readers take.
struct MCPClientConfig {
    static constexpr std::string_view serverName = "nimbe";
    static constexpr std::array<std::string_view, 1> arguments{"--mcp-stdio"};

    enum class ConfigError { notAJSONObject };

    /// The configuration with this program in it; an entry of its name is replaced
    /// entirely, everything else keeps its value. Absent and empty: nothing was there. The
    /// command is the executable's path, UTF-8.
    [[nodiscard]] static Result<std::string, ConfigError> merge(
        std::optional<std::string_view> existing, std::string_view command);

    /// The configuration without an entry of this program's name. Absent: it has none.
    [[nodiscard]] static Result<std::optional<std::string>, ConfigError> remove(
        std::string_view existing);

    /// Whether a client starts that command as this server. Never for what is not sound.
    [[nodiscard]] static bool isRegistered(
        std::optional<std::string_view> existing, std::string_view command);

    /// Which command a client starts as this server; absent: none.
    [[nodiscard]] static std::optional<std::string> registeredCommand(std::string_view existing);

    /// What registers the command with a client that is driven from the shell. The command
    /// stands as it is, without quotes.
    [[nodiscard]] static std::string cliCommand(std::string_view command);
};

} // namespace nimbe
