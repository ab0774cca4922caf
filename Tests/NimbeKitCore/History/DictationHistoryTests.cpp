#include <cmath>
#include <limits>
#include <mutex>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSecretStore.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/HistoryCodec.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"

namespace nimbe {
namespace {

using Kind = HistoryProblem::Kind;
using enum DictationMode;

constexpr Date now{800'000'000.25};
constexpr Seconds day = 86'400;

/// A key store that can be away.
class FakeHistoryKeyStore final : public LocalHistoryKeyStore {
public:
    std::optional<Bytes> data;
    std::optional<KeyStoreError::Kind> error;

    Result<std::optional<Bytes>, KeyStoreError> loadKeyData() override {
        const std::lock_guard guard(lock);
        if (error) return failure(KeyStoreError{*error});
        return data;
    }
    Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) override {
        const std::lock_guard guard(lock);
        if (error) return failure(KeyStoreError{*error});
        if (!data) data = bytes;
        return *data;
    }

private:
    std::mutex lock;
};

struct DictationHistoryTest : testing::Test {
    MemoryUserDefaults defaults;
    FakeHistoryKeyStore keys;
    FakeLogSink log;
    DictationHistory history{defaults, keys, log};

    [[nodiscard]] std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (const auto& entry : history.entries()) result.push_back(entry.text);
        return result;
    }
    [[nodiscard]] std::vector<std::string> trashTexts(Date at = now) {
        std::vector<std::string> result;
        for (const auto& item : history.trashed(at)) result.push_back(item.entry.text);
        return result;
    }
    [[nodiscard]] Bytes stored(std::string_view key) { return defaults.get(Setting<Bytes>{key}); }
    [[nodiscard]] std::string opened(std::string_view key) {
        const auto plain = LocalHistoryCipher::decrypt(stored(key), SymmetricKey(*keys.data));
        return plain ? std::string(plain->begin(), plain->end()) : "does not open";
    }
    void store(std::string_view key, std::string_view bytes) {
        EXPECT_TRUE(defaults.setValue(key, Bytes(bytes.begin(), bytes.end())));
    }
    void storeSealed(std::string_view key, std::string_view json) {
        if (!keys.data) keys.data = Bytes(32, 5);
        const auto sealed =
            LocalHistoryCipher::encrypt(Bytes(json.begin(), json.end()), SymmetricKey(*keys.data));
        EXPECT_TRUE(defaults.setValue(key, *sealed));
    }
    [[nodiscard]] std::vector<std::string> asideKeys() {
        auto keys = defaults.keys();
        std::erase_if(keys, [](const auto& key) { return key.find(".unreadable.") == key.npos; });
        return keys;
    }
    [[nodiscard]] std::optional<Kind> problem() const {
        const auto found = history.problem();
        return found ? std::optional<Kind>(found->kind) : std::nullopt;
    }
};

DictationEntry entryAt(Seconds age, std::string text) {
    return {UUID::random(), std::move(text), now - age, notes};
}

const std::string someId = "4F1C09AB-0000-4000-8000-0123456789AB";

} // namespace

TEST_F(DictationHistoryTest, theHundredAndFirstEntryDropsTheOldest) {
    for (int i = 1; i <= 100; ++i) history.append(std::to_string(i), notes, now + i);
    EXPECT_EQ(texts().size(), 100U);
    EXPECT_EQ(texts().back(), "1");
    history.append("101", notes, now - day); // the clock was set back: still the newest
    EXPECT_EQ(texts().size(), 100U);
    EXPECT_EQ(texts().front(), "101");
    EXPECT_EQ(texts().back(), "2");
    EXPECT_EQ(problem(), std::nullopt);
}

TEST_F(DictationHistoryTest, theStoredFormIsSealedJson) {
    using namespace std::string_literals;
    const auto text = "  Zo\xC3\xAB said \"no\"\n\xE2\x80\xA8 \0 😀\\ "s;
    const auto entry = history.append(text, coding, now);
    EXPECT_EQ(history.entries(), std::vector{entry});
    EXPECT_EQ(entry.text, text);
    EXPECT_EQ(
        opened(DictationHistory::key).substr(0, 49), "[{\"id\":\"" + entry.id.text() + "\",\"te");
    EXPECT_NE(opened("dictation.history").find("\"timestamp\":800000000.25,\"mode\":\"coding\"}]"),
        std::string::npos)
        << opened("dictation.history");

    history.update(entry.id, "new");
    EXPECT_NE(opened("dictation.history").find(",\"originalText\":"), std::string::npos);
    history.deleteEntry(entry.id, now + 1);
    EXPECT_EQ(opened("dictation.history"), "[]");
    const auto trash = opened("dictation.history.trash");
    EXPECT_TRUE(trash.starts_with("[{\"entry\":{\"id\":")) << trash;
    EXPECT_TRUE(trash.ends_with(",\"deletedAt\":800000001.25,\"wasSynced\":false}]")) << trash;
}

