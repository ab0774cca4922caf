#include "NimbeSync/KeychainKeyStore.h"

namespace nimbe {
namespace {

Result<std::optional<SymmetricKey>, KeyStoreError> loadFrom(LocalHistoryKeyStore& store) {
    auto loaded = store.loadKeyData();
    if (!loaded) return failure(loaded.error());
    if (!*loaded) return std::optional<SymmetricKey>();
    return std::optional<SymmetricKey>(std::move(**loaded));
}

Result<SymmetricKey, KeyStoreError> saveTo(LocalHistoryKeyStore& store, const SymmetricKey& key) {
    auto inForce = store.saveKeyData(key.bytes());
    if (!inForce) return failure(inForce.error());
    return SymmetricKey(std::move(*inForce));
}

} // namespace

Result<std::optional<SymmetricKey>, KeyStoreError> InMemoryTranscriptKeyStore::load() {
    return loadFrom(store);
}

Result<SymmetricKey, KeyStoreError> InMemoryTranscriptKeyStore::save(const SymmetricKey& key) {
    return saveTo(store, key);
}

KeychainKeyStore::KeychainKeyStore(LocalKeychainKeyStore::Places places, UserDefaults& defaults,
    LogSink& sink, std::function<bool()> hasTranscripts)
    : store({{"com.nimbehq.transcript.key", "default"}, {}, std::move(hasTranscripts), place.key,
                "crypto", "transcript key"},
          places, defaults, sink) {}

Result<std::optional<SymmetricKey>, KeyStoreError> KeychainKeyStore::load() {
    return loadFrom(store);
}

Result<SymmetricKey, KeyStoreError> KeychainKeyStore::save(const SymmetricKey& key) {
    return saveTo(store, key);
}

} // namespace nimbe
