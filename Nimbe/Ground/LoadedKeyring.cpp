#include "NimbeGround/LoadedKeyring.h"

#include "NimbeGround/LoadedBus.h"

namespace nimbe {

/// Not "unreachable", which would allow a new key elsewhere: there may well be a keyring.
Result<SecretStore*, KeyStoreError> LoadedKeyring::keyring() {
    const auto module = busModule();
    if (!module) return failure(KeyStoreError{KeyStoreError::Kind::failed, module.error()});
    return &(*module)->keyring();
}

Result<std::optional<Bytes>, KeyStoreError> LoadedKeyring::read(const Item& item) {
    const auto loaded = keyring();
    if (!loaded) return failure(loaded.error());
    return (*loaded)->read(item);
}

Result<SecretStore::Added, KeyStoreError> LoadedKeyring::add(
    const Item& item, const Bytes& secret) {
    const auto loaded = keyring();
    if (!loaded) return failure(loaded.error());
    return (*loaded)->add(item, secret);
}

} // namespace nimbe
