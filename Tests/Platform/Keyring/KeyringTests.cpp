#include <csignal>
#include <cstdlib>
#include <libsecret/secret.h>
#include <memory>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "PlatformSecrets/KeyringUnlock.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformSecrets/SecretServiceStore.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/TemporaryFolder.h"

// Against a real keyring: run by scripts/desktop-session.

namespace nimbe {
namespace {

using Kind = KeyStoreError::Kind;

const LocalKeychainKeyStore::Purpose purpose{
    {"com.nimbehq.test", "history"}, LocalKeychainKeyStore::Purpose::history().sealed};

Bytes keyOf(std::uint8_t first) {
    Bytes bytes(32);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(first + i);
    return bytes;
}

pid_t keyringPid() {
    const char* pid = std::getenv("SESSION_KEYRING_PID");
    return pid ? std::atoi(pid) : 0;
}

struct KeyringTest : testing::Test {
    TemporaryFolder folder;
    FakeLogSink log;
    SecretServiceStore keyring;
    SecretFileStore files{folder.path, log};
    SqliteUserDefaults defaults{folder.path / "settings.sqlite", log};
    LocalKeychainKeyStore keys{purpose, {keyring, files}, defaults, log};

    void SetUp() override { ASSERT_NE(keyringPid(), 0) << "not under scripts/desktop-session"; }
};

/// A second item with the same attributes, as a program that knows of no lock
/// would make it.
void addAnother(const SecretStore::Item& item, const char* text) {
    static const SecretSchema schema = [] {
        SecretSchema made{};
        made.name = "com.nimbehq.Secret";
        made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    SecretService* service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, nullptr);
    SecretCollection* collection = secret_collection_for_alias_sync(
        service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, nullptr);
    GHashTable* attributes = secret_attributes_build(
        &schema, "service", item.service.c_str(), "account", item.account.c_str(), nullptr);
    SecretValue* value = secret_value_new(text, -1, "text/plain");
    SecretItem* made = secret_item_create_sync(
        collection, &schema, attributes, "test", value, SECRET_ITEM_CREATE_NONE, nullptr, nullptr);
    EXPECT_NE(made, nullptr);
    g_clear_object(&made);
    secret_value_unref(value);
    g_hash_table_unref(attributes);
    g_object_unref(collection);
    g_object_unref(service);
}

void lockDefaultKeyring() {
    SecretService* service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, nullptr);
    SecretCollection* collection = secret_collection_for_alias_sync(
        service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, nullptr);
    GList* all = g_list_append(nullptr, collection);
    EXPECT_EQ(secret_service_lock_sync(service, all, nullptr, nullptr, nullptr), 1);
    g_list_free(all);
    g_object_unref(collection);
    g_object_unref(service);
}

} // namespace

TEST_F(KeyringTest, bothPlacesKeepTheFirstSecretOfAnAccount) {
    for (SecretStore* store :
        {static_cast<SecretStore*>(&keyring), static_cast<SecretStore*>(&files)}) {
        const SecretStore::Item one{"com.nimbehq.test.contract", "one"};
        const SecretStore::Item two{"com.nimbehq.test.contract", "two"};
        ASSERT_TRUE(store->read(one)) << store->read(one).error().detail;
        EXPECT_FALSE(*store->read(one));
        EXPECT_EQ(store->add(one, keyOf(0)).value(), SecretStore::Added::stored);
        EXPECT_EQ(store->add(two, keyOf(200)).value(), SecretStore::Added::stored);
        EXPECT_EQ(store->add(one, keyOf(7)).value(), SecretStore::Added::duplicate);
        EXPECT_EQ(store->read(one).value(), keyOf(0));
        EXPECT_EQ(store->read(two).value(), keyOf(200));
    }
}

TEST_F(KeyringTest, ofTwoItemsEveryoneTakesTheSame) {
    const SecretStore::Item item{"com.nimbehq.test.double", "default"};
    ASSERT_TRUE(keyring.add(item, keyOf(1)));
    addAnother(item, "AAAA");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(keyring.read(item).value(), keyOf(1));

    const SecretStore::Item foreign{"com.nimbehq.test.foreign", "default"};
    addAnother(foreign, "no base64!");
    ASSERT_FALSE(keyring.read(foreign));
    EXPECT_EQ(keyring.read(foreign).error().kind, Kind::damaged);
}

