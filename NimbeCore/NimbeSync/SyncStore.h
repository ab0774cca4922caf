#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeSync/DecryptedTranscript.h"
#include "NimbeSync/SyncDatabase.h"
#include "NimbeSync/TranscriptKey.h"

namespace nimbe {

/// The store of transcripts beside the device's own history, with the user's dictionary,
/// preferences and styles: opened once per process, see SyncStoreOpening.
///
/// Operations never fail towards the caller: a failed read is empty, a failed write changes
/// nothing, is false, and the log says why; problem() is for people. Transcripts that do not
/// open with the key stay as they are and are left out. Any thread.
class SyncStore {
public:
    SyncStore(SyncDatabase& database, TranscriptKey& key, LogSink& sink);

    /// Absent: the last operation did what it says, or found nothing to do.
    [[nodiscard]] std::optional<std::string_view> problem() const;

    /// After each change made here, on its thread; set before the first.
    std::function<void()> onChange = [] {
    };

    /// `id` is the dictation's. An ill-formed sequence of bytes in a text becomes U+FFFD, a
    /// date that is no finite number the reference date.
    bool insert(std::string text, std::optional<std::string> originalText, Date createdAt,
        std::string mode, const UUID& id);
    /// Adds those of which nothing is known: neither one of that id nor its deletion.
    bool addUnknown(const std::vector<DecryptedTranscript>& transcripts);
    /// Blank text changes nothing; the original text stays, and where there is none, `original`
    /// becomes it.
    bool update(const UUID& id, std::string text, const std::optional<std::string>& original = {});
    bool deleteTranscript(const UUID& id);
    /// Puts a deleted transcript back as it was.
    bool restore(const DecryptedTranscript& transcript);

    /// All, newest first.
    [[nodiscard]] std::vector<DecryptedTranscript> transcripts();
    /// The same one by one, in pages, so that the store may be large; ends when `visit` is
    /// false. Others may write meanwhile, `visit` too.
    void forEachTranscript(const std::function<bool(DecryptedTranscript)>& visit);
    [[nodiscard]] std::optional<DecryptedTranscript> transcript(const UUID& id);
    /// Whether there are any, opened or not; true also when that cannot be told.
    [[nodiscard]] bool hasTranscripts();

    [[nodiscard]] std::vector<DictionaryEntry> dictionary(); // by term
    bool setDictionaryEntry(DictionaryEntry entry);
    bool removeDictionaryEntry(const std::string& term);

    [[nodiscard]] Preferences preferences();
    bool setPreferences(Preferences preferences);

    [[nodiscard]] std::vector<ModeStyle> modeStyles(); // by mode
    bool setModeStyle(ModeStyle style);
    bool removeModeStyle(const std::string& mode);

    /// Stays the same as long as nothing was changed, by whomever; absent: not to be told.
    [[nodiscard]] std::optional<std::int64_t> version();

private:
    SyncDatabase& database;
    TranscriptKey& key;
    Log log;
    Log cryptoLog;
    mutable std::mutex lock; // of the problem alone
    std::optional<std::string_view> lastProblem;

    using Change = std::function<SyncResult<>(std::optional<SyncRecord>&)>;

    bool change(SyncKind kind, const std::string& id, const char* line, const Change& apply);
    bool put(SyncModel model, const char* line);
    bool remove(SyncKind kind, const std::string& id);
    bool sealAndPut(const DecryptedTranscript& transcript, const char* line);
    [[nodiscard]] std::optional<TranscriptItem> sealed(
        const DecryptedTranscript& transcript, const SymmetricKey& with, const char* line);
    [[nodiscard]] std::optional<SymmetricKey> keyForReading();
    [[nodiscard]] std::optional<Bytes> seal(std::string text, const SymmetricKey& with);
    template <typename Model>
    [[nodiscard]] std::vector<Model> all(SyncKind kind);
    void begin();
    void fail(const SyncError& error, const char* line);
    void failForKey(const char* reason, const char* line, std::string_view sentence);
};

} // namespace nimbe
