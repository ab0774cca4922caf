#pragma once

#include <memory>
#include <string>

#include "NimbeShell/CommandLine.h"

namespace CLI {
class App;
}

namespace nimbe {

class ShellServices;

/// The verbs that ask the language model: their options, and which of them was asked for.
class LanguageVerbs {
public:
    explicit LanguageVerbs(CLI::App& app);
    LanguageVerbs(const LanguageVerbs&) = delete;
    LanguageVerbs& operator=(const LanguageVerbs&) = delete;
    ~LanguageVerbs();

    /// The one that has verbs of its own.
    [[nodiscard]] const CLI::App* group() const;
    [[nodiscard]] bool isParsed() const;
    /// For whoever used the verb without verbs of its own wrongly; empty: it was not that.
    [[nodiscard]] std::string usage() const;
    [[nodiscard]] int run(ShellServices& services, Streams streams) const;

private:
    struct Verbs;
    std::unique_ptr<Verbs> verbs;
};

} // namespace nimbe
