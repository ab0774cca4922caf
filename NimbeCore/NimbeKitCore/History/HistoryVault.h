#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeKitCore/History/LocalHistoryKeyStore.h"
#include "NimbeKitCore/History/SealedList.h"
#include "NimbeKitCore/History/SymmetricKey.h"

namespace nimbe {

/// What kept the last operation of a history from doing its work.
struct HistoryProblem {
    enum class Kind {
        keyLocked,        // the keyring waits to be unlocked
        keyUnavailable,   // the key is not to be had for another reason
        storeUnreadable,  // the settings store fails
        listUnreadable,   // a stored list is damaged or of another key: taken as empty
        syncedUnreadable, // what is kept beside the history: gone on without it
        notStored         // the change could not be written; all is as before
    };
    Kind kind = Kind::notStored;
    std::string_view sentence = {}; // for the user

    /// The operation went on without the list that cannot be read.
    [[nodiscard]] bool isPartial() const {
        return kind == Kind::listUnreadable || kind == Kind::syncedUnreadable;
    }
};

/// Reads and writes sealed lists in the settings store: finds the key, runs the
/// transactions, sets aside what cannot be read. One thread at a time.
class HistoryVault {
public:
    /// Follows the key of a list that was set aside; a random id follows it.
    static constexpr std::string_view asideSuffix = ".unreadable.";

    enum class Stored { absent, readable, unreadable };
    template <typename Record>
    struct Loaded {
        std::vector<Record> records;
        Stored stored = Stored::absent;
    };

    HistoryVault(UserDefaults& defaults, LocalHistoryKeyStore& keyStore, LogSink& sink);

    /// A new operation: the problem of the one before is forgotten.
    void begin();
    [[nodiscard]] const std::optional<HistoryProblem>& problem() const { return lastProblem; }

    /// One transaction; `body` is false when something failed. False with a problem.
    bool change(const std::function<bool()>& body);
    /// With the key, which is made when there is none.
    bool changeSealed(const std::function<bool()>& body);

    /// Absent when what is stored cannot be looked at now, with a problem.
    template <typename Record>
    [[nodiscard]] std::optional<Loaded<Record>> load(SealedList<Record>& list) {
        Loaded<Record> loaded;
        Bytes bytes;
        const auto look = lookAt(list.key(), bytes);
        if (look == Look::failed) return std::nullopt;
        if (look == Look::absent) return loaded;
        std::optional<std::vector<Record>> records;
        if (look == Look::bytes) {
            if (!findKey()) return std::nullopt;
            if (cachedKey) records = list.open(bytes, *cachedKey);
            if (!records) records = list.readPlain(bytes);
            const auto other = records ? OtherKey::none : askForOtherKey();
            if (other == OtherKey::failed) return std::nullopt;
            if (other == OtherKey::found) records = list.open(bytes, *cachedKey);
        }
        loaded.stored = records ? Stored::readable : Stored::unreadable;
        if (records)
            loaded.records = std::move(*records);
        else
            reportUnreadable(look == Look::bytes && !cachedKey);
        return loaded;
    }

    /// Inside changeSealed.
    template <typename Record>
    [[nodiscard]] bool save(SealedList<Record>& list, const Loaded<Record>& loaded) {
        if (loaded.stored == Stored::absent && !confirmKey()) return false;
        auto sealed = list.seal(loaded.records, *cachedKey);
        if (!sealed) return false;
        if (loaded.stored == Stored::unreadable && !setAside(list.key())) return false;
        return defaults.setValue(list.key(), std::move(*sealed));
    }

    /// Puts the value, readable or not, where nothing overwrites it.
    [[nodiscard]] bool setAside(std::string_view key);

private:
    UserDefaults& defaults;
    LocalHistoryKeyStore& keyStore;
    LogSink& sink;
    Log log;
    std::optional<SymmetricKey> cachedKey;
    std::optional<HistoryProblem> lastProblem;
    std::optional<HistoryProblem::Kind> loggedProblem; // not again until it changes
    bool hasAskedForOtherKey = false;                  // in this operation

    enum class Look { failed, absent, unreadable, bytes };
    enum class OtherKey { failed, none, found };

    [[nodiscard]] Look lookAt(std::string_view key, Bytes& bytes);
    [[nodiscard]] bool findKey();
    [[nodiscard]] bool ensureKey();
    [[nodiscard]] bool confirmKey();
    [[nodiscard]] OtherKey askForOtherKey();
    [[nodiscard]] bool adopt(Bytes key);
    void fail(HistoryProblem::Kind kind, std::string_view sentence);
    void fail(const KeyStoreError& error);
    void reportUnreadable(bool isKeyGone);
};

} // namespace nimbe
