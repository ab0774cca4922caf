#include "NimbeSync/TranscriptKey.h"

namespace nimbe {

TranscriptKey::TranscriptKey(TranscriptKeyStore& store, Use use, LogSink& sink)
    : store(store), use(use), log(sink, "crypto") {}

Result<std::optional<SymmetricKey>, KeyStoreError> TranscriptKey::existing() {
    const std::lock_guard guard(lock);
    return look();
}

Result<SymmetricKey, KeyStoreError> TranscriptKey::ensured() {
    const std::lock_guard guard(lock);
    auto found = look();
    if (!found) return failure(found.error());
    if (*found) return **found;
    if (use == Use::read)
        return failure(report({KeyStoreError::Kind::failed, "no key, and none may be made here"}));
    const auto fresh = SymmetricKey::random();
    auto inForce = store.save(fresh);
    if (!inForce) return failure(report(inForce.error()));
    if (*inForce == fresh)
        log.info("transcript key: generated a NEW key (no existing key found). If another device "
                 "already has history, confirm iCloud Keychain is on and synced before relying on "
                 "cross-device decryption.");
    else
        log.info("transcript key: loaded existing key");
    known.emplace(std::move(*inForce));
    return *known;
}

Result<std::optional<SymmetricKey>, KeyStoreError> TranscriptKey::look() {
    if (known) return known;
    auto loaded = store.load();
    if (!loaded) return failure(report(loaded.error()));
    logged.reset();
    if (*loaded) {
        known.emplace(std::move(**loaded));
        log.info("transcript key: loaded existing key");
    }
    return known;
}

KeyStoreError TranscriptKey::report(const KeyStoreError& error) {
    if (logged != error.kind)
        log.error("transcript key: not to be had: %s %s", std::string(error.message()).c_str(),
            error.detail.c_str());
    logged = error.kind;
    return error;
}

} // namespace nimbe
