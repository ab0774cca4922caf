#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "Foundation/Result.h"
#include "Foundation/UserDefaults.h"

namespace nimbe {

/// Why a key is not to be had although one may be there.
struct KeyStoreError {
    enum class Kind {
        locked,      // the keyring waits for the user to unlock it
        unreachable, // nobody answers where the key is kept
        damaged,     // what stands in the key's place is no key
        failed       // the store answered with an error
    };
    Kind kind = Kind::failed;
    std::string detail = {}; // for the log

    /// For the user, one sentence.
    [[nodiscard]] std::string_view message() const;
};

/// Keeps the one key of the local history. May block for about a second; called
/// with the history's lock held. Any thread.
class LocalHistoryKeyStore {
public:
    virtual ~LocalHistoryKeyStore() = default;

    /// Absent only where it is certain that no key is stored.
    [[nodiscard]] virtual Result<std::optional<Bytes>, KeyStoreError> loadKeyData() = 0;

    /// Stores the key if none is stored yet. The key that is in force afterwards:
    /// the earlier one when another writer got there first.
    [[nodiscard]] virtual Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) = 0;
};

/// A key that lives as long as this object.
class InMemoryLocalHistoryKeyStore final : public LocalHistoryKeyStore {
public:
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> loadKeyData() override;
    [[nodiscard]] Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) override;

private:
    std::mutex lock;
    std::optional<Bytes> data;
};

} // namespace nimbe
