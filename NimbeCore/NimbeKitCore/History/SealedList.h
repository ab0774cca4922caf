#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "NimbeKitCore/History/HistoryCodec.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"

namespace nimbe {

/// Seals a list's records into a blob and opens it, remembering the last blob of
/// either kind: an unchanged list is not opened again, and of a changed one only
/// the records that are new are encoded again. The stored blob decides what is
/// true; a memory of another one is not used. One thread at a time.
///
/// Holds the records twice, as values and as JSON.
template <typename Record>
class SealedList {
public:
    enum class Layout {
        sealed,
        sealedOrPlain // JSON that is not sealed, as earlier versions wrote it, is read too
    };
    SealedList(std::string_view key, Layout layout) : storedUnder(key), layout(layout) {}

    /// Of the value in the settings; a literal.
    [[nodiscard]] std::string_view key() const { return storedUnder; }

    /// Absent when the blob does not open with the key or holds no such list.
    [[nodiscard]] std::optional<std::vector<Record>> open(
        std::span<const std::uint8_t> blob, const SymmetricKey& key) {
        if (isKnown(blob)) return records;
        const auto plain = LocalHistoryCipher::decrypt(blob, key);
        if (!plain) return std::nullopt;
        auto opened = historyCodec::decode<Record>(
            {reinterpret_cast<const char*>(plain->data()), plain->size()});
        if (!opened) return std::nullopt;
        records = *opened;
        fragments.assign(records.size(), {}); // made when they are needed
        remember(blob);
        return opened;
    }

    /// Absent when a record cannot be encoded or the key seals nothing.
    [[nodiscard]] std::optional<Bytes> seal(
        const std::vector<Record>& list, const SymmetricKey& key) {
        std::vector<std::string> pieces;
        pieces.reserve(list.size());
        std::size_t at = 0; // in the remembered list, which has mostly the same order
        std::size_t size = 2;
        for (const auto& record : list) {
            auto piece = takeFragment(record, at);
            if (!piece) piece = historyCodec::encode(record);
            if (!piece) return std::nullopt;
            size += piece->size() + 1;
            pieces.push_back(std::move(*piece));
        }
        std::string json = "[";
        json.reserve(size);
        for (const auto& piece : pieces) {
            if (json.size() > 1) json += ',';
            json += piece;
        }
        json += ']';
        auto blob = LocalHistoryCipher::encrypt(
            {reinterpret_cast<const std::uint8_t*>(json.data()), json.size()}, key);
        if (!blob) return std::nullopt;
        records = list;
        fragments = std::move(pieces);
        remember(*blob);
        return std::move(*blob);
    }

    /// Absent also where only sealed lists are read.
    [[nodiscard]] std::optional<std::vector<Record>> readPlain(
        std::span<const std::uint8_t> json) const {
        if (layout == Layout::sealed) return std::nullopt;
        return historyCodec::decode<Record>(
            {reinterpret_cast<const char*>(json.data()), json.size()});
    }

private:
    std::string_view storedUnder;
    Layout layout;

    // Its nonce and its tag: no other blob of the key has the same ones.
    using Mark =
        std::array<std::uint8_t, LocalHistoryCipher::nonceSize + LocalHistoryCipher::tagSize>;

    std::optional<Mark> known;
    std::size_t knownSize = 0;
    std::vector<Record> records;
    std::vector<std::string> fragments; // JSON of the records; empty: not made yet

    static std::optional<Mark> markOf(std::span<const std::uint8_t> blob) {
        Mark mark{};
        if (blob.size() < mark.size()) return std::nullopt;
        const auto nonce = blob.first(LocalHistoryCipher::nonceSize);
        const auto tag = blob.last(LocalHistoryCipher::tagSize);
        std::copy(tag.begin(), tag.end(), std::copy(nonce.begin(), nonce.end(), mark.begin()));
        return mark;
    }
    [[nodiscard]] bool isKnown(std::span<const std::uint8_t> blob) const {
        return known && blob.size() == knownSize && markOf(blob) == known;
    }
    void remember(std::span<const std::uint8_t> blob) {
        known = markOf(blob);
        knownSize = blob.size();
    }

    /// The JSON of an equal record at `at` or one further, which is then passed.
    [[nodiscard]] std::optional<std::string> takeFragment(const Record& record, std::size_t& at) {
        for (std::size_t here = at; here < std::min(at + 2, records.size()); ++here) {
            if (!(records[here] == record)) continue;
            at = here + 1;
            if (fragments[here].empty()) return std::nullopt;
            return fragments[here];
        }
        return std::nullopt;
    }
};

} // namespace nimbe
