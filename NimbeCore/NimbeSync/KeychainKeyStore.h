#pragma once

#include <functional>

#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "NimbeSync/TranscriptKeyStore.h"

namespace nimbe {

/// The transcripts' key where the history's is too, and by the same rules: see
/// LocalKeychainKeyStore.
class KeychainKeyStore final : public TranscriptKeyStore {
public:
    inline static const Setting<std::string> place{"transcript.keyPlace"};

    /// `hasTranscripts`: whether anything is sealed already, also true when that cannot be
    /// told; then a keyring that is away must have the key, and none is made.
    KeychainKeyStore(LocalKeychainKeyStore::Places places, UserDefaults& defaults, LogSink& sink,
        std::function<bool()> hasTranscripts);

    [[nodiscard]] Result<std::optional<SymmetricKey>, KeyStoreError> load() override;
    [[nodiscard]] Result<SymmetricKey, KeyStoreError> save(const SymmetricKey& key) override;

private:
    LocalKeychainKeyStore store;
};

} // namespace nimbe
