#pragma once

#include <string>

#include "NimbeShell/CommandLine.h"

namespace CLI {
class App;
}

namespace nimbe {

class MCPRegistration;
class ShellServices;

struct MCPServices {
    MCPRegistration& registration;
    bool isPortable; // NIMBE_HOME says where the dictations are
};

/// The verb that connects AI clients with this program, and its own verbs on the command
/// line.
class MCPVerbs {
public:
    explicit MCPVerbs(CLI::App& parent);
    MCPVerbs(const MCPVerbs&) = delete;
    MCPVerbs& operator=(const MCPVerbs&) = delete;

    [[nodiscard]] const CLI::App* app() const { return &mcp; }
    [[nodiscard]] bool isParsed() const;
    [[nodiscard]] int run(ShellServices& services, Streams streams) const;

private:
    enum class Verb { install, remove, status, command };

    CLI::App& mcp; // the parent's
    Verb verb = Verb::status;
    bool isJson = false;

    void add(const char* name, Verb verb, const char* text);
    [[nodiscard]] int tellStatus(const MCPServices& services, Streams streams) const;
    void tellCommand(const MCPServices& services, Streams streams) const;
};

} // namespace nimbe
