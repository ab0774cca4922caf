#include "NimbeKitCore/History/LocalKeychainKeyStore.h"

#include <algorithm>

#include "Foundation/Json.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/SymmetricKey.h"

namespace nimbe {

using Kind = KeyStoreError::Kind;

LocalKeychainKeyStore::Purpose LocalKeychainKeyStore::Purpose::history() {
    return {{"com.nimbehq.history.key", "default"},
        {DictationHistory::key, DictationHistory::trashKey, DictationHistory::mirrorKey}};
}

LocalKeychainKeyStore::LocalKeychainKeyStore(
    Purpose purpose, Places places, UserDefaults& defaults, LogSink& sink)
    : purpose(std::move(purpose)), places(places), defaults(defaults),
      log(sink, this->purpose.category) {}

/// Empty when no key was made yet, as far as the settings know.
Result<std::string, KeyStoreError> LocalKeychainKeyStore::recordedPlace() {
    const auto value = defaults.value(purpose.placeKey);
    // Settings that cannot be read may hold a place: guessing would be a new key.
    if (!value) return failure(KeyStoreError{Kind::failed, "the key's place cannot be read"});
    if (!*value) return std::string();
    const auto* name = std::get_if<std::string>(&**value);
    if (name && (*name == inKeychain || *name == inFile)) return *name;
    return failure(KeyStoreError{Kind::failed, "the key's place has no known name"});
}

Result<std::optional<Bytes>, KeyStoreError> LocalKeychainKeyStore::loadKeyData() {
    const auto known = recordedPlace();
    if (!known) return failure(known.error());
    bool keychainAnswers = true;
    if (!known->empty()) return readFrom(*known);
    auto unrecorded = loadUnrecorded(keychainAnswers);
    if (unrecorded && *unrecorded) return unrecorded;
    // Another process may have made the key between these looks. It records the place
    // before it seals anything, so whoever saw something sealed sees the place too.
    const auto meanwhile = recordedPlace();
    if (!meanwhile) return failure(meanwhile.error());
    if (!meanwhile->empty()) return readFrom(*meanwhile);
    return unrecorded;
}

Result<std::optional<Bytes>, KeyStoreError> LocalKeychainKeyStore::readFrom(
    std::string_view recorded) {
    auto found = (recorded == inKeychain ? places.keychain : places.file).read(purpose.item);
    if (found && *found && (*found)->size() != SymmetricKey::size)
        return failure(KeyStoreError{Kind::damaged, "a key of another length"});
    return found;
}

/// The settings know of no key. One may be there all the same: the process that
/// made it ended before it was recorded, or the settings are new and the key is not.
Result<std::optional<Bytes>, KeyStoreError> LocalKeychainKeyStore::loadUnrecorded(
    bool& keychainAnswers) {
    auto inFiles = readFrom(inFile);
    if (!inFiles) return inFiles;
    if (*inFiles) return recorded(inFile, std::move(**inFiles));
    auto inKeyring = readFrom(inKeychain);
    keychainAnswers = inKeyring || inKeyring.error().kind != Kind::unreachable;
    if (inKeyring && *inKeyring) return recorded(inKeychain, std::move(**inKeyring));
    // What is sealed already was sealed with a key that only the keyring can have.
    if (!keychainAnswers && !hasSealed()) return std::optional<Bytes>();
    return inKeyring;
}

/// Records where a key was found: without that a keyring that is away later would
/// look like one that never had it. The key that is then in force: another process
/// may have made one elsewhere meanwhile.
Result<std::optional<Bytes>, KeyStoreError> LocalKeychainKeyStore::recorded(
    std::string_view found, Bytes key) {
    Result<std::string, KeyStoreError> before = std::string();
    const bool isKept = defaults.transaction([&] {
        before = recordedPlace();
        return before && (!before->empty() || defaults.set(recordOfPlace(), std::string(found)));
    });
    if (!before) return failure(before.error());
    if (!before->empty() && *before != found) return readFrom(*before);
    if (!isKept) log.warning("%s: its place could not be recorded", purpose.area);
    return std::optional<Bytes>(std::move(key));
}

/// Also when that cannot be told.
bool LocalKeychainKeyStore::hasSealed() {
    if (purpose.hasSealedElsewhere()) return true;
    return std::any_of(purpose.sealed.begin(), purpose.sealed.end(), [&](std::string_view key) {
        const auto value = defaults.value(key);
        if (!value) return true;
        const auto* bytes = *value ? std::get_if<Bytes>(&**value) : nullptr;
        // Earlier versions stored JSON as it was.
        return bytes && !Json::parse({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    });
}

Result<Bytes, KeyStoreError> LocalKeychainKeyStore::saveKeyData(const Bytes& bytes) {
    Result<Bytes, KeyStoreError> inForce =
        failure(KeyStoreError{Kind::failed, "the settings cannot be written"});
    const bool isKept = defaults.transaction([&] {
        inForce = saveLocked(bytes);
        return inForce.has_value();
    });
    // The key may stand somewhere now without a record; the next load finds it.
    if (!isKept && inForce)
        return failure(KeyStoreError{Kind::failed, "the key's place cannot be recorded"});
    return inForce;
}

Result<Bytes, KeyStoreError> LocalKeychainKeyStore::saveLocked(const Bytes& bytes) {
    const auto known = recordedPlace();
    if (!known) return failure(known.error());
    bool keychainAnswers = true;
    auto earlier = known->empty() ? loadUnrecorded(keychainAnswers) : readFrom(*known);
    if (!earlier) return failure(earlier.error());
    if (*earlier) return std::move(**earlier);

    const auto where = addSomewhere(keychainAnswers, *known, bytes);
    if (!where) return failure(where.error());
    if (!defaults.set(recordOfPlace(), std::string(*where)))
        return failure(KeyStoreError{Kind::failed, "the key's place cannot be recorded"});
    log.info("%s: kept in the %s", purpose.area, std::string(*where).c_str());

    // What is really there now is the key, whoever put it there.
    auto stored = readFrom(*where);
    if (!stored) return failure(stored.error());
    if (!*stored) return failure(KeyStoreError{Kind::failed, "the key is gone again"});
    return std::move(**stored);
}

/// A keyring that answers is used; the file is for where none does. Once recorded,
/// the place stays.
Result<std::string_view, KeyStoreError> LocalKeychainKeyStore::addSomewhere(
    bool keychainAnswers, const std::string& recorded, const Bytes& bytes) {
    // One that has just not answered is not made to wait for again.
    if (recorded != inFile && keychainAnswers) {
        const auto added = places.keychain.add(purpose.item, bytes);
        if (added) return inKeychain;
        const bool mayFallBack = recorded.empty() && added.error().kind == Kind::unreachable;
        if (!mayFallBack) return failure(added.error());
    }
    const auto added = places.file.add(purpose.item, bytes);
    if (!added) return failure(added.error());
    return inFile;
}

} // namespace nimbe
