#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Foundation/Json.h"

namespace nimbe {

/// The models of a server that write text, in its order, and which of them it has loaded.
struct ModelList {
    struct Entry {
        std::string name;
        bool isLoaded = false;
        bool isElsewhere = false; // the server passes what it is asked on to another machine

        friend bool operator==(const Entry&, const Entry&) = default;
    };
    std::vector<Entry> entries;

    /// GET /v1/models of any server; absent where that is none of its answers.
    [[nodiscard]] static std::optional<ModelList> ofOpenAI(const Json& json);
    /// GET /api/tags of Ollama, with what GET /api/ps says is loaded.
    [[nodiscard]] static std::optional<ModelList> ofOllama(const Json& tags, const Json& loaded);
    /// GET /api/v0/models of LM Studio.
    [[nodiscard]] static std::optional<ModelList> ofLMStudio(const Json& json);

    /// The models that run on the server's own machine.
    [[nodiscard]] ModelList hereOnly() const;
    [[nodiscard]] std::vector<std::string> names() const;
    /// The model of that name, for Ollama also without its tag; of no name, the first that
    /// is loaded, else the first. Empty: there is none.
    [[nodiscard]] std::string choose(const std::string& name) const;
};

} // namespace nimbe
