#pragma once

#include <memory>
#include <string>
#include <variant>

#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/Task.h"
#include "NimbeApp/MCPRegistration.h"
#include "NimbeApp/Pasteboard.h"

namespace nimbe {

/// Connects AI clients with this program: enters it into Claude Desktop's configuration,
/// or copies the command line that other clients are told. Main actor.
class MCPSetup : public std::enable_shared_from_this<MCPSetup> {
public:
    static constexpr Seconds copiedShown = 1.5;

    struct Unknown { // not connected, as far as can be read
        friend bool operator==(const Unknown&, const Unknown&) = default;
    };
    struct Configured { // the client starts this very program
        friend bool operator==(const Configured&, const Configured&) = default;
    };
    struct Failed {
        std::string message; // for the user
        friend bool operator==(const Failed&, const Failed&) = default;
    };
    using Status = std::variant<Unknown, Configured, Failed>;

    /// Lent; all outlive the setup.
    struct Platform {
        MainActor& actor;
        Pasteboard& pasteboard;
        MCPRegistration& registration;
        LogSink& log;
    };
    [[nodiscard]] static std::shared_ptr<MCPSetup> create(Platform platform);

    Published<Status> _status;
    Published<bool> _isCommandCopied; // since at most copiedShown

    void install();
    void remove();
    /// Reads the status from the file; what had failed is forgotten.
    void refresh();
    /// The command line to the clipboard.
    void copyCommand();

private:
    explicit MCPSetup(Platform platform);

    [[nodiscard]] static Task<void> copy(std::weak_ptr<MCPSetup> weakSelf);

    Platform platform;
    Log log;
    TaskHandle copying;
};

} // namespace nimbe
