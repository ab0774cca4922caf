#pragma once

#include "NimbeApp/RemoteInstance.h"

namespace nimbe {

/// The running application, by a library that is loaded when it is first asked.
class LoadedInstance final : public RemoteInstance {
public:
    [[nodiscard]] Result<bool, RemoteError> ask(Command command) override;
    [[nodiscard]] Result<RemoteStatus, RemoteError> status() override;
    [[nodiscard]] Result<void, RemoteError> activate() override;
    [[nodiscard]] Result<void, RemoteError> quit() override;
};

} // namespace nimbe
