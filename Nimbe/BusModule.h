#pragma once

#include "NimbeApp/RemoteInstance.h"
#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// What goes over the user's session bus and is asked by programs that otherwise need none:
/// the keyring and the running application. In a library of its own, which is loaded when
/// one of them is first asked: the others start without the bus and what stands behind it.
class BusModule {
public:
    virtual ~BusModule() = default;

    [[nodiscard]] virtual SecretStore& keyring() = 0;
    [[nodiscard]] virtual RemoteInstance& runningApplication() = 0;
};

} // namespace nimbe
