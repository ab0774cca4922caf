#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/UUID.h"
#include "Foundation/UserDefaults.h"

namespace nimbe {

// The models of the synced store, as they are kept. Only a transcript's two texts are sealed
// (TranscriptCipher); the rest stands in the clear on this machine. What leaves it is sealed
// as a whole, see SyncRecordCodec.

struct TranscriptItem {
    UUID id; // of the dictation
    Date createdAt;
    std::string mode = "messaging";               // DictationMode's raw value, or a newer version's
    Bytes ciphertext;                             // the text
    std::optional<Bytes> originalCiphertext = {}; // the text before the AI cleanup

    friend bool operator==(const TranscriptItem&, const TranscriptItem&) = default;
};

/// What is written in place of a term; one for each term.
struct DictionaryEntry {
    std::string term;
    std::string replacement;
    Date updatedAt; // for people; no rule compares it

    friend bool operator==(const DictionaryEntry&, const DictionaryEntry&) = default;
};

/// One in a store.
struct Preferences {
    bool cleanupEnabled = false;
    std::string defaultMode = "messaging";

    friend bool operator==(const Preferences&, const Preferences&) = default;
};

/// How texts of a mode are to sound; one for each mode.
struct ModeStyle {
    std::string mode;
    std::string styleNote;

    friend bool operator==(const ModeStyle&, const ModeStyle&) = default;
};

using SyncModel = std::variant<TranscriptItem, DictionaryEntry, Preferences, ModeStyle>;

/// In the order of SyncModel's alternatives.
enum class SyncKind { transcript, dictionaryEntry, preferences, modeStyle };

/// All models together, with one version.
///
/// Version 1 knew transcripts by their row alone; version 2 gave them the id of their
/// dictation and every record its state in the mirror.
struct SyncSchema {
    static constexpr std::int64_t version = 2;

    /// Part of the stored format and of what goes to a cloud.
    [[nodiscard]] static std::string_view rawValue(SyncKind kind);
    /// Absent for a newer version's.
    [[nodiscard]] static std::optional<SyncKind> kind(std::string_view rawValue);

    [[nodiscard]] static SyncKind kind(const SyncModel& model) {
        return static_cast<SyncKind>(model.index());
    }
    /// What tells a record from others of its kind: a dictation's id, a term, a mode.
    [[nodiscard]] static std::string id(const SyncModel& model);
};

/// What is known of a record and the cloud.
struct MirrorState {
    /// It was never on the way to a cloud.
    static constexpr std::int64_t neverOffered = -1;

    std::int64_t revision = neverOffered; // of the cloud's record that this builds on; 0: none
    bool isDirty = true;                  // the cloud does not have this yet, as far as is known
    /// The changes that this record has seen, each by a random number, the latest last. A
    /// record that has seen another's latest change follows on it, whatever the clocks say.
    std::vector<std::uint64_t> changes = {};

    /// More are forgotten, the oldest first: one who was away for longer than so many changes
    /// of one record gets a copy too many, see MergePolicy.
    static constexpr std::size_t mostChanges = 32;

    /// One more change, made here.
    void change();

    friend bool operator==(const MirrorState&, const MirrorState&) = default;
};

struct SyncRecord {
    SyncKind kind = SyncKind::transcript;
    std::string id;
    std::optional<SyncModel> model = {}; // absent: deleted
    MirrorState mirror = {};
    /// What a newer version has added to the record: a JSON object of it, or nothing.
    std::string more = {};

    friend bool operator==(const SyncRecord&, const SyncRecord&) = default;
};

} // namespace nimbe
