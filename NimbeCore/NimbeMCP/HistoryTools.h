#pragma once

#include "NimbeMCP/MemoryBackend.h"
#include "NimbeMCP/ToolCalls.h"

namespace nimbe {

/// The tools over the user's dictations.
class HistoryTools final : public ToolCalls {
public:
    static constexpr std::size_t previewLength = 120; // user-perceived characters

    /// Lent; must outlive this.
    explicit HistoryTools(MemoryBackend& backend) : backend(backend) {}

    [[nodiscard]] std::string call(std::string_view name, const Json& arguments) override;

private:
    MemoryBackend& backend;

    [[nodiscard]] std::string search(const Json& arguments);
    [[nodiscard]] std::string get(const Json& arguments);
    [[nodiscard]] std::string list(const Json& arguments);
};

} // namespace nimbe
