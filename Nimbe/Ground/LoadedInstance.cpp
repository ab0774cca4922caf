#include "NimbeGround/LoadedInstance.h"

#include "NimbeGround/LoadedBus.h"

namespace nimbe {
namespace {

/// Without the library there is no way to the bus either.
Result<RemoteInstance*, RemoteError> instance() {
    const auto module = busModule();
    if (!module) return failure(RemoteError{RemoteError::Kind::noBus, module.error()});
    return &(*module)->runningApplication();
}

} // namespace

Result<bool, RemoteError> LoadedInstance::ask(Command command) {
    return instance().and_then([&](auto* loaded) { return loaded->ask(command); });
}

Result<RemoteStatus, RemoteError> LoadedInstance::status() {
    return instance().and_then([](auto* loaded) { return loaded->status(); });
}

Result<void, RemoteError> LoadedInstance::activate() {
    return instance().and_then([](auto* loaded) { return loaded->activate(); });
}

Result<void, RemoteError> LoadedInstance::quit() {
    return instance().and_then([](auto* loaded) { return loaded->quit(); });
}

} // namespace nimbe
