#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "NimbeMCP/MCPServer.h"

namespace nimbe {

/// The two ends of a connection that carries bytes.
class ByteChannel {
public:
    virtual ~ByteChannel() = default;

    /// Blocks until something is there; how much was read, 0 at the end or when it fails.
    [[nodiscard]] virtual std::size_t read(std::span<char> into) = 0;
    /// Writes all of it; false when nobody reads any more.
    [[nodiscard]] virtual bool write(std::string_view bytes) = 0;
    /// A moment at which much memory has become free.
    virtual void memoryBecameFree() = 0;
};

/// Lines in, lines out, in their order. A line may have any length and end in a carriage
/// return and a line feed; an empty one is passed over, and the last one counts without its
/// line break too.
class MCPStdioLoop {
public:
    MCPStdioLoop(MCPServer& server, ByteChannel& channel) : server(server), channel(channel) {}

    /// Until the input ends or the client reads no more.
    void run();

private:
    MCPServer& server;
    ByteChannel& channel;
    std::string unfinished; // the line of which the end is still to come
    std::string answers;    // not written yet

    [[nodiscard]] bool take(std::string_view bytes);
    [[nodiscard]] bool answer(std::string_view line);
    [[nodiscard]] bool flush();
    void giveBack(std::string& text);
};

} // namespace nimbe
