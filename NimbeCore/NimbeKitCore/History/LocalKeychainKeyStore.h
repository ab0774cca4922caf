#pragma once

#include <string>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/History/LocalHistoryKeyStore.h"
#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// The history's key in the desktop's keyring or, where no keyring answers, in a
/// private file. Which of the two is recorded in the settings when the key is
/// made, and from then on only that one is asked: a keyring that is locked or
/// away is an error and never looks like a missing key.
///
/// Keys are made inside a transaction of the settings, so that of two processes
/// the second finds the first one's key. Any thread.
class LocalKeychainKeyStore final : public LocalHistoryKeyStore {
public:
    struct Places {
        SecretStore& keychain;
        SecretStore& file;
    };
    /// The values of the setting; part of the stored format.
    static constexpr std::string_view inKeychain = "keychain";
    static constexpr std::string_view inFile = "file";
    inline static const Setting<std::string> place{"dictation.history.keyPlace"};

    static SecretStore::Item historyItem() { return {"com.nimbehq.history.key", "default"}; }

    LocalKeychainKeyStore(
        SecretStore::Item item, Places places, UserDefaults& defaults, LogSink& sink);

    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> loadKeyData() override;
    [[nodiscard]] Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) override;

private:
    SecretStore::Item item;
    Places places;
    UserDefaults& defaults;
    Log log;

    [[nodiscard]] Result<std::string, KeyStoreError> recordedPlace();
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> readFrom(std::string_view recorded);
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> loadUnrecorded(bool& keychainAnswers);
    void record(std::string_view found);
    [[nodiscard]] Result<Bytes, KeyStoreError> saveLocked(const Bytes& bytes);
    [[nodiscard]] Result<std::string_view, KeyStoreError> addSomewhere(
        bool keychainAnswers, const std::string& recorded, const Bytes& bytes);
};

} // namespace nimbe
