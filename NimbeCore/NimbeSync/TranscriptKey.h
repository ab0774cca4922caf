#pragma once

#include <mutex>
#include <optional>

#include "Foundation/Log.h"
#include "NimbeSync/TranscriptKeyStore.h"

namespace nimbe {

/// The transcripts' key as this process has it: loaded when it is first needed, and kept in
/// memory. A store that fails is asked again at the next need. Any thread, but not within a
/// transaction of the synced store: the key's store may ask that one, see KeychainKeyStore.
class TranscriptKey {
public:
    /// Who only reads never makes a key: what is sealed was sealed with another.
    enum class Use { read, readAndMake };

    TranscriptKey(TranscriptKeyStore& store, Use use, LogSink& sink);

    /// Absent: there is none yet.
    [[nodiscard]] Result<std::optional<SymmetricKey>, KeyStoreError> existing();

    /// Makes and stores one when there is none. A key that is stored nowhere would lose what
    /// it seals at the end of the process, so then there is none.
    [[nodiscard]] Result<SymmetricKey, KeyStoreError> ensured();

private:
    TranscriptKeyStore& store;
    Use use;
    Log log;
    std::mutex lock;
    std::optional<SymmetricKey> known;
    std::optional<KeyStoreError::Kind> logged; // not again until it changes

    [[nodiscard]] Result<std::optional<SymmetricKey>, KeyStoreError> look();
    [[nodiscard]] KeyStoreError report(const KeyStoreError& error);
};

} // namespace nimbe
