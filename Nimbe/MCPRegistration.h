#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Foundation/ConfigFiles.h"
#include "Foundation/Log.h"
#include "NimbeKitCore/MCPClientConfig.h"

namespace nimbe {

/// This program's entry in Claude Desktop's configuration, by which that starts it as a
/// server (see MCPClientConfig). The file is read anew each time; nothing that is not
/// understood is written over. What the client writes while this does is read and merged
/// again, but for the moment of replacing it. Main actor; blocks for as long as the
/// disk does.
class MCPRegistration {
public:
    struct Place {
        std::filesystem::path configFile;
        std::filesystem::path program; // what clients start, absolute

        /// Below the folder in which programs keep their settings.
        [[nodiscard]] static Place below(
            const std::filesystem::path& config, std::filesystem::path program);
    };
    struct State {
        std::optional<std::string> command; // which the client starts under this name
        bool isThisProgram = false;

        friend bool operator==(const State&, const State&) = default;
    };
    struct Problem {
        std::string message; // for the user, what to look at
        std::string reason;  // a sentence more, for those who ask for it
    };

    /// `files` and `sink` are lent.
    MCPRegistration(ConfigFiles& files, Place place, LogSink& sink);

    [[nodiscard]] const Place& place() const { return where; }
    [[nodiscard]] std::string commandLine() const; // for a client that the shell drives

    [[nodiscard]] Result<State, Problem> state() const;
    /// Instead of any entry of this name. Absent: done.
    [[nodiscard]] std::optional<Problem> install();
    /// Whichever program the entry names. Absent: it is not there any more.
    [[nodiscard]] std::optional<Problem> remove();

private:
    ConfigFiles& files;
    Place where;
    Log log;

    [[nodiscard]] Problem failed(const char* doing, std::string reason) const;
    /// What the file is to hold instead of what it holds; absent: what it does.
    using Edit = std::function<Result<std::optional<std::string>, MCPClientConfig::ConfigError>(
        const std::optional<std::string>& existing)>;
    [[nodiscard]] std::optional<Problem> change(const Edit& edit);
};

} // namespace nimbe
