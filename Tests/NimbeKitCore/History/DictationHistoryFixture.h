#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"

namespace nimbe {

inline constexpr Date now{800'000'000.25};
inline constexpr Seconds day = 86'400;

/// A key store that can be away.
class FakeHistoryKeyStore final : public LocalHistoryKeyStore {
public:
    std::optional<Bytes> data;
    std::optional<KeyStoreError::Kind> error;

    Result<std::optional<Bytes>, KeyStoreError> loadKeyData() override {
        const std::lock_guard guard(lock);
        if (error) return failure(KeyStoreError{*error});
        return data;
    }
    Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) override {
        const std::lock_guard guard(lock);
        if (error) return failure(KeyStoreError{*error});
        if (!data) data = bytes;
        return *data;
    }

private:
    std::mutex lock;
};

struct DictationHistoryTest : testing::Test {
    MemoryUserDefaults defaults;
    FakeHistoryKeyStore keys;
    FakeLogSink log;
    DictationHistory history{defaults, keys, log};

    [[nodiscard]] std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (const auto& entry : history.entries()) result.push_back(entry.text);
        return result;
    }
    [[nodiscard]] std::vector<std::string> trashTexts(Date at = now) {
        std::vector<std::string> result;
        for (const auto& item : history.trashed(at)) result.push_back(item.entry.text);
        return result;
    }
    [[nodiscard]] Bytes stored(std::string_view key) { return defaults.get(Setting<Bytes>{key}); }
    [[nodiscard]] std::string opened(std::string_view key) {
        const auto plain = LocalHistoryCipher::decrypt(stored(key), SymmetricKey(*keys.data));
        return plain ? std::string(plain->begin(), plain->end()) : "does not open";
    }
    void store(std::string_view key, std::string_view bytes) {
        EXPECT_TRUE(defaults.setValue(key, Bytes(bytes.begin(), bytes.end())));
    }
    void storeSealed(std::string_view key, std::string_view json) {
        if (!keys.data) keys.data = Bytes(32, 5);
        const auto sealed =
            LocalHistoryCipher::encrypt(Bytes(json.begin(), json.end()), SymmetricKey(*keys.data));
        EXPECT_TRUE(defaults.setValue(key, *sealed));
    }
    [[nodiscard]] std::vector<std::string> asideKeys() {
        auto keys = defaults.keys();
        std::erase_if(keys, [](const auto& key) { return key.find(".unreadable.") == key.npos; });
        return keys;
    }
    [[nodiscard]] std::optional<HistoryProblem::Kind> problem() const {
        const auto found = history.problem();
        return found ? std::optional<HistoryProblem::Kind>(found->kind) : std::nullopt;
    }
};

inline DictationEntry entryAt(Seconds age, std::string text) {
    return {UUID::random(), std::move(text), now - age, DictationMode::notes};
}

inline const std::string someId = "4F1C09AB-0000-4000-8000-0123456789AB";

} // namespace nimbe
