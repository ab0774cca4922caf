#pragma once

#include "NimbeShell/CommandLine.h"
#include "NimbeShell/LanguageServices.h"

namespace nimbe {

struct ModelOptions {
    enum class Verb { status, list };
    Verb verb = Verb::status;
    bool isJson = false;
};

/// Asks the server which models it has, and tells which would be used or what stands in the
/// way. No text is sent. Done when a model can be used.
[[nodiscard]] int runModel(
    const ModelOptions& options, const LanguageServices& services, Streams streams);

} // namespace nimbe
