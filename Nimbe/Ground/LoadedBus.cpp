#include "NimbeGround/LoadedBus.h"

#include "NimbeLoader/ModuleLoader.h"

namespace nimbe {

Result<BusModule*, std::string> busModule() {
    return loadModule<BusModule>("libnimbe-bus.so", "nimbeBusModule");
}

} // namespace nimbe
