#pragma once

#include "NimbeMCP/MCPStdioLoop.h"

namespace nimbe {

/// Standard input and output as a channel. From then on whatever else writes to standard
/// output, a library say, writes to standard error: the channel alone has the output. One
/// in a process; one thread.
class StandardStreams final : public ByteChannel {
public:
    StandardStreams();
    ~StandardStreams() override;
    StandardStreams(const StandardStreams&) = delete;
    StandardStreams& operator=(const StandardStreams&) = delete;

    [[nodiscard]] std::size_t read(std::span<char> into) override;
    [[nodiscard]] bool write(std::string_view bytes) override;
    void memoryBecameFree() override;

private:
    int output;
};

} // namespace nimbe
