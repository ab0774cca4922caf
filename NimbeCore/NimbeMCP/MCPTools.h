#pragma once

#include <string>
#include <string_view>

#include "Foundation/Json.h"
#include "NimbeMCP/MemoryBackend.h"

namespace nimbe {

/// The tools that a client is offered: search_dictations, get_dictation and
/// list_dictations. All of them only read.
class MCPTools {
public:
    static constexpr std::size_t previewLength = 120; // user-perceived characters

    explicit MCPTools(MemoryBackend& backend) : backend(backend) {}

    /// A JSON array of what each is called, does and takes.
    [[nodiscard]] static std::string_view descriptors();

    /// Runs one: the "result" of the call as JSON, of a failed one too, which says why.
    /// Optional arguments of another type count as absent.
    [[nodiscard]] std::string call(std::string_view name, const Json& arguments);

private:
    MemoryBackend& backend;

    [[nodiscard]] std::string search(const Json& arguments);
    [[nodiscard]] std::string get(const Json& arguments);
    [[nodiscard]] std::string list(const Json& arguments);
};

} // namespace nimbe
