#pragma once

#include "NimbeApp/RemoteInstance.h"
#include "NimbeShell/DevicesCommand.h"
#include "NimbeShell/HistoryCommand.h"
#include "NimbeShell/LanguageServices.h"
#include "NimbeShell/ListenCommand.h"
#include "NimbeShell/MCPVerbs.h"
#include "NimbeShell/ModelsCommand.h"
#include "NimbeShell/TranscribeCommand.h"

namespace nimbe {

/// What verbs need of the platform; made when a verb first asks, so that the
/// others touch no files.
class ShellServices {
public:
    virtual ~ShellServices() = default;

    // Null when there is no place for the user's data, with a message on `error`.
    [[nodiscard]] virtual const HistoryServices* history(std::ostream& error) = 0;
    [[nodiscard]] virtual UserDefaults* settings(std::ostream& error) = 0;
    /// Null, with a message on `error`, when there is no place for them either or
    /// nothing that could manage them.
    [[nodiscard]] virtual const ModelServices* models(std::ostream& error) = 0;

    // Null, with a message on `error`, when what hearing needs cannot be loaded.
    [[nodiscard]] virtual const TranscribeServices* transcription(std::ostream& error) = 0;
    [[nodiscard]] virtual const DevicesServices* devices(std::ostream& error) = 0;
    /// With the model of that id; empty: the default.
    [[nodiscard]] virtual const ListenServices* listening(
        const std::string& model, std::ostream& error) = 0;

    /// Null, with a message on `error`, when there is no place for the user's data or what
    /// asks servers cannot be loaded.
    [[nodiscard]] virtual const LanguageServices* language(std::ostream& error) = 0;

    /// Null, with a message on `error`, when nobody says where programs keep their settings.
    [[nodiscard]] virtual const MCPServices* mcp(std::ostream& error) = 0;

    /// The application that runs, if one does.
    [[nodiscard]] virtual RemoteInstance& remote() = 0;
};

} // namespace nimbe
