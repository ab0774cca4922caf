#pragma once

#include "NimbeShell/HistoryCommand.h"
#include "NimbeShell/ModelsCommand.h"

namespace nimbe {

/// What verbs need of the platform; made when a verb first asks, so that the
/// others touch no files.
class ShellServices {
public:
    virtual ~ShellServices() = default;

    /// Null when there is no place for the user's data, with a message on `error`.
    [[nodiscard]] virtual const HistoryServices* history(std::ostream& error) = 0;
    /// Null, with a message on `error`, when there is no place for them either or
    /// nothing that could manage them.
    [[nodiscard]] virtual const ModelServices* models(std::ostream& error) = 0;
};

} // namespace nimbe
