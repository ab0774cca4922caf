#pragma once

#include <memory>
#include <string>

#include "NimbeShell/CommandLine.h"

namespace CLI {
class App;
}

namespace nimbe {

class ShellServices;

/// The verbs that hear: their options, and which of them was asked for.
class SpeechVerbs {
public:
    explicit SpeechVerbs(CLI::App& app);
    SpeechVerbs(const SpeechVerbs&) = delete;
    SpeechVerbs& operator=(const SpeechVerbs&) = delete;
    ~SpeechVerbs();

    [[nodiscard]] bool isParsed() const;
    /// Of the parsed verb, for whoever used it wrongly.
    [[nodiscard]] std::string usage() const;
    [[nodiscard]] int run(ShellServices& services, Streams streams) const;

private:
    struct Verbs;
    std::unique_ptr<Verbs> verbs;
};

} // namespace nimbe
