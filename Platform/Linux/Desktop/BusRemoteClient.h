#pragma once

#include "Foundation/Date.h"
#include "NimbeApp/RemoteInstance.h"

namespace nimbe {

/// The running application by the user's session bus, over a connection for each
/// question. Nothing is started by asking. Any thread.
class BusRemoteClient final : public RemoteInstance {
public:
    /// For a question, with the connection.
    static constexpr Seconds patience = 2;

    [[nodiscard]] Result<bool, RemoteError> ask(Command command) override;
    [[nodiscard]] Result<RemoteStatus, RemoteError> status() override;
    [[nodiscard]] Result<void, RemoteError> activate() override;
    [[nodiscard]] Result<void, RemoteError> quit() override;
};

} // namespace nimbe
