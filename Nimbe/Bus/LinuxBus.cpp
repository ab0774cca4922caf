#include "NimbeApp/BusModule.h"
#include "PlatformDesktop/BusRemoteClient.h"
#include "PlatformSecrets/SecretServiceStore.h"

namespace nimbe {
namespace {

class LinuxBus final : public BusModule {
public:
    SecretStore& keyring() override { return secrets; }
    RemoteInstance& runningApplication() override { return instance; }

private:
    SecretServiceStore secrets;
    BusRemoteClient instance;
};

} // namespace
} // namespace nimbe

extern "C" __attribute__((visibility("default"))) nimbe::BusModule* nimbeBusModule() {
    static nimbe::LinuxBus bus;
    return &bus;
}
