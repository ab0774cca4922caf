#include "NimbeSync/SyncStore.h"

#include <cmath>

#include "Foundation/Text.h"
#include "NimbeSync/SyncRecordCodec.h"
#include "NimbeSync/TranscriptCipher.h"

namespace nimbe {
namespace {

/// Rows read in one go: some 300 KB of usual transcripts.
constexpr std::size_t pageLength = 1000;

constexpr const char* saveFailed = "save failed";
constexpr const char* recordFailed = "transcript encrypt/record failed";
constexpr const char* updateFailed = "transcript update failed";
constexpr const char* restoreFailed = "transcript restore failed";

constexpr std::string_view sealingSentence = "The transcript couldn't be sealed.";
constexpr std::string_view otherKeySentence = "The transcript was sealed with another key.";

/// A date that is not a number fits no table: the text counts, and gets the reference date.
Date storable(Date date) {
    return std::isfinite(date.sinceReference) ? date : Date{};
}

} // namespace

SyncStore::SyncStore(SyncDatabase& database, TranscriptKey& key, LogSink& sink)
    : database(database), key(key), log(sink, "sync"), cryptoLog(sink, "crypto") {}

std::optional<std::string_view> SyncStore::problem() const {
    const std::lock_guard guard(lock);
    return lastProblem;
}

void SyncStore::begin() {
    const std::lock_guard guard(lock);
    lastProblem.reset();
}

void SyncStore::fail(const SyncError& error, const char* line) {
    log.error("%s: %s", line, error.detail.c_str());
    const std::lock_guard guard(lock);
    lastProblem = error.sentence();
}

void SyncStore::failForKey(const char* reason, const char* line, std::string_view sentence) {
    cryptoLog.error("%s: %s", line, reason);
    const std::lock_guard guard(lock);
    lastProblem = sentence;
}

/// One record, read and written without another writer in between. `apply` changes it; what
/// it leaves as it was is not written.
bool SyncStore::change(
    SyncKind kind, const std::string& id, const char* line, const Change& apply) {
    bool isChanged = false;
    const auto result = database.transaction([&]() -> SyncResult<> {
        auto found = database.read(kind, id);
        if (!found) return failure(found.error());
        const auto before = *found;
        if (auto applied = apply(*found); !applied || *found == before) return applied;
        isChanged = true;
        return *found ? database.write(**found) : database.erase(kind, id);
    });
    if (!result) fail(result.error(), line);
    if (result && isChanged) onChange();
    return result.has_value();
}

bool SyncStore::put(SyncModel model, const char* line) {
    const auto kind = SyncSchema::kind(model);
    const auto id = SyncSchema::id(model);
    return change(kind, id, line, [&](std::optional<SyncRecord>& record) -> SyncResult<> {
        if (!record) record = SyncRecord{kind, id};
        if (record->model == model) return {};
        record->model = std::move(model);
        record->mirror.change();
        return {};
    });
}

bool SyncStore::remove(SyncKind kind, const std::string& id) {
    begin();
    return change(kind, id, saveFailed, [](std::optional<SyncRecord>& record) -> SyncResult<> {
        if (!record || !record->model) return {};
        if (record->mirror.revision == MirrorState::neverOffered) {
            record.reset(); // no cloud can have it
            return {};
        }
        record->model.reset();
        record->mirror.change();
        return {};
    });
}

std::optional<Bytes> SyncStore::seal(std::string text, const SymmetricKey& with) {
    auto sealed = TranscriptCipher::seal(text::mended(std::move(text)), with);
    if (!sealed) return std::nullopt;
    return std::move(*sealed);
}

bool SyncStore::insert(std::string text, std::optional<std::string> originalText, Date createdAt,
    std::string mode, const UUID& id) {
    return sealAndPut(
        {id, std::move(text), createdAt, std::move(mode), std::move(originalText)}, recordFailed);
}

bool SyncStore::restore(const DecryptedTranscript& transcript) {
    return sealAndPut(transcript, restoreFailed);
}

bool SyncStore::sealAndPut(const DecryptedTranscript& transcript, const char* line) {
    begin();
    const auto with = key.ensured();
    if (!with) {
        failForKey(with.error().detail.c_str(), line, with.error().message());
        return false;
    }
    auto item = sealed(transcript, *with, line);
    return item && put(std::move(*item), line);
}

std::optional<TranscriptItem> SyncStore::sealed(
    const DecryptedTranscript& transcript, const SymmetricKey& with, const char* line) {
    TranscriptItem item{
        transcript.id, storable(transcript.createdAt), text::mended(transcript.mode), {}};
    auto text = seal(transcript.text, with);
    if (text && transcript.originalText) {
        item.originalCiphertext = seal(*transcript.originalText, with);
        if (!item.originalCiphertext) text.reset();
    }
    if (!text) {
        failForKey("not sealed", line, sealingSentence);
        return std::nullopt;
    }
    item.ciphertext = std::move(*text);
    return item;
}

bool SyncStore::addUnknown(const std::vector<DecryptedTranscript>& transcripts) {
    begin();
    if (transcripts.empty()) return true;
    const auto with = key.ensured();
    if (!with) {
        failForKey(with.error().detail.c_str(), recordFailed, with.error().message());
        return false;
    }
    bool isSealed = true;
    bool isChanged = false;
    const auto result = database.transaction([&]() -> SyncResult<> {
        for (const auto& transcript : transcripts) {
            const auto id = transcript.id.text();
            const auto known = database.read(SyncKind::transcript, id);
            if (!known) return failure(known.error());
            if (*known) continue;
            auto item = sealed(transcript, *with, recordFailed);
            isSealed = isSealed && item;
            if (!item) continue;
            SyncRecord record{SyncKind::transcript, id};
            record.model = std::move(*item);
            record.mirror.change();
            if (auto written = database.write(record); !written) return written;
            isChanged = true;
        }
        return {};
    });
    if (!result) fail(result.error(), recordFailed);
    if (result && isChanged) onChange();
    return result && isSealed;
}

bool SyncStore::update(
    const UUID& id, std::string text, const std::optional<std::string>& original) {
    begin();
    if (text::trimmed(std::string_view(text)).empty()) return true;
    const auto with = key.existing();
    if (!with || !*with) {
        if (!with) failForKey(with.error().detail.c_str(), updateFailed, with.error().message());
        return false;
    }
    text = text::mended(std::move(text));
    const char* refusal = nullptr;
    const auto apply = [&](std::optional<SyncRecord>& record) -> SyncResult<> {
        if (!record || !record->model) return {};
        auto& item = std::get<TranscriptItem>(*record->model);
        const auto before = TranscriptCipher::open(item.ciphertext, **with);
        if (before == text) return {};
        auto sealed = TranscriptCipher::seal(text, **with);
        if (!before || !sealed) {
            refusal = before ? "not sealed" : "sealed with another key";
            return {};
        }
        item.ciphertext = std::move(*sealed);
        if (original && !item.originalCiphertext && *original != text)
            item.originalCiphertext = seal(*original, **with);
        record->mirror.change();
        return {};
    };
    const bool isDone = change(SyncKind::transcript, id.text(), updateFailed, apply);
    if (refusal) failForKey(refusal, updateFailed, otherKeySentence);
    return isDone && !refusal;
}

bool SyncStore::deleteTranscript(const UUID& id) {
    return remove(SyncKind::transcript, id.text());
}

/// Absent without a word when there is none yet.
std::optional<SymmetricKey> SyncStore::keyForReading() {
    auto found = key.existing();
    if (found) return std::move(*found);
    const std::lock_guard guard(lock);
    lastProblem = found.error().message();
    return std::nullopt;
}

std::vector<DecryptedTranscript> SyncStore::transcripts() {
    std::vector<DecryptedTranscript> all;
    forEachTranscript([&](DecryptedTranscript transcript) {
        all.push_back(std::move(transcript));
        return true;
    });
    return all;
}

void SyncStore::forEachTranscript(const std::function<bool(DecryptedTranscript)>& visit) {
    begin();
    const auto with = keyForReading();
    if (!with) return;
    std::size_t leftOut = 0;
    std::optional<SyncDatabase::Position> after;
    for (;;) {
        const auto page = database.page(SyncKind::transcript, after, pageLength);
        if (!page) return fail(page.error(), "fetch failed");
        for (const auto& model : *page) {
            const auto& item = std::get<TranscriptItem>(model);
            auto opened = SyncRecordCodec::opened(item, *with);
            if (!opened)
                ++leftOut;
            else if (!visit(std::move(*opened)))
                return;
        }
        if (page->size() < pageLength) break;
        const auto& last = std::get<TranscriptItem>(page->back());
        after = {last.createdAt, last.id.text()};
    }
    if (leftOut > 0)
        cryptoLog.warning("transcripts: left out as the key does not open them: %zu", leftOut);
}

std::optional<DecryptedTranscript> SyncStore::transcript(const UUID& id) {
    begin();
    const auto with = keyForReading();
    if (!with) return std::nullopt;
    const auto record = database.read(SyncKind::transcript, id.text());
    if (!record) {
        fail(record.error(), "fetch failed");
        return std::nullopt;
    }
    if (!*record || !(*record)->model) return std::nullopt;
    return SyncRecordCodec::opened(std::get<TranscriptItem>(*(*record)->model), *with);
}

bool SyncStore::hasTranscripts() {
    const auto page = database.page(SyncKind::transcript, std::nullopt, 1);
    return !page || !page->empty();
}

template <typename Model>
std::vector<Model> SyncStore::all(SyncKind kind) {
    begin();
    std::vector<Model> models;
    std::optional<SyncDatabase::Position> after;
    for (;;) {
        auto page = database.page(kind, after, pageLength);
        if (!page) {
            fail(page.error(), "fetch failed");
            return {};
        }
        if (!page->empty()) after = {{}, SyncSchema::id(page->back())};
        const bool isLast = page->size() < pageLength;
        for (auto& model : *page) models.push_back(std::get<Model>(std::move(model)));
        if (isLast) return models;
    }
}

std::vector<DictionaryEntry> SyncStore::dictionary() {
    return all<DictionaryEntry>(SyncKind::dictionaryEntry);
}

bool SyncStore::setDictionaryEntry(DictionaryEntry entry) {
    begin();
    entry.term = text::mended(std::move(entry.term));
    entry.replacement = text::mended(std::move(entry.replacement));
    entry.updatedAt = storable(entry.updatedAt);
    return put(std::move(entry), saveFailed);
}

bool SyncStore::removeDictionaryEntry(const std::string& term) {
    return remove(SyncKind::dictionaryEntry, text::mended(term));
}

Preferences SyncStore::preferences() {
    auto found = all<Preferences>(SyncKind::preferences);
    return found.empty() ? Preferences() : std::move(found.front());
}

bool SyncStore::setPreferences(Preferences preferences) {
    begin();
    preferences.defaultMode = text::mended(std::move(preferences.defaultMode));
    return put(std::move(preferences), saveFailed);
}

std::vector<ModeStyle> SyncStore::modeStyles() {
    return all<ModeStyle>(SyncKind::modeStyle);
}

bool SyncStore::setModeStyle(ModeStyle style) {
    begin();
    style.mode = text::mended(std::move(style.mode));
    style.styleNote = text::mended(std::move(style.styleNote));
    return put(std::move(style), saveFailed);
}

bool SyncStore::removeModeStyle(const std::string& mode) {
    return remove(SyncKind::modeStyle, text::mended(mode));
}

std::optional<std::int64_t> SyncStore::version() {
    const auto version = database.version();
    if (!version) return std::nullopt;
    return *version;
}

} // namespace nimbe
