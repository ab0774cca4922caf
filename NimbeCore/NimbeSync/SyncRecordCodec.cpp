#include "NimbeSync/SyncRecordCodec.h"

#include <array>
#include <charconv>
#include <cmath>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeSync/TranscriptCipher.h"

namespace nimbe {
namespace {

constexpr std::string_view digits = "0123456789ABCDEF";

/// The first 128 bits of HMAC-SHA-256 (RFC 2104) in the form of a UUID of version 8, which is
/// free for such uses (RFC 9562). `use` keeps apart what the hash is for.
std::string keyedId(const SymmetricKey& key, std::string_view use, std::string_view first,
    std::string_view second) {
    // Lengths in front: no two pairs of texts read the same.
    std::string text(use);
    for (const auto part : {first, second})
        text.append(std::to_string(part.size())).append(":").append(part);
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> hash{};
    unsigned size = 0;
    if (!HMAC(EVP_sha256(), key.bytes().data(), static_cast<int>(key.bytes().size()),
            reinterpret_cast<const unsigned char*>(text.data()), text.size(), hash.data(), &size))
        std::abort(); // memory ran out: any other id would be a wrong one
    hash[6] = static_cast<std::uint8_t>((hash[6] & 0x0FU) | 0x80U);
    hash[8] = static_cast<std::uint8_t>((hash[8] & 0x3FU) | 0x80U);
    std::string id;
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) id += '-';
        id += digits[hash.at(i) >> 4U];
        id += digits[hash.at(i) & 0x0FU];
    }
    return id;
}

std::string textOf(const std::vector<std::uint64_t>& changes) {
    std::string text;
    for (const auto change : changes)
        for (int shift = 60; shift >= 0; shift -= 4) text += digits[change >> shift & 0x0FU];
    return text;
}

std::optional<std::vector<std::uint64_t>> changesOf(const Json* value) {
    const auto* text = value ? value->asString() : nullptr;
    if (!text || text->empty() || text->size() % 16 != 0) return std::nullopt;
    std::vector<std::uint64_t> changes;
    for (std::size_t at = 0; at < text->size(); at += 16) {
        std::uint64_t change = 0;
        const char* begin = text->data() + at;
        const auto [end, error] = std::from_chars(begin, begin + 16, change, 16);
        if (error != std::errc() || end != begin + 16) return std::nullopt;
        changes.push_back(change);
    }
    if (changes.size() > MirrorState::mostChanges)
        changes.erase(changes.begin(), changes.end() - MirrorState::mostChanges);
    return changes;
}

/// The reference date for one that JSON has no word for: else nobody could read the record.
Json number(const Date& date) {
    const double seconds = date.sinceReference;
    return Json::number(std::isfinite(seconds) ? seconds : 0);
}

/// Puts a model's members into the object; false for a transcript that the key does not open.
struct WriteModel {
    Json& object;
    const SymmetricKey& key;

    bool operator()(const TranscriptItem& item) const {
        auto opened = SyncRecordCodec::opened(item, key);
        if (!opened) return false;
        object.set("createdAt", number(item.createdAt));
        object.set("mode", Json(text::mended(item.mode)));
        object.set("text", Json(std::move(opened->text)));
        if (opened->originalText) object.set("originalText", Json(*opened->originalText));
        return true;
    }
    bool operator()(const DictionaryEntry& entry) const {
        object.set("replacement", Json(text::mended(entry.replacement)));
        object.set("updatedAt", number(entry.updatedAt));
        return true;
    }
    bool operator()(const Preferences& preferences) const {
        object.set("cleanupEnabled", Json(preferences.cleanupEnabled));
        object.set("defaultMode", Json(text::mended(preferences.defaultMode)));
        return true;
    }
    bool operator()(const ModeStyle& style) const {
        object.set("styleNote", Json(text::mended(style.styleNote)));
        return true;
    }
};

/// Takes members out of an object: what remains is of a newer version.
class Members {
public:
    explicit Members(Json::Object members) : members(std::move(members)) {}

    [[nodiscard]] std::optional<Json> take(std::string_view key) {
        std::optional<Json> found;
        std::erase_if(members, [&](Json::Member& member) {
            if (member.key != key) return false;
            found = std::move(member.value); // of several the last one counts
            return true;
        });
        return found;
    }
    [[nodiscard]] std::optional<std::string> text(std::string_view key) {
        const auto value = take(key);
        const auto* text = value ? value->asString() : nullptr;
        return text ? std::optional(*text) : std::nullopt;
    }
    [[nodiscard]] std::optional<Date> date(std::string_view key) {
        const auto value = take(key);
        const auto number = value ? value->asDouble() : std::nullopt;
        if (!number || !std::isfinite(*number)) return std::nullopt;
        return Date{*number};
    }
    [[nodiscard]] std::string rest() && {
        return members.empty() ? std::string() : Json(std::move(members)).text();
    }

private:
    Json::Object members;
};

