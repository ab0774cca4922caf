#include <limits>
#include <thread>

#include "DictationHistoryFixture.h"

namespace nimbe {
namespace {

using Kind = HistoryProblem::Kind;
using enum DictationMode;

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
