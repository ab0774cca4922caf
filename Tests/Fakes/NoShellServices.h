#pragma once

#include "Fakes/FakeRemoteInstance.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {

/// Has nothing; a test overrides what its verb needs.
class NoShellServices : public ShellServices {
public:
    const HistoryServices* history(std::ostream& /*error*/) override { return nullptr; }
    UserDefaults* settings(std::ostream& /*error*/) override { return nullptr; }
    const ModelServices* models(std::ostream& /*error*/) override { return nullptr; }
    const TranscribeServices* transcription(std::ostream& /*error*/) override { return nullptr; }
    const DevicesServices* devices(std::ostream& /*error*/) override { return nullptr; }
    const ListenServices* listening(
        const std::string& /*model*/, std::ostream& /*error*/) override {
        return nullptr;
    }
    const LanguageServices* language(std::ostream& /*error*/) override { return nullptr; }
    const MCPServices* mcp(std::ostream& /*error*/) override { return nullptr; }
    RemoteInstance& remote() override { return instance; }

    FakeRemoteInstance instance;
};

} // namespace nimbe
