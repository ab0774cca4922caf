#pragma once

#include "NimbeKitCore/History/SecretStore.h"

namespace nimbe {

/// For a portable folder, whose key must travel with it.
class UnavailableSecretStore final : public SecretStore {
public:
    [[nodiscard]] Result<std::optional<Bytes>, KeyStoreError> read(const Item& /*item*/) override {
        return failure(absent());
    }
    [[nodiscard]] Result<Added, KeyStoreError> add(
        const Item& /*item*/, const Bytes& /*secret*/) override {
        return failure(absent());
    }

private:
    static KeyStoreError absent() {
        return {KeyStoreError::Kind::unreachable, "no keyring for a portable folder"};
    }
};

} // namespace nimbe
