#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Foundation/HttpClient.h"
#include "NimbeEngine/Language/LanguageModel.h"
#include "PlatformLanguageModel/ChatForm.h"

namespace nimbe {

/// A server of models as it answers when it is asked what it has.
struct ModelServer {
    using Kind = LanguageModel::Availability::Kind;
    enum class Dialect { openAI, llamaCpp, ollama, lmStudio };

    LanguageModel::Availability availability;
    Dialect dialect = Dialect::openAI;
    /// It is surely a model server, and nothing else that answers there.
    bool isProven = false;

    /// How it is asked first.
    [[nodiscard]] ChatForm form() const;
    /// "Ollama"; empty: one of no known kind.
    [[nodiscard]] static std::string_view name(Dialect dialect);

    /// Asks the server at an address, without a slash at its end. `name`: of the model that
    /// is wanted; empty: the one that it has loaded, or its first. `mayLeave`: also a model
    /// for which the server asks another machine counts. May hang.
    [[nodiscard]] static Task<ModelServer> ask(
        HttpClient& http, std::string address, std::string name, bool mayLeave);
};

} // namespace nimbe
