#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSecretStore.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"

namespace nimbe {
namespace {

using Kind = KeyStoreError::Kind;

const Bytes first(32, 1);
const Bytes second(32, 2);
const std::string name = "com.nimbehq.history.key default";

struct LocalKeychainKeyStoreTest : testing::Test {
    FakeSecretStore keychain;
    FakeSecretStore file;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    LocalKeychainKeyStore store{
        LocalKeychainKeyStore::Purpose::history(), {keychain, file}, defaults, log};

    [[nodiscard]] std::string place() { return defaults.get(LocalKeychainKeyStore::place); }
};

} // namespace

TEST_F(LocalKeychainKeyStoreTest, whereAKeyIsMadeAndWhereItIsNot) {
    struct Case {
        const char* why;
        std::optional<Kind> keychainError;
        std::optional<Kind> fileError;
        std::string recorded;
        std::string placeAfter;        // where the key then is
        std::optional<Kind> saveError; // or why there is none
    };
    const Case cases[] = {
        {"a keyring that answers", {}, {}, "", "keychain", {}},
        {"no keyring", Kind::unreachable, {}, "", "file", {}},
        {"a locked keyring is no missing one", Kind::locked, {}, "", "", Kind::locked},
        {"an error of the keyring is none either", Kind::failed, {}, "", "", Kind::failed},
        {"no keyring and no folder", Kind::unreachable, Kind::failed, "", "", Kind::failed},
        {"recorded as in the keyring, which is away", Kind::unreachable, {}, "keychain", "keychain",
            Kind::unreachable},
        {"recorded as in the keyring, and deleted there", {}, {}, "keychain", "keychain", {}},
        {"recorded as in the file, and deleted there", {}, {}, "file", "file", {}},
        {"a place of a newer version", {}, {}, "moon", "moon", Kind::failed},
    };
    for (const auto& c : cases) {
        keychain = {};
        file = {};
        keychain.error = c.keychainError;
        file.error = c.fileError;
        if (c.recorded.empty())
            EXPECT_TRUE(defaults.remove(LocalKeychainKeyStore::place));
        else
            EXPECT_TRUE(defaults.set(LocalKeychainKeyStore::place, c.recorded));

        const auto saved = store.saveKeyData(first);
        EXPECT_EQ(place(), c.placeAfter) << c.why;
        if (c.saveError) {
            ASSERT_FALSE(saved) << c.why;
            EXPECT_EQ(saved.error().kind, *c.saveError) << c.why;
            EXPECT_TRUE(keychain.secrets.empty() && file.secrets.empty()) << c.why;
            continue;
        }
        ASSERT_TRUE(saved) << c.why;
        EXPECT_EQ(*saved, first) << c.why;
        EXPECT_EQ((place() == "file" ? file : keychain).secrets.at(name), first) << c.why;
        EXPECT_EQ(keychain.secrets.size() + file.secrets.size(), 1U) << c.why;
        EXPECT_TRUE(store.loadKeyData().value() == first) << c.why;
        EXPECT_TRUE(store.saveKeyData(second) == first) << c.why << ": the first writer wins";
    }
}

TEST_F(LocalKeychainKeyStoreTest, theRecordedPlaceAloneIsAsked) {
    file.secrets[name] = first;
    keychain.secrets[name] = second;
    EXPECT_TRUE(defaults.set(LocalKeychainKeyStore::place, std::string("keychain")));
    EXPECT_TRUE(store.loadKeyData().value() == second);
    keychain.error = Kind::locked;
    const auto locked = store.loadKeyData();
    ASSERT_FALSE(locked) << "a key in the other place is not this one";
    EXPECT_EQ(locked.error().kind, Kind::locked);
    EXPECT_EQ(file.reads, 0);

    EXPECT_TRUE(defaults.set(LocalKeychainKeyStore::place, std::string("file")));
    keychain.reads = 0;
    EXPECT_TRUE(store.loadKeyData().value() == first);
    EXPECT_EQ(keychain.reads, 0);
}

TEST_F(LocalKeychainKeyStoreTest, aKeyWithoutARecordIsFoundAndRecorded) {
    keychain.secrets[name] = first;
    EXPECT_TRUE(store.loadKeyData().value() == first);
    keychain.error = Kind::unreachable;
    EXPECT_FALSE(store.loadKeyData()) << "away is not absent any more";
    keychain.error.reset();
    EXPECT_TRUE(store.saveKeyData(second) == first) << "no second key beside it";
    EXPECT_TRUE(defaults.remove(LocalKeychainKeyStore::place));
    keychain.secrets.clear();
    EXPECT_FALSE(store.loadKeyData().value());
    file.secrets[name] = first;
    EXPECT_TRUE(store.loadKeyData().value() == first);
    EXPECT_EQ(place(), "file");
}

TEST_F(LocalKeychainKeyStoreTest, whatIsSealedAlreadyGetsNoNewKeyWhileTheKeyringIsAway) {
    struct Case {
        const char* why;
        const char* key;
        UserDefaults::Value value;
        bool isKeyMade;
    };
    const std::string json = "[]";
    const Case cases[] = {
        {"a sealed list", "dictation.history", Bytes(40, 7), false},
        {"a sealed trash", "dictation.history.trash", Bytes(40, '['), false},
        {"JSON of an earlier version", "dictation.history", Bytes(json.begin(), json.end()), true},
        {"no list at all", "dictation.history", json, true},
        {"another setting", "dictation.other", Bytes(40, 7), true},
    };
    for (const auto& c : cases) {
        file = {};
        keychain.error = Kind::unreachable;
        EXPECT_TRUE(defaults.remove(LocalKeychainKeyStore::place));
        EXPECT_TRUE(defaults.setValue(c.key, c.value));
        EXPECT_EQ(store.loadKeyData().has_value(), c.isKeyMade) << c.why;
        EXPECT_EQ(store.saveKeyData(first).has_value(), c.isKeyMade) << c.why;
        EXPECT_EQ(file.secrets.size(), c.isKeyMade ? 1U : 0U) << c.why;
        keychain.error.reset(); // it answers, and has no key: that one is lost
        EXPECT_TRUE(store.saveKeyData(first)) << c.why;
        keychain = {};
        EXPECT_TRUE(defaults.removeValue(c.key));
    }
}

TEST_F(LocalKeychainKeyStoreTest, ofTwoWritersTheFirstWins) {
    // The other process gets in between the search and the addition.
    keychain.onAdd = [&] {
        keychain.secrets[name] = second;
    };
    EXPECT_TRUE(store.saveKeyData(first) == second);
    EXPECT_EQ(keychain.secrets.at(name), second);
}

TEST_F(LocalKeychainKeyStoreTest, aKeyMadeByAnotherProcessDuringTheSearchIsFound) {
    FakeSecretStore othersView;
    othersView.error = Kind::unreachable;
    LocalKeychainKeyStore other(
        LocalKeychainKeyStore::Purpose::history(), {othersView, file}, defaults, log);
    keychain.error = Kind::unreachable;
    // The file was looked at already, and found empty.
    keychain.onRead = [&] {
        ASSERT_TRUE(other.saveKeyData(second));
        ASSERT_TRUE(defaults.setValue(DictationHistory::key, Bytes{'s', 'e', 'a', 'l'}));
    };
    const auto found = store.loadKeyData();
    ASSERT_TRUE(found) << "what is sealed was taken for another's";
    EXPECT_EQ(*found, second);
}

TEST_F(LocalKeychainKeyStoreTest, aKeyringThatEndsMeanwhileIsNotForsaken) {
    EXPECT_TRUE(defaults.set(LocalKeychainKeyStore::place, std::string("keychain")));
    keychain.onAdd = [&] {
        keychain.error = Kind::unreachable;
    };
    EXPECT_FALSE(store.saveKeyData(first));
    EXPECT_TRUE(file.secrets.empty());
    EXPECT_EQ(place(), "keychain");
}

TEST_F(LocalKeychainKeyStoreTest, settingsThatFailNeverLeadToAKey) {
    defaults.unreadable.emplace(LocalKeychainKeyStore::place.key);
    EXPECT_FALSE(store.loadKeyData());
    EXPECT_FALSE(store.saveKeyData(first));
    EXPECT_EQ(keychain.reads + file.reads, 0);
    defaults.unreadable.clear();
    defaults.refusesWrites = true;
    EXPECT_FALSE(store.saveKeyData(first)) << "a place that cannot be recorded";
    defaults.refusesWrites = false;
    EXPECT_TRUE(store.loadKeyData().value() == first) << "found where it was put";
}

TEST_F(LocalKeychainKeyStoreTest, aKeyOfAnotherLengthIsDamage) {
    for (const std::size_t size : {1U, 31U, 33U}) {
        keychain.secrets[name] = Bytes(size, 1);
        const auto loaded = store.loadKeyData();
        ASSERT_FALSE(loaded) << size;
        EXPECT_EQ(loaded.error().kind, Kind::damaged);
        EXPECT_FALSE(store.saveKeyData(first)) << "and is not overwritten";
    }
}

} // namespace nimbe
