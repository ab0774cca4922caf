#pragma once

#include <optional>
#include <string>

#include "NimbeKitCore/History/LocalHistoryKeyStore.h"

namespace nimbe {

/// A place that keeps small secrets for this user on this device: the desktop's
/// keyring, or private files. Blocks for about a second at most. Any thread.
class SecretStore {
public:
    struct Item {
        std::string service; // of the alphabet of file names: letters, digits, '.', '-'
        std::string account;
    };
    enum class Added { stored, duplicate };

    virtual ~SecretStore() = default;

    /// Absent only where it is certain that the item is not there.
    [[nodiscard]] virtual Result<std::optional<Bytes>, KeyStoreError> read(const Item& item) = 0;

    /// A duplicate: an item was there before and is left as it is. Two processes
    /// that add at the same time may both be told `stored`; read() then gives both
    /// the same secret.
    [[nodiscard]] virtual Result<Added, KeyStoreError> add(
        const Item& item, const Bytes& secret) = 0;
};

} // namespace nimbe
