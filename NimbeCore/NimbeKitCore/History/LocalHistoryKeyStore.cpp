#include "NimbeKitCore/History/LocalHistoryKeyStore.h"

namespace nimbe {

std::string_view KeyStoreError::message() const {
    switch (kind) {
    case Kind::locked: return "The keyring with the history's key is locked.";
    case Kind::unreachable: return "The keyring with the history's key does not answer.";
    case Kind::damaged: return "The history's key is damaged.";
    case Kind::failed: return "The history's key could not be read or stored.";
    }
    return {};
}

Result<std::optional<Bytes>, KeyStoreError> InMemoryLocalHistoryKeyStore::loadKeyData() {
    const std::lock_guard guard(lock);
    return data;
}

Result<Bytes, KeyStoreError> InMemoryLocalHistoryKeyStore::saveKeyData(const Bytes& bytes) {
    const std::lock_guard guard(lock);
    if (!data) data = bytes;
    return *data;
}

} // namespace nimbe
