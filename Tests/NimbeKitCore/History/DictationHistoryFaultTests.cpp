#include <set>

#include "DictationHistoryFixture.h"
#include "Fakes/FakeSecretStore.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"

namespace nimbe {
namespace {

using Kind = HistoryProblem::Kind;
using enum DictationMode;

} // namespace

TEST_F(DictationHistoryTest, whatCannotBeReadIsSetAsideBeforeItIsOverwritten) {
    history.append("lost", notes, now);
    history.stash(entryAt(0, "lost too"), false, now);
    const auto entries = stored("dictation.history");
    const auto trash = stored("dictation.history.trash");
    keys.data = Bytes(32, 9); // the keyring item was deleted and made anew
    DictationHistory later(defaults, keys, log);
    EXPECT_TRUE(later.entries().empty());
    EXPECT_TRUE(later.trashed(now + 90 * day).empty());
    EXPECT_EQ(stored("dictation.history"), entries) << "reading moves nothing";

    const auto entry = later.append("new", notes, now);
    later.deleteEntry(entry.id, now);
    EXPECT_EQ(later.trashed(now).size(), 1U);
    std::set<Bytes> kept;
    for (const auto& key : asideKeys()) kept.insert(stored(key));
    EXPECT_EQ(kept, (std::set{entries, trash}));

    EXPECT_TRUE(defaults.setValue("dictation.history", std::string("of another type")));
    defaults.unreadable.emplace("dictation.history.trash"); // damaged in the store itself
    later.deleteEntry(later.append("newer", notes, now).id, now);
    EXPECT_EQ(later.trashed(now).size(), 1U);
    EXPECT_EQ(asideKeys().size(), 4U);
}

TEST_F(DictationHistoryTest, aValueOfAnySizeIsSetAside) {
    for (const std::size_t size : {0U, 1U, 27U, 28U, 29U, 100'000'000U}) {
        EXPECT_TRUE(defaults.setValue("dictation.history", Bytes(size, 'x')));
        EXPECT_TRUE(history.entries().empty()) << size;
        history.append("new", notes, now);
        EXPECT_EQ(texts(), std::vector<std::string>{"new"}) << size;
        ASSERT_EQ(asideKeys().size(), 1U) << size;
        EXPECT_EQ(stored(asideKeys()[0]).size(), size);
        EXPECT_TRUE(defaults.removeValue(asideKeys()[0]));
    }
}

TEST_F(DictationHistoryTest, withoutItsKeyNothingIsWrittenAndNothingIsLost) {
    history.append("first", notes, now);
    const auto before = stored("dictation.history");
    const auto key = keys.data;
    for (const auto error : {KeyStoreError::Kind::locked, KeyStoreError::Kind::unreachable}) {
        keys.error = error;
        DictationHistory locked(defaults, keys, log);
        EXPECT_TRUE(locked.entries().empty());
        const auto kind =
            error == KeyStoreError::Kind::locked ? Kind::keyLocked : Kind::keyUnavailable;
        ASSERT_TRUE(locked.problem());
        EXPECT_EQ(locked.problem()->kind, kind);
        EXPECT_TRUE(locked.problem()->sentence.ends_with("."));
        const auto waiting = locked.append("while locked", notes, now + 1);
        EXPECT_EQ(locked.problem()->kind, kind);
        EXPECT_EQ(locked.entries(), std::vector{waiting}) << "what was said is still there";
        locked.update(waiting.id, "changed");
        locked.deleteEntry(waiting.id, now);
        locked.stash(waiting, false, now);
        EXPECT_EQ(locked.restore(waiting.id), std::nullopt);
        EXPECT_TRUE(locked.trashed(now).empty());
        EXPECT_EQ(stored("dictation.history"), before);
        EXPECT_FALSE(*defaults.value("dictation.history.trash"));

        keys.error.reset();
        EXPECT_EQ(locked.entries().size(), 2U) << "unlocked: stored at the next look";
        EXPECT_EQ(history.entries().front().text, "changed");
        EXPECT_EQ(history.entries().front().originalText, "while locked");
        EXPECT_EQ(keys.data, key);
        history.deleteEntry(waiting.id, now);
        history.emptyTrash();
        EXPECT_TRUE(defaults.setValue("dictation.history", before));
    }
}

TEST_F(DictationHistoryTest, aStoreThatTakesNothingKeepsTheOldAndTheNewWaits) {
    const auto first = history.append("first", notes, now);
    defaults.refusesWrites = true;
    const auto before = stored("dictation.history");
    const auto second = history.append("second", notes, now);
    EXPECT_EQ(problem(), Kind::notStored);
    history.update(first.id, "changed");
    EXPECT_EQ(problem(), Kind::notStored);
    history.deleteEntry(first.id, now);
    for (int i = 0; i < 120; ++i) history.append("more", notes, now);
    EXPECT_EQ(history.entries().size(), 100U);
    EXPECT_EQ(stored("dictation.history"), before);

    defaults.refusesWrites = false;
    history.append("last", notes, now);
    EXPECT_EQ(problem(), std::nullopt);
    DictationHistory other(defaults, keys, log);
    EXPECT_EQ(other.entries().size(), 100U);
    EXPECT_EQ(other.entries().front().text, "last");
    EXPECT_EQ(other.entries().back().text, "more");
    history.clear();
    EXPECT_TRUE(history.entries().empty()) << "nothing waits any more";
    EXPECT_FALSE(log.all().find("more") != std::string::npos) << "no word of what was said";
}

TEST_F(DictationHistoryTest, whatWaitsIsStoredAtTheEndAtTheLatest) {
    {
        DictationHistory brief(defaults, keys, log);
        keys.error = KeyStoreError::Kind::locked;
        brief.append("waits", notes, now);
        keys.error.reset();
    }
    EXPECT_EQ(texts(), std::vector<std::string>{"waits"});
    {
        DictationHistory brief(defaults, keys, log);
        defaults.refusesWrites = true;
        brief.append("lost", notes, now);
    }
    EXPECT_TRUE(log.has(LogLevel::error, "could not be stored are lost: 1"));
}

TEST_F(DictationHistoryTest, whatIsTooLargeForTheStoreKeepsNothingElseFromIt) {
    history.append("before", notes, now);
    defaults.largestValue = 10'000;
    history.append(std::string(20'000, 'x'), notes, now + 1);
    EXPECT_EQ(problem(), Kind::notStored);
    history.append("small", notes, now + 2);
    EXPECT_EQ(problem(), std::nullopt);
    history.append("smaller", notes, now + 3);
    EXPECT_EQ(history.entries().size(), 4U);
    DictationHistory other(defaults, keys, log);
    EXPECT_EQ(other.entries().size(), 3U);
    defaults.refusesWrites = true;
    history.append("waits beside the large one", notes, now + 4);
    defaults.refusesWrites = false;
    EXPECT_EQ(history.entries().size(), 5U);
    EXPECT_EQ(other.entries().size(), 4U) << "each that fits is stored";
    defaults.largestValue.reset();
    EXPECT_EQ(history.entries().size(), 5U);
    EXPECT_EQ(other.entries().size(), 5U) << "there is room again";
}

TEST_F(DictationHistoryTest, aClearThatFailsForgetsNothing) {
    history.append("stored", notes, now);
    defaults.refusesWrites = true;
    history.append("waits", notes, now);
    history.clear();
    EXPECT_EQ(problem(), Kind::notStored);
    EXPECT_EQ(texts(), (std::vector<std::string>{"waits", "stored"}));
}

TEST_F(DictationHistoryTest, aKeyThatOthersMadeAnewIsTakenUp) {
    history.append("first key", notes, now);
    keys.data.reset(); // deleted by hand
    DictationHistory other(defaults, keys, log);
    other.append("second key", notes, now + 1);
    history.append("taken up", notes, now + 2);
    EXPECT_EQ(problem(), std::nullopt);
    EXPECT_EQ(texts(), (std::vector<std::string>{"taken up", "second key"}));
    other.append("by both", notes, now + 3);
    EXPECT_EQ(texts().size(), 3U);
    EXPECT_EQ(asideKeys().size(), 1U) << "the first key's list, once";
}

TEST_F(DictationHistoryTest, aKeyThatIsGoneFromItsPlaceGoesBackThere) {
    history.append("kept", notes, now);
    const auto key = keys.data;
    for (const bool isCleared : {false, true}) {
        keys.data.reset();
        if (isCleared)
            history.clear(); // the next list is the first one
        else
            store("dictation.history", "damaged");
        history.append("new", notes, now);
        EXPECT_EQ(keys.data, key);
        DictationHistory other(defaults, keys, log);
        EXPECT_EQ(other.entries().size(), 1U);
    }
    keys.error = KeyStoreError::Kind::locked;
    store("dictation.history", "damaged");
    history.append("waits", notes, now);
    EXPECT_EQ(problem(), Kind::keyLocked) << "the key of what is there cannot be asked for";
    EXPECT_EQ(stored("dictation.history").size(), 7U);
}

TEST_F(DictationHistoryTest, aDamagedListIsNoMatterOfTheKeyWhereNothingCanBeWritten) {
    FakeSecretStore keychain;
    FakeSecretStore file;
    LocalKeychainKeyStore places(
        LocalKeychainKeyStore::Purpose::history(), {keychain, file}, defaults, log);
    DictationHistory running(defaults, places, log);
    running.deleteEntry(running.append("in the trash", notes, now).id, now);
    store("dictation.history", "damaged");
    defaults.isReadOnly = true;
    EXPECT_TRUE(running.entries().empty());
    ASSERT_TRUE(running.problem());
    EXPECT_EQ(running.problem()->kind, Kind::listUnreadable);
    EXPECT_EQ(running.trashed(now).size(), 1U);
    EXPECT_FALSE(running.problem());
}

TEST_F(DictationHistoryTest, settingsThatWereReplacedLearnWhereTheKeyIs) {
    FakeSecretStore keychain;
    FakeSecretStore file;
    LocalKeychainKeyStore store(
        LocalKeychainKeyStore::Purpose::history(), {keychain, file}, defaults, log);
    DictationHistory running(defaults, store, log);
    running.append("before", notes, now);
    for (const auto& key : defaults.keys()) EXPECT_TRUE(defaults.removeValue(key));
    running.append("after", notes, now);
    keychain.error = KeyStoreError::Kind::unreachable;
    DictationHistory later(defaults, store, log);
    later.append("waits", notes, now);
    ASSERT_TRUE(later.problem());
    EXPECT_EQ(later.problem()->kind, Kind::keyUnavailable) << "no key beside the keyring's";
    EXPECT_TRUE(file.secrets.empty());
    keychain.error.reset();
    EXPECT_EQ(later.entries().size(), 2U);
}

TEST_F(DictationHistoryTest, aDeletionQueueThatCannotBeReadIsSetAside) {
    history.projectForKeyboard({entryAt(0, "x")});
    const auto id = UUID::random();
    EXPECT_TRUE(defaults.setValue("dictation.history.pendingDeletes", std::string("no list")));
    history.deleteFromKeyboard(id, now);
    EXPECT_EQ(asideKeys().size(), 1U);
    EXPECT_EQ(history.drainKeyboardDeletions(), std::vector{id});
}

} // namespace nimbe
