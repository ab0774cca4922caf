#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "NimbeMCP/ToolCalls.h"

namespace nimbe {

/// The Model Context Protocol (https://modelcontextprotocol.io) without a transport:
/// JSON-RPC 2.0, one message at a time. One thread.
class MCPServer {
public:
    /// For a client that names no version of the protocol; any that is named is taken.
    static constexpr std::string_view protocolVersion = "2025-06-18";

    /// Lent; must outlive this.
    MCPServer(ToolCalls& tools, std::string serverVersion);

    /// The answer, without a line break; absent where there is none: to notifications and
    /// to what is no request. A client's id comes back as the value that it was.
    [[nodiscard]] std::optional<std::string> handle(std::string_view line);

private:
    ToolCalls& tools;
    std::string serverVersion;

    [[nodiscard]] std::optional<std::string> resultOf(
        std::string_view method, const Json& parameters);
    [[nodiscard]] std::string initialize(const Json& parameters) const;
    [[nodiscard]] std::string callTool(const Json& parameters);
};

} // namespace nimbe
