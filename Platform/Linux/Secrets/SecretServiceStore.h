#pragma once

#include "Foundation/Date.h"
#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// The keyring of the desktop through freedesktop.org's Secret Service on the
/// session bus. An item carries its service and account as attributes; the secret is stored as
/// base64 text, since some keyrings hand out bytes as text.
///
/// Nothing is unlocked: what is locked is an error, as is a default keyring that is
/// locked where an item is not found. Should a service ask the user before it takes
/// an item, the answer has the time of one operation.
class SecretServiceStore final : public SecretStore {
public:
    /// For one operation. Then the keyring counts as unreachable.
    static constexpr Seconds patience = 1;

    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> read(const Item& item) override;
    [[nodiscard]] Result<Added, KeyStoreError> add(const Item& item, const Bytes& secret) override;
};

} // namespace nimbe
