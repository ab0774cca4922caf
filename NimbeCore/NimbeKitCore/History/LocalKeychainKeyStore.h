#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/History/LocalHistoryKeyStore.h"
#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// A key in the desktop's keyring or, where no keyring answers, in a private file: the
/// history's, or another that is kept by the same rules. Which of the two is recorded in the
/// settings when the key is made, and from then on only that one is asked: a keyring that is locked
/// or away is an error and never looks like a missing key.
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

    /// What a key is for. All texts are literals.
    struct Purpose {
        SecretStore::Item item;
        std::vector<std::string_view> sealed; // the settings that it seals
        /// Whether something outside the settings is sealed with it; also true when that
        /// cannot be told.
        std::function<bool()> hasSealedElsewhere = [] {
            return false;
        };
        std::string_view placeKey = place.key; // the setting with the key's place
        std::string_view category = "history-crypto";
        const char* area = "local history key"; // how its lines in the log begin

        [[nodiscard]] static Purpose history();
    };

    LocalKeychainKeyStore(Purpose purpose, Places places, UserDefaults& defaults, LogSink& sink);

    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> loadKeyData() override;
    [[nodiscard]] Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) override;

private:
    Purpose purpose;
    Places places;
    UserDefaults& defaults;
    Log log;

    [[nodiscard]] Setting<std::string> recordOfPlace() const { return {purpose.placeKey, {}}; }
    [[nodiscard]] Result<std::string, KeyStoreError> recordedPlace();
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> readFrom(std::string_view recorded);
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> loadUnrecorded(bool& keychainAnswers);
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> recorded(
        std::string_view found, Bytes key);
    [[nodiscard]] bool hasSealed();
    [[nodiscard]] Result<Bytes, KeyStoreError> saveLocked(const Bytes& bytes);
    [[nodiscard]] Result<std::string_view, KeyStoreError> addSomewhere(
        bool keychainAnswers, const std::string& recorded, const Bytes& bytes);
};

} // namespace nimbe
