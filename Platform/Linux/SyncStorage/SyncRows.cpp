#include "SyncRows.h"

namespace nimbe::syncRows {
namespace {

std::optional<TranscriptItem> transcriptOf(const SqliteStatement& row) {
    const auto id = UUID::parse(row.bytes(0));
    if (!id) return std::nullopt;
    TranscriptItem item{
        *id, Date{row.real(1)}, std::string(row.bytes(2)), syncRows::bytesOf(row.bytes(3))};
    if (!row.isNull(4)) item.originalCiphertext = syncRows::bytesOf(row.bytes(4));
    return item;
}

struct BindModel {
    SqliteStatement& statement;

    void operator()(const TranscriptItem& item) const {
        statement.bind(1, item.id.text());
        statement.bind(2, item.createdAt.sinceReference);
        statement.bind(3, item.mode);
        statement.bindBytes(4, viewOf(item.ciphertext));
        if (item.originalCiphertext) statement.bindBytes(5, viewOf(*item.originalCiphertext));
    }
    void operator()(const DictionaryEntry& entry) const {
        statement.bind(1, entry.term);
        statement.bind(2, entry.replacement);
        statement.bind(3, entry.updatedAt.sinceReference);
    }
    void operator()(const Preferences& preferences) const {
        statement.bind(1, SyncSchema::id(preferences));
        statement.bind(2, flag(preferences.cleanupEnabled));
        statement.bind(3, preferences.defaultMode);
    }
    void operator()(const ModeStyle& style) const {
        statement.bind(1, style.mode);
        statement.bind(2, style.styleNote);
    }
};

} // namespace

Bytes bytesOf(std::string_view view) {
    return {view.begin(), view.end()};
}

std::string_view viewOf(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::int64_t flag(bool isSet) {
    return isSet ? 1 : 0;
}

std::string encoded(const std::vector<std::uint64_t>& changes) {
    std::string bytes;
    for (const auto change : changes)
        for (int shift = 56; shift >= 0; shift -= 8)
            bytes += static_cast<char>(static_cast<std::uint8_t>(change >> shift));
    return bytes;
}

std::vector<std::uint64_t> decoded(std::string_view bytes) {
    std::vector<std::uint64_t> changes(bytes.size() / 8);
    for (std::size_t i = 0; i < changes.size() * 8; ++i)
        changes[i / 8] = changes[i / 8] << 8 | static_cast<std::uint8_t>(bytes[i]);
    return changes;
}

std::optional<SyncModel> modelOf(SyncKind kind, const SqliteStatement& row) {
    switch (kind) {
    case SyncKind::transcript: return transcriptOf(row);
    case SyncKind::dictionaryEntry:
        return DictionaryEntry{
            std::string(row.bytes(0)), std::string(row.bytes(1)), Date{row.real(2)}};
    case SyncKind::preferences: return Preferences{row.integer(1) != 0, std::string(row.bytes(2))};
    case SyncKind::modeStyle:
        return ModeStyle{std::string(row.bytes(0)), std::string(row.bytes(1))};
    }
    return std::nullopt;
}

const Statements& statementsFor(SyncKind kind) {
    static constexpr Statements all[] = {
        {"SELECT id, createdAt, mode, ciphertext, originalCiphertext FROM transcripts WHERE id = ?",
            "SELECT id, createdAt, mode, ciphertext, originalCiphertext FROM transcripts "
            "ORDER BY createdAt DESC, id DESC LIMIT ?2",
            "SELECT id, createdAt, mode, ciphertext, originalCiphertext FROM transcripts "
            "WHERE (createdAt, id) < (?3, ?1) ORDER BY createdAt DESC, id DESC LIMIT ?2",
            "INSERT OR REPLACE INTO transcripts(id, createdAt, mode, ciphertext, "
            "originalCiphertext) VALUES(?, ?, ?, ?, ?)",
            "DELETE FROM transcripts WHERE id = ?"},
        {"SELECT term, replacement, updatedAt FROM dictionaryEntries WHERE term = ?",
            "SELECT term, replacement, updatedAt FROM dictionaryEntries ORDER BY term LIMIT ?2",
            "SELECT term, replacement, updatedAt FROM dictionaryEntries WHERE term > ?1 "
            "ORDER BY term LIMIT ?2",
            "INSERT OR REPLACE INTO dictionaryEntries(term, replacement, updatedAt) "
            "VALUES(?, ?, ?)",
            "DELETE FROM dictionaryEntries WHERE term = ?"},
        {"SELECT id, cleanupEnabled, defaultMode FROM preferences WHERE id = ?",
            "SELECT id, cleanupEnabled, defaultMode FROM preferences ORDER BY id LIMIT ?2",
            "SELECT id, cleanupEnabled, defaultMode FROM preferences WHERE id > ?1 "
            "ORDER BY id LIMIT ?2",
            "INSERT OR REPLACE INTO preferences(id, cleanupEnabled, defaultMode) VALUES(?, ?, ?)",
            "DELETE FROM preferences WHERE id = ?"},
        {"SELECT mode, styleNote FROM modeStyles WHERE mode = ?",
            "SELECT mode, styleNote FROM modeStyles ORDER BY mode LIMIT ?2",
            "SELECT mode, styleNote FROM modeStyles WHERE mode > ?1 ORDER BY mode LIMIT ?2",
            "INSERT OR REPLACE INTO modeStyles(mode, styleNote) VALUES(?, ?)",
            "DELETE FROM modeStyles WHERE mode = ?"},
    };
    return all[static_cast<std::size_t>(kind)];
}

void bind(SqliteStatement& statement, const SyncModel& model) {
    std::visit(BindModel{statement}, model);
}

} // namespace nimbe::syncRows