TEST_F(KeyringTest, theHistorysKeyIsKeptInTheKeyring) {
    DictationHistory history(defaults, keys, log);
    const auto entry = history.append("kept", DictationMode::notes, Date{1});
    EXPECT_EQ(history.problem(), std::nullopt) << log.all();
    EXPECT_EQ(defaults.get(LocalKeychainKeyStore::place), "keychain");
    EXPECT_FALSE(std::filesystem::exists(folder.path / "com.nimbehq.test.history"));

    SqliteUserDefaults otherDefaults(folder.path / "settings.sqlite", log);
    LocalKeychainKeyStore otherKeys(purpose, {keyring, files}, otherDefaults, log);
    DictationHistory other(otherDefaults, otherKeys, log);
    EXPECT_EQ(other.entries(), std::vector{entry});
}

// The next ones leave the keyring worse than they found it, each as the next needs it.

TEST_F(KeyringTest, aKeyringThatHangsIsGivenUpAndComesBack) {
    DictationHistory history(defaults, keys, log);
    const auto entry = history.append("kept", DictationMode::notes, Date{1});
    ASSERT_EQ(::kill(keyringPid(), SIGSTOP), 0);
    DictationHistory other(defaults, keys, log);
    EXPECT_TRUE(other.entries().empty());
    ASSERT_TRUE(other.problem());
    EXPECT_EQ(other.problem()->kind, HistoryProblem::Kind::keyUnavailable) << log.all();
    EXPECT_EQ(history.entries().size(), 1U) << "who has the key needs no keyring";
    ASSERT_EQ(::kill(keyringPid(), SIGCONT), 0);
    EXPECT_EQ(other.entries(), std::vector{entry});
}

TEST_F(KeyringTest, aLockedKeyringIsNoMissingKey) {
    DictationHistory history(defaults, keys, log);
    history.append("kept", DictationMode::notes, Date{1});
    const auto sealed = defaults.get(Setting<Bytes>{DictationHistory::key});
    lockDefaultKeyring();

    DictationHistory locked(defaults, keys, log);
    EXPECT_TRUE(locked.entries().empty());
    ASSERT_TRUE(locked.problem());
    EXPECT_EQ(locked.problem()->kind, HistoryProblem::Kind::keyLocked) << log.all();
    locked.append("waits", DictationMode::notes, Date{2});
    EXPECT_EQ(defaults.get(Setting<Bytes>{DictationHistory::key}), sealed);
    history.append("goes on", DictationMode::notes, Date{3});
    EXPECT_EQ(history.entries().size(), 2U);

    const SecretStore::Item fresh{"com.nimbehq.test.fresh", "default"};
    ASSERT_FALSE(keyring.read(fresh)) << "nothing is found, and may be there";
    EXPECT_EQ(keyring.read(fresh).error().kind, Kind::locked);
    ASSERT_FALSE(keyring.add(fresh, keyOf(0)));
    EXPECT_EQ(keyring.add(fresh, keyOf(0)).error().kind, Kind::locked);
    EXPECT_TRUE(files.read({"com.nimbehq.test", "history"}).value() == std::nullopt);

    // There is no desktop that could ask.
    RunLoop loop;
    std::optional<KeyringUnlock::Outcome> outcome;
    const Token asking = KeyringUnlock::request(loop, log, [&](KeyringUnlock::Outcome answer) {
        outcome = answer;
        loop.stop();
    });
    const Token watchdog = loop.schedule(20, [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(outcome, KeyringUnlock::Outcome::refused) << log.all();
}

TEST_F(KeyringTest, aKeyringThatWasKilledIsNoMissingKey) {
    // Its key is in a keyring, as the settings say.
    EXPECT_TRUE(defaults.set(LocalKeychainKeyStore::place, std::string("keychain")));
    ASSERT_EQ(::kill(keyringPid(), SIGKILL), 0);
    DictationHistory history(defaults, keys, log);
    history.append("waits", DictationMode::notes, Date{1});
    ASSERT_TRUE(history.problem());
    EXPECT_EQ(history.problem()->kind, HistoryProblem::Kind::keyUnavailable) << log.all();
    EXPECT_EQ(history.entries().size(), 1U);
    EXPECT_FALSE(*defaults.value(DictationHistory::key));
    EXPECT_FALSE(files.read({"com.nimbehq.test", "history"}).value());
}

} // namespace nimbe
