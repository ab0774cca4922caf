#include "NimbeKitCore/History/HistoryVault.h"

#include "Foundation/UUID.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"

namespace nimbe {

using Kind = HistoryProblem::Kind;

HistoryVault::HistoryVault(UserDefaults& defaults, LocalHistoryKeyStore& keyStore, LogSink& sink)
    : defaults(defaults), keyStore(keyStore), sink(sink), log(sink, "history") {}

void HistoryVault::begin() {
    lastProblem.reset();
    hasAskedForOtherKey = false;
}

void HistoryVault::fail(Kind kind, std::string_view sentence) {
    lastProblem = HistoryProblem{kind, sentence};
    if (loggedProblem == kind) return;
    loggedProblem = kind;
    log.warning("history: %s", std::string(sentence).c_str());
}

void HistoryVault::fail(const KeyStoreError& error) {
    const bool isLocked = error.kind == KeyStoreError::Kind::locked;
    const auto kind = isLocked ? Kind::keyLocked : Kind::keyUnavailable;
    if (loggedProblem != kind && !error.detail.empty())
        log.error("history: no key: %s", error.detail.c_str());
    fail(kind, error.message());
}

void HistoryVault::reportUnreadable(bool isKeyGone) {
    fail(Kind::listUnreadable,
        isKeyGone ? "The key of the stored history is gone from its place. Put it back to read the "
                    "history; the next dictation begins a new one and keeps this one aside."
                  : "A stored list could not be read and counts as empty. It is kept aside when "
                    "another takes its place.");
}

/// True also when it is certain that there is no key.
bool HistoryVault::findKey() {
    if (cachedKey) return true;
    auto loaded = keyStore.loadKeyData();
    if (!loaded) fail(loaded.error());
    if (loaded && *loaded) cachedKey.emplace(std::move(**loaded));
    return loaded.has_value();
}

bool HistoryVault::ensureKey() {
    if (cachedKey) return true;
    auto made = LocalHistoryCipher::key(keyStore, sink);
    if (!made) fail(made.error());
    if (made) cachedKey.emplace(std::move(*made));
    return made.has_value();
}

/// False when it is the key that is used already.
bool HistoryVault::adopt(Bytes key) {
    if (cachedKey && cachedKey->bytes() == key) return false;
    cachedKey.emplace(std::move(key));
    return true;
}

/// Before the first list in a store, which may have taken the place of the one that
/// the key was found for: the key, and the record of where it is, must be there
/// after this process too.
bool HistoryVault::confirmKey() {
    auto inForce = keyStore.saveKeyData(cachedKey->bytes());
    if (!inForce) fail(inForce.error());
    if (inForce) (void)adopt(std::move(*inForce));
    return inForce.has_value();
}

/// A list that does not open with the key known so far: another process may have
/// made a new one meanwhile, since the old one was deleted. A key that is in no place
/// any more goes back there, or what is sealed with it would be lost with this
/// process. Rare, so it may wait for the keyring inside a transaction.
HistoryVault::OtherKey HistoryVault::askForOtherKey() {
    if (!cachedKey || hasAskedForOtherKey) return OtherKey::none;
    hasAskedForOtherKey = true;
    auto stored = keyStore.loadKeyData();
    if (!stored) {
        fail(stored.error());
        return OtherKey::failed;
    }
    if (!*stored) return confirmKey() ? OtherKey::none : OtherKey::failed;
    return adopt(std::move(**stored)) ? OtherKey::found : OtherKey::none;
}

HistoryVault::Look HistoryVault::lookAt(std::string_view key, Bytes& bytes) {
    auto value = defaults.value(key);
    if (!value && value.error().kind == DefaultsError::Kind::unavailable) {
        fail(Kind::storeUnreadable, "The stored history cannot be reached.");
        return Look::failed;
    }
    if (value && !*value) return Look::absent;
    auto* found = value ? std::get_if<Bytes>(&**value) : nullptr;
    if (!found) return Look::unreadable;
    bytes = std::move(*found);
    return Look::bytes;
}

bool HistoryVault::change(const std::function<bool()>& body) {
    if (defaults.transaction(body)) {
        if (!lastProblem) loggedProblem.reset();
        return true;
    }
    if (!lastProblem || lastProblem->isPartial())
        fail(Kind::notStored, "The history could not be stored.");
    return false;
}

bool HistoryVault::changeSealed(const std::function<bool()>& body) {
    return ensureKey() && change(body);
}

bool HistoryVault::setAside(std::string_view key) {
    log.error("history: a list that could not be read is set aside");
    std::string newKey(key);
    newKey += asideSuffix;
    newKey += UUID::random().text();
    return defaults.moveValue(key, newKey);
}

} // namespace nimbe