TEST_F(DictationHistoryTest, textThatIsNotUtf8IsMendedAndCostsNoOtherEntry) {
    history.append("before", notes, now);
    const auto entry = history.append("bad \xFF\xC3", notes, now);
    EXPECT_EQ(entry.text, "bad \xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(history.entries().front(), entry);
    history.update(entry.id, "worse \xED\xA0\x80");
    history.stash(DictationEntry{UUID::random(), "\xFE", now, notes, "\xFE"}, true, now);
    EXPECT_EQ(texts().back(), "before");
    EXPECT_EQ(trashTexts(), std::vector<std::string>{"\xEF\xBF\xBD"});
}

TEST_F(DictationHistoryTest, aDateThatIsNoNumberIsNotWrittenOverTheRest) {
    history.append("before", notes, now);
    history.append("never", notes, Date{std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(problem(), Kind::notStored);
    history.stash(entryAt(0, "x"), false, Date{std::numeric_limits<double>::infinity()});
    EXPECT_EQ(problem(), Kind::notStored);
    history.append("after", notes, now);
    EXPECT_EQ(texts(), (std::vector<std::string>{"after", "before"}));
}

TEST_F(DictationHistoryTest, anEditKeepsTheVeryFirstTextUntilItComesBack) {
    const auto id = history.append("first", notes, now).id;
    history.append("other", notes, now);
    struct Edit {
        const char* text;
        const char* expected;
        std::optional<std::string> original;
    };
    const Edit edits[] = {
        {"  \n\xE2\x80\xA8\xC2\xA0", "first", {}}, // blank: nothing
        {" second ", " second ", "first"},
        {"third", "third", "first"},
        {"third", "third", "first"},
        {"first ", "first ", "first"},
        {"first", "first", {}},
    };
    for (const auto& edit : edits) {
        history.update(id, edit.text);
        const auto entry = history.entries().back();
        EXPECT_EQ(entry.text, edit.expected);
        EXPECT_EQ(entry.originalText, edit.original) << edit.text;
        EXPECT_EQ(entry.timestamp, now);
    }
    const auto before = stored("dictation.history");
    history.update(UUID::random(), "unknown");
    EXPECT_EQ(stored("dictation.history"), before);
    EXPECT_EQ(problem(), std::nullopt);
}

TEST_F(DictationHistoryTest, whatAnotherInstanceWroteIsSeenThoughItIsAsLong) {
    DictationHistory other(defaults, keys, log);
    const auto entry = history.append("one", notes, now);
    EXPECT_EQ(other.entries(), std::vector{entry});
    history.deleteEntry(entry.id, now);
    history.emptyTrash();
    history.append("two", notes, now);
    EXPECT_EQ(other.entries().front().text, "two");
    EXPECT_EQ(texts(), std::vector<std::string>{"two"});
}

TEST_F(DictationHistoryTest, theTrashKeepsThirtyDaysToTheSecond) {
    constexpr Seconds month = 2'592'000;
    history.stash(entryAt(0, "older"), false, now - 1);
    history.stash(entryAt(0, "old"), false, now);
    EXPECT_EQ(trashTexts(now + month), std::vector<std::string>{"old"});
    EXPECT_EQ(trashTexts(now), std::vector<std::string>{"old"}) << "the purge was stored";
    EXPECT_EQ(trashTexts(now - month), std::vector<std::string>{"old"}) << "clock set back";
    EXPECT_TRUE(trashTexts(now + month + 0.001).empty());
    EXPECT_FALSE(*defaults.value("dictation.history.trash")) << "no value for an empty trash";

    history.stash(entryAt(0, "a"), false, now);
    history.stash(entryAt(0, "b"), false, now + month + 1);
    EXPECT_EQ(trashTexts(), std::vector<std::string>{"b"}) << "additions purge as well";
    for (int i = 0; i < 100; ++i)
        history.stash(entryAt(0, std::to_string(i)), false, now + month + 1);
    EXPECT_EQ(trashTexts().size(), 100U);
    EXPECT_EQ(trashTexts().front(), "99");
    EXPECT_EQ(trashTexts().back(), "0") << "b was the oldest";
}

TEST_F(DictationHistoryTest, deletedEntriesComeBack) {
    const auto a = history.append("a", notes, now);
    const auto b = history.append("b", notes, now + 1);
    const auto c = history.append("c", notes, now + 2);
    history.deleteEntry(b.id, now + 3);
    history.deleteEntry(b.id, now + 3); // no longer there: no second trash item
    EXPECT_EQ(texts(), (std::vector<std::string>{"c", "a"}));
    EXPECT_EQ(trashTexts(), std::vector<std::string>{"b"});
    EXPECT_EQ(history.restore(a.id), std::nullopt) << "not in the trash";

    EXPECT_EQ(history.restore(b.id), (TrashedEntry{b, now + 3, false}));
    EXPECT_EQ(texts(), (std::vector<std::string>{"c", "b", "a"}));
    EXPECT_TRUE(trashTexts().empty());
    EXPECT_EQ(history.restore(b.id), std::nullopt);

    history.stash(c, false, now); // its id is in the list as well
    EXPECT_TRUE(history.restore(c.id));
    EXPECT_EQ(history.entries().size(), 3U);

    const auto synced = entryAt(0, "synced");
    history.stash(synced, true, now);
    EXPECT_EQ(history.restore(synced.id), (TrashedEntry{synced, now, true}));
    EXPECT_EQ(history.entries().size(), 3U) << "the synced history takes it back, not this list";
    EXPECT_TRUE(trashTexts().empty());
}

TEST_F(DictationHistoryTest, erasingAndEmptyingLeaveTheRestAlone) {
    const auto kept = history.append("kept", notes, now);
    const auto twice = entryAt(0, "twice");
    for (const auto& entry : {twice, entryAt(0, "once"), twice}) history.stash(entry, false, now);
    history.erase(twice.id);
    EXPECT_EQ(trashTexts(), std::vector<std::string>{"once"}) << "every item with the id";
    history.emptyTrash();
    EXPECT_TRUE(trashTexts().empty());
    history.stash(twice, false, now);
    history.erase(twice.id);
    EXPECT_FALSE(*defaults.value("dictation.history.trash"));
    history.stash(twice, false, now);
    EXPECT_EQ(history.entries(), std::vector{kept});
    history.clear();
    EXPECT_TRUE(history.entries().empty());
    EXPECT_EQ(trashTexts().size(), 1U);
}

TEST_F(DictationHistoryTest, anEntryIsPutBackAtItsTime) {
    const auto noon = history.append("noon", notes, now);
    history.append("evening", notes, now + 10);
    history.reinstate(entryAt(0, "same time"));
    history.reinstate(entryAt(20, "morning"));
    history.reinstate(entryAt(-20, "night"));
    history.reinstate(noon);
    EXPECT_EQ(
        texts(), (std::vector<std::string>{"night", "evening", "same time", "noon", "morning"}));
    for (int i = 0; i < 95; ++i) history.append("x", notes, now + 30);
    history.reinstate(entryAt(day, "older than a hundred others"));
    EXPECT_EQ(texts().back(), "morning");
    history.reinstate(entryAt(19, "in between"));
    EXPECT_EQ(texts().back(), "in between");
    EXPECT_EQ(texts().size(), 100U);
}

TEST_F(DictationHistoryTest, theKeyboardHasItsOwnCopyAndQueue) {
    const auto local = history.append("local", notes, now);
    EXPECT_EQ(history.keyboardEntries(), std::vector{local}) << "no copy yet";
    history.deleteFromKeyboard(UUID::random(), now);
    EXPECT_TRUE(history.drainKeyboardDeletions().empty()) << "nor a queue";

    std::vector<DictationEntry> list{local};
    for (int i = 0; i < 101; ++i) list.push_back(entryAt(i, std::to_string(i)));
    history.projectForKeyboard(list);
    ASSERT_EQ(history.keyboardEntries().size(), 100U);
    EXPECT_EQ(history.keyboardEntries().back(), list[99]);

    const auto elsewhere = UUID::random();
    for (const auto& id : {list[1].id, elsewhere, local.id, elsewhere})
        history.deleteFromKeyboard(id, now);
    EXPECT_EQ(history.keyboardEntries().size(), 98U);
    EXPECT_TRUE(history.entries().empty());
    EXPECT_EQ(trashTexts(), std::vector<std::string>{"local"});
    auto pending =
        defaults.get(Setting<std::vector<std::string>>{"dictation.history.pendingDeletes"});
    EXPECT_EQ(pending, (std::vector{list[1].id.text(), elsewhere.text(), local.id.text()}));
    pending.insert(pending.begin() + 1, "not an id");
    EXPECT_TRUE(defaults.setValue("dictation.history.pendingDeletes", pending));
    EXPECT_EQ(history.drainKeyboardDeletions(), (std::vector{list[1].id, elsewhere, local.id}));
    EXPECT_TRUE(history.drainKeyboardDeletions().empty());

    history.projectForKeyboard({});
    EXPECT_TRUE(history.keyboardEntries().empty()) << "an empty copy is a copy";
    history.append("again", notes, now);
    history.clearKeyboardMirror();
    EXPECT_EQ(history.keyboardEntries().size(), 1U);
    store("dictation.history.mirror", "damaged");
    EXPECT_EQ(history.keyboardEntries().size(), 1U);
    history.deleteFromKeyboard(elsewhere, now);
    EXPECT_TRUE(history.drainKeyboardDeletions().empty()) << "no queue without a readable copy";
}

TEST_F(DictationHistoryTest, onlyWholeListsAreRead) {
    const std::string good =
        R"({"id":")" + someId + R"(","text":"t","timestamp":1.5,"mode":"email")";
    struct Case {
        const char* why;
        std::string json;
        bool isRead;
    };
    const Case cases[] = {
        {"as written", "[" + good + "}]", true},
        {"lower-case id, unknown members, white space",
            R"( [ {"more":{"a":[1]},"mode":"email","id":"4f1c09ab-0000-4000-8000-0123456789ab",)"
            R"("text":"t","timestamp":15e-1} ] )",
            true},
        {"no original", "[" + good + R"(,"originalText":null}])", true},
        {"an original of another type", "[" + good + R"(,"originalText":5}])", false},
        {"one bad record spoils the list", "[" + good + "}," + good + R"(,"mode":"song"}])", false},
        {"mode in upper case", "[" + good + R"(,"mode":"EMAIL"}])", false},
        {"text missing", R"([{"id":")" + someId + R"(","timestamp":1,"mode":"email"}])", false},
        {"date as text", "[" + good + R"(,"timestamp":"1"}])", false},
        {"date beyond all numbers", "[" + good + R"(,"timestamp":1e999}])", false},
        {"a short id", "[" + good + R"(,"id":"4F1C09AB"}])", false},
        {"no object", "[1]", false},
        {"no array", good + "}", false},
        {"cut", "[" + good + "}", false},
        {"not UTF-8", "[" + good + ",\"x\":\"\xFF\"}]", false},
        {"nested without end", std::string(100'000, '['), false},
    };
    for (const auto& c : cases) {
        storeSealed("dictation.history", c.json);
        const auto entries = history.entries();
        EXPECT_EQ(entries.size(), c.isRead ? 1U : 0U) << c.why;
        EXPECT_EQ(problem(), c.isRead ? std::nullopt : std::optional(Kind::listUnreadable))
            << c.why;
        for (const auto& entry : entries) EXPECT_EQ(entry.timestamp.sinceReference, 1.5) << c.why;
    }
    storeSealed("dictation.history.trash",
        R"([{"entry":)" + good + R"(},"deletedAt":800000000,"wasSynced":1}])");
    EXPECT_TRUE(trashTexts().empty()) << "1 is not true";
}

TEST_F(DictationHistoryTest, plainJsonOfEarlierVersionsIsReadAndThenSealed) {
    const std::string json = "["
                             R"({"id":")" +
                             someId +
                             R"(","text":"old","timestamp":1,"mode":"notes"})"
                             "]";
    store("dictation.history", json);
    store("dictation.history.trash", R"([{"entry":)" + json.substr(1, json.size() - 2) +
                                         R"(,"deletedAt":800000000,"wasSynced":false}])");
    EXPECT_EQ(texts(), std::vector<std::string>{"old"});
    EXPECT_FALSE(keys.data) << "reading makes no key";
    EXPECT_TRUE(trashTexts().empty()) << "the trash never had that layout";
    history.append("new", notes, now);
    EXPECT_EQ(texts(), (std::vector<std::string>{"new", "old"}));
    EXPECT_TRUE(opened("dictation.history").starts_with("[{"));
}

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

TEST_F(DictationHistoryTest, threadsAndInstancesLoseNothing) {
    DictationHistory other(defaults, keys, log);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            auto& mine = thread % 2 == 0 ? history : other;
            for (int i = 0; i < 25; ++i) mine.append("x", notes, now);
        });
    }
    threads.clear();
    EXPECT_EQ(history.entries().size(), 100U);
}

TEST(DictationHistory, withoutAStoreTheKeyGoesWithTheInstance) {
    MemoryUserDefaults defaults;
    FakeLogSink log;
    {
        DictationHistory history(defaults, log);
        history.append("a", notes, now);
        EXPECT_EQ(history.entries().size(), 1U);
    }
    EXPECT_TRUE(DictationHistory(defaults, log).entries().empty());
}

} // namespace nimbe
