#pragma once

#include <optional>

#include "Foundation/Log.h"
#include "NimbeKitCore/History/SymmetricKey.h"
#include "NimbeSync/CloudDatabase.h"
#include "NimbeSync/SyncDatabase.h"

namespace nimbe {

/// Brings what a cloud says into the store, as MergePolicy decides. Each call is part of a
/// transaction of the caller's.
///
/// What this device cannot read is kept in the journal as it came, and nothing is ever pushed
/// over it: a transcript that was changed here meanwhile goes on as a copy of its own, with
/// the text that it has.
class RecordMerger {
public:
    /// Without a key nothing can be read.
    RecordMerger(SyncDatabase& database, const std::optional<SymmetricKey>& key, LogSink& sink);

    /// A record of the cloud that was pulled. The same one may come again.
    [[nodiscard]] SyncResult<> merge(const CloudRecord& record);

    /// What became of a push of `sent`, which may have been changed here meanwhile.
    [[nodiscard]] SyncResult<> settle(const SyncRecord& sent, const CloudDatabase::Pushed& answer);

    /// Merges kept records that can be read now: with a key that came later, or by a newer
    /// version.
    [[nodiscard]] SyncResult<> reopenForeign();

    /// Something that is shown is not what it was.
    [[nodiscard]] bool hasChanged() const { return isChanged; }

private:
    SyncDatabase& database;
    const std::optional<SymmetricKey>& key;
    Log log;
    bool isChanged = false;

    [[nodiscard]] SyncResult<> mergeOpened(SyncRecord cloud);
    [[nodiscard]] SyncResult<> yieldToForeign(const SyncRecord& local);
    [[nodiscard]] SyncResult<> take(const SyncRecord& record);
    [[nodiscard]] SyncResult<> copy(const SyncRecord& transcript);
};

} // namespace nimbe
