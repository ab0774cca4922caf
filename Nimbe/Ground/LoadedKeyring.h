#pragma once

#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// The desktop's keyring, by a library that is loaded when it is first asked.
class LoadedKeyring final : public SecretStore {
public:
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> read(const Item& item) override;
    [[nodiscard]] Result<Added, KeyStoreError> add(const Item& item, const Bytes& secret) override;

private:
    [[nodiscard]] static Result<SecretStore*, KeyStoreError> keyring();
};

} // namespace nimbe
