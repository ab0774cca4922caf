#pragma once

#include <memory>
#include <string>

#include "NimbeShell/CommandLine.h"

namespace CLI {
class App;
}

namespace nimbe {

class ShellServices;

/// The verbs that speak to the application that runs: their options, and which of them
/// was asked for.
class RemoteVerbs {
public:
    explicit RemoteVerbs(CLI::App& app);
    RemoteVerbs(const RemoteVerbs&) = delete;
    RemoteVerbs& operator=(const RemoteVerbs&) = delete;
    ~RemoteVerbs();

    [[nodiscard]] bool isParsed() const;
    /// Of the parsed verb, for whoever used it wrongly.
    [[nodiscard]] std::string usage() const;
    [[nodiscard]] int run(ShellServices& services, Streams streams) const;

private:
    struct Verbs;
    std::unique_ptr<Verbs> verbs;
};

} // namespace nimbe
