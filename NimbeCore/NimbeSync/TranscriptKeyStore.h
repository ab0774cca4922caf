#pragma once

#include <optional>

#include "NimbeKitCore/History/LocalHistoryKeyStore.h"
#include "NimbeKitCore/History/SymmetricKey.h"

namespace nimbe {

/// Keeps the one key of the transcripts. May block for about a second. Any thread.
class TranscriptKeyStore {
public:
    virtual ~TranscriptKeyStore() = default;

    /// Absent only where it is certain that no key is stored: a store that is locked or does
    /// not answer is an error.
    [[nodiscard]] virtual Result<std::optional<SymmetricKey>, KeyStoreError> load() = 0;

    /// Stores the key if none is stored yet. The key that is in force afterwards: the earlier
    /// one when another writer got there first.
    [[nodiscard]] virtual Result<SymmetricKey, KeyStoreError> save(const SymmetricKey& key) = 0;
};

/// A key that lives as long as this object.
class InMemoryTranscriptKeyStore final : public TranscriptKeyStore {
public:
    InMemoryTranscriptKeyStore() = default;
    explicit InMemoryTranscriptKeyStore(const SymmetricKey& key) {
        (void)store.saveKeyData(key.bytes());
    }

    [[nodiscard]] Result<std::optional<SymmetricKey>, KeyStoreError> load() override;
    [[nodiscard]] Result<SymmetricKey, KeyStoreError> save(const SymmetricKey& key) override;

private:
    InMemoryLocalHistoryKeyStore store;
};

} // namespace nimbe