std::optional<SyncModel> transcriptFrom(
    Members& members, const std::string& id, const SymmetricKey& key) {
    const auto uuid = UUID::parse(id);
    const auto createdAt = members.date("createdAt");
    auto mode = members.text("mode");
    const auto text = members.text("text");
    const auto original = members.text("originalText");
    if (!uuid || uuid->text() != id || !createdAt || !text) return std::nullopt;
    auto sealed = TranscriptCipher::seal(*text, key);
    if (!sealed) return std::nullopt;
    TranscriptItem item{
        *uuid, *createdAt, std::move(mode).value_or("messaging"), std::move(*sealed)};
    if (!original) return item;
    auto sealedOriginal = TranscriptCipher::seal(*original, key);
    if (!sealedOriginal) return std::nullopt;
    item.originalCiphertext = std::move(*sealedOriginal);
    return item;
}

std::optional<SyncModel> modelFrom(
    SyncKind kind, Members& members, const std::string& id, const SymmetricKey& key) {
    switch (kind) {
    case SyncKind::transcript: return transcriptFrom(members, id, key);
    case SyncKind::dictionaryEntry: {
        auto replacement = members.text("replacement");
        const auto updatedAt = members.date("updatedAt");
        if (!replacement || !updatedAt) return std::nullopt;
        return DictionaryEntry{id, std::move(*replacement), *updatedAt};
    }
    case SyncKind::preferences: {
        const auto enabled = members.take("cleanupEnabled");
        auto mode = members.text("defaultMode");
        if (!enabled || !enabled->asBool() || !mode || id != "preferences") return std::nullopt;
        return Preferences{*enabled->asBool(), std::move(*mode)};
    }
    case SyncKind::modeStyle: {
        auto note = members.text("styleNote");
        if (!note) return std::nullopt;
        return ModeStyle{id, std::move(*note)};
    }
    }
    return std::nullopt;
}

} // namespace

std::string SyncRecordCodec::cloudId(
    SyncKind kind, const std::string& id, const SymmetricKey& key) {
    if (kind == SyncKind::transcript) return id;
    return keyedId(key, "id", SyncSchema::rawValue(kind), id);
}

UUID SyncRecordCodec::copyId(
    const UUID& transcript, std::string_view text, const SymmetricKey& key) {
    return UUID::parse(keyedId(key, "copy", transcript.text(), text)).value();
}

std::optional<DecryptedTranscript> SyncRecordCodec::opened(
    const TranscriptItem& item, const SymmetricKey& key) {
    auto text = TranscriptCipher::open(item.ciphertext, key);
    if (!text) return std::nullopt;
    DecryptedTranscript opened{item.id, std::move(*text), item.createdAt, item.mode};
    // The text is what counts: an original that does not open is left out alone.
    if (item.originalCiphertext)
        opened.originalText = TranscriptCipher::open(*item.originalCiphertext, key);
    return opened;
}

std::optional<CloudRecord> SyncRecordCodec::encode(
    const SyncRecord& record, const SymmetricKey& key) {
    Json object{Json::Object()};
    if (auto more = Json::parse(record.more); more && more->asObject()) object = std::move(*more);
    object.set("v", Json::integer(version));
    object.set("kind", Json(SyncSchema::rawValue(record.kind)));
    object.set("id", Json(record.id));
    object.set("changes", Json(textOf(record.mirror.changes)));
    if (!record.model)
        object.set("deleted", Json(true));
    else if (!std::visit(WriteModel{object, key}, *record.model))
        return std::nullopt;
    auto sealed = TranscriptCipher::seal(object.text(), key);
    if (!sealed) return std::nullopt;
    return CloudRecord{std::string(SyncSchema::rawValue(record.kind)),
        cloudId(record.kind, record.id, key), std::max<std::int64_t>(record.mirror.revision, 0),
        !record.model, std::move(*sealed)};
}

std::optional<SyncRecord> SyncRecordCodec::decode(
    const CloudRecord& record, const SymmetricKey& key) {
    const auto kind = SyncSchema::kind(record.kind);
    const auto text = kind ? TranscriptCipher::open(record.payload, key) : std::nullopt;
    auto object = text ? Json::parse(*text) : failure(JsonError());
    if (!object || !object->asObject()) return std::nullopt;
    Members members(*object->asObject());
    const auto itsVersion = members.take("v");
    const auto itsKind = members.text("kind");
    auto id = members.text("id");
    const auto changesText = members.take("changes");
    auto changes = changesOf(changesText ? &*changesText : nullptr);
    const auto deleted = members.take("deleted");
    const bool isOurs = itsVersion && itsVersion->asInteger() == version &&
                        itsKind == record.kind && id && changes &&
                        cloudId(*kind, *id, key) == record.id;
    if (!isOurs) return std::nullopt;
    SyncRecord decoded{*kind, std::move(*id), {}, {record.revision, false, std::move(*changes)}};
    if (!deleted || deleted->asBool() != true) {
        decoded.model = modelFrom(*kind, members, decoded.id, key);
        if (!decoded.model) return std::nullopt;
    }
    decoded.more = std::move(members).rest();
    return decoded;
}

} // namespace nimbe
