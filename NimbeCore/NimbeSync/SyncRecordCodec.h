#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "NimbeKitCore/History/SymmetricKey.h"
#include "NimbeSync/CloudDatabase.h"
#include "NimbeSync/DecryptedTranscript.h"
#include "NimbeSync/SyncSchema.h"

namespace nimbe {

/// A record as it goes to a cloud and comes from there: one JSON object, sealed as a whole by
/// TranscriptCipher.
///
///     {"v":1, "kind":"transcript", "id":"…", "changes":"…", "deleted":true}
///
/// with the members of its model in place of "deleted" where it is not: "createdAt" (seconds
/// from 2001-01-01 UTC), "mode", "text" and "originalText"; "replacement" and "updatedAt";
/// "cleanupEnabled" and "defaultMode"; "styleNote". "changes" has 16 hexadecimal digits a
/// change. Unknown members are kept and sent on; a higher "v" is for newer versions alone.
/// What the cloud says of a record counts only as far as the sealed object says the same.
///
/// Pure, but for the random numbers of the sealing. Any thread.
struct SyncRecordCodec {
    static constexpr std::int64_t version = 1;

    /// The id under which the cloud knows a record. A dictation's own; anything else would tell
    /// what the user wrote or chose, and goes as a keyed hash of it.
    [[nodiscard]] static std::string cloudId(
        SyncKind kind, const std::string& id, const SymmetricKey& key);

    /// Absent for a transcript that the key does not open. The revision is the record's.
    [[nodiscard]] static std::optional<CloudRecord> encode(
        const SyncRecord& record, const SymmetricKey& key);

    /// With texts sealed anew, clean, at the cloud's revision. Absent for what was sealed with
    /// another key, is of a newer version, or is not what its kind and id say.
    [[nodiscard]] static std::optional<SyncRecord> decode(
        const CloudRecord& record, const SymmetricKey& key);

    /// The id for a copy of a transcript that keeps `text`: every device that makes one makes
    /// the same, and nobody without the key can try texts on it.
    [[nodiscard]] static UUID copyId(
        const UUID& transcript, std::string_view text, const SymmetricKey& key);

    /// The texts of a transcript. Absent for what the key does not open.
    [[nodiscard]] static std::optional<DecryptedTranscript> opened(
        const TranscriptItem& item, const SymmetricKey& key);
};

} // namespace nimbe
