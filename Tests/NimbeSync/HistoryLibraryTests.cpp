#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeSync/HistoryLibrary.h"
#include "NimbeSync/HistorySyncPrompt.h"
#include "NimbeSync/MemorySyncDatabase.h"

namespace nimbe {
namespace {

using Texts = std::vector<std::string>;
using Kind = HistoryProblem::Kind;
constexpr Date now{800'000'000};

/// A store that fails to change, or to be read, when told so.
class FailingDatabase final : public MemorySyncDatabase {
public:
    bool isFull = false;
    bool isGone = false;

    [[nodiscard]] SyncResult<std::optional<SyncRecord>> read(
        SyncKind kind, const std::string& id) override {
        if (isGone) return failure(SyncError{SyncError::Kind::unavailable, "gone"});
        return MemorySyncDatabase::read(kind, id);
    }
    [[nodiscard]] SyncResult<> transaction(const std::function<SyncResult<>()>& body) override {
        if (isFull) return failure(SyncError{SyncError::Kind::full, "full"});
        return MemorySyncDatabase::transaction(body);
    }
    [[nodiscard]] SyncResult<std::vector<SyncModel>> page(
        SyncKind kind, const std::optional<Position>& after, std::size_t limit) override {
        if (isGone) return failure(SyncError{SyncError::Kind::unavailable, "gone"});
        return MemorySyncDatabase::page(kind, after, limit);
    }
};

struct HistoryLibraryTest : testing::Test {
    FakeLogSink log;
    MemoryUserDefaults defaults;
    DictationHistory history{defaults, log};
    FailingDatabase database;
    InMemoryTranscriptKeyStore keys;
    TranscriptKey key{keys, TranscriptKey::Use::readAndMake, log};
    SyncStore store{database, key, log};
    HistoryLibrary::Synced given{&store};
    HistoryLibrary library{history, defaults, [this](auto) {
                               return given;
                           }};

    void keepAll(bool isOn = true) {
        ASSERT_TRUE(defaults.set(HistorySyncPrompt::historyEnabled, isOn));
    }
    UUID add(const std::string& text, double after = 0, std::optional<std::string> spoken = {}) {
        return library.append(text, std::move(spoken), DictationMode::notes, now + after).id;
    }
    [[nodiscard]] Texts shown() {
        Texts texts;
        for (const auto& entry : library.feed().entries()) texts.push_back(entry.text);
        return texts;
    }
    [[nodiscard]] Texts synced() {
        Texts texts;
        for (const auto& transcript : store.transcripts()) texts.push_back(transcript.text);
        return texts;
    }
    [[nodiscard]] std::optional<Kind> problem() const {
        const auto found = library.problem();
        return found ? std::optional(found->kind) : std::nullopt;
    }
    /// More than the history holds: the first stands in the synced store alone.
    UUID addMany() {
        const auto first = add("first", 0, "uh first");
        for (std::size_t i = 1; i <= DictationHistory::cap; ++i)
            add(std::to_string(i), static_cast<double>(i));
        return first;
    }
};

} // namespace

TEST_F(HistoryLibraryTest, keepsAllWhereThatIsWantedAndWhatWasThereBefore) {
    add("before");
    EXPECT_EQ(synced(), Texts{});
    keepAll();
    add("polished", 1, "uh, polished");
    EXPECT_EQ(synced(), (Texts{"polished", "before"}));
    EXPECT_EQ(library.feed().entries().front().originalText, "uh, polished");

    keepAll(false);
    add("after", 2);
    EXPECT_EQ(synced(), (Texts{"polished", "before"}));
    keepAll();
    library.fill();
    EXPECT_EQ(synced(), (Texts{"after", "polished", "before"}));
    EXPECT_EQ(store.transcripts()[1].originalText, "uh, polished") << "what is known stays";
}

TEST_F(HistoryLibraryTest, whatCouldNotBeKeptIsKeptWithTheNext) {
    keepAll();
    add("one");
    database.isFull = true;
    add("two", 1);
    EXPECT_EQ(problem(), Kind::syncedUnreadable);
    EXPECT_TRUE(library.problem()->isPartial()) << "it is in the history";
    database.isFull = false;
    add("three", 2);
    EXPECT_EQ(problem(), std::nullopt);
    EXPECT_EQ(synced(), (Texts{"three", "two", "one"}));
}

TEST_F(HistoryLibraryTest, whatIsNotInTheHistoryAnyMoreIsAsGoodAsTheRest) {
    keepAll();
    const auto first = addMany();
    ASSERT_EQ(history.entries().size(), DictationHistory::cap);
    ASSERT_EQ(shown().size(), DictationHistory::cap + 1);
    EXPECT_EQ(library.entry(first)->originalText, "uh first");

    library.update(first, "edited");
    EXPECT_EQ(library.entry(first)->text, "edited");
    library.deleteEntry(first, now);
    EXPECT_FALSE(library.entry(first));
    EXPECT_TRUE(history.trashed(now).front().wasSynced);
    EXPECT_EQ(library.restore(first)->entry.text, "edited");
    EXPECT_EQ(library.entry(first)->originalText, "uh first");
    EXPECT_EQ(history.trashed(now).size(), 0U);
    EXPECT_EQ(history.entries().size(), DictationHistory::cap);
    library.update(first, " \n");
    EXPECT_EQ(library.entry(first)->text, "edited");
}

TEST_F(HistoryLibraryTest, changesReachBoth) {
    keepAll();
    const auto id = add("one", 0, "uh one");
    library.update(id, "two");
    EXPECT_EQ(history.entries().front().text, "two");
    EXPECT_EQ(synced(), Texts{"two"});

    const auto other = add("three", 1, "uh three");
    for (const auto& each : {id, other}) library.deleteEntry(each, now);
    EXPECT_EQ(synced(), Texts{}) << "who reads that alone must not find it";
    EXPECT_EQ(shown(), Texts{});
    keepAll(false);
    ASSERT_TRUE(library.restore(id));
    EXPECT_EQ(synced(), Texts{}) << "it is not wanted there now";
    keepAll();
    ASSERT_TRUE(library.restore(other));
    EXPECT_EQ(synced(), Texts{"three"});
    EXPECT_EQ(store.transcripts().front().originalText, "uh three");
    EXPECT_EQ(history.entries().front().originalText, "uh three");
    EXPECT_EQ(history.entries().back().originalText, "one");
}

TEST_F(HistoryLibraryTest, theFirstTextStaysWithANote) {
    keepAll();
    const auto old = add("old");
    const auto aging = add("aging", 1);
    library.update(aging, "edited while it is new");
    for (std::size_t i = 0; i < DictationHistory::cap; ++i) add("more", 2);
    EXPECT_EQ(library.entry(aging)->originalText, "aging");
    library.update(old, "edited when it is old");
    library.update(old, "and again");
    EXPECT_EQ(library.entry(old)->originalText, "old");
    library.update(old, "old");
    EXPECT_EQ(library.entry(old)->originalText, std::nullopt);
}

TEST_F(HistoryLibraryTest, whatFailsHalfwayIsAsItWas) {
    keepAll();
    const auto first = addMany();
    const auto last = history.entries().front().id;
    const auto before = shown();
    const auto expectUnchanged = [&](const char* what) {
        EXPECT_EQ(problem(), Kind::notStored) << what;
        database.isFull = false;
        EXPECT_EQ(shown(), before) << what;
        EXPECT_EQ(synced(), before) << what;
    };
    for (const auto& id : {first, last}) {
        database.isFull = true;
        library.deleteEntry(id, now);
        expectUnchanged("deleting from the store");
    }
    database.isFull = true;
    library.update(first, "edited");
    expectUnchanged("editing what is in the store alone");
    defaults.refusesWrites = true;
    for (const auto& id : {first, last}) {
        library.deleteEntry(id, now);
        EXPECT_EQ(problem(), Kind::notStored);
    }
    defaults.refusesWrites = false;
    EXPECT_EQ(synced(), before) << "the history refused";
    EXPECT_EQ(shown(), before);

    library.deleteEntry(first, now);
    database.isFull = true;
    EXPECT_FALSE(library.restore(first));
    EXPECT_EQ(problem(), Kind::notStored);
    database.isFull = false;
    EXPECT_EQ(history.trashed(now).size(), 1U) << "it waits in the trash";
    given.problem = "in memory for this launch";
    EXPECT_FALSE(library.restore(first)) << "nothing is restored into what ends with the program";
    given.problem.reset();
    EXPECT_TRUE(library.restore(first));
    EXPECT_EQ(shown(), before);
}

// A program may end after any step, and a step back may fail as well.
TEST_F(HistoryLibraryTest, whatIsMovedIsAlwaysSomewhere) {
    keepAll();
    const auto first = addMany();
    const auto last = history.entries().front().id;
    int changes = 0;
    for (const auto& id : {first, last}) {
        store.onChange = [&, id] {
            EXPECT_TRUE(history.trashedItem(id)) << "beside the synced store";
            ++changes;
        };
        library.deleteEntry(id, now);
        EXPECT_TRUE(library.restore(id));
    }
    EXPECT_EQ(changes, 4);
    store.onChange = [this] {
        database.isFull = true;
    };
    defaults.refusesWrites = true;
    library.deleteEntry(first, now);
    EXPECT_TRUE(library.entry(first)) << "neither can be written any more";
}

TEST_F(HistoryLibraryTest, whatHasNoPlaceStaysInTheTrash) {
    const auto old = add("old");
    library.deleteEntry(old, now);
    (void)addMany();
    given = {};
    EXPECT_FALSE(library.restore(old)) << "the history alone would drop it";
    EXPECT_EQ(problem(), Kind::notStored);
    given = {&store};
    keepAll();
    database.isFull = true;
    EXPECT_FALSE(library.restore(old));
    EXPECT_EQ(history.trashed(now).size(), 1U);
    database.isFull = false;
    EXPECT_TRUE(library.restore(old));
    EXPECT_EQ(library.entry(old)->text, "old");
}

TEST_F(HistoryLibraryTest, nothingIsDeletedWhereItWouldComeBack) {
    keepAll();
    const auto first = addMany();
    const auto last = history.entries().front().id;
    const auto before = shown();
    for (const auto& id : {first, last}) {
        database.isGone = true;
        library.deleteEntry(id, now);
        EXPECT_EQ(problem(), Kind::notStored) << "what it is cannot be read";
        database.isGone = false;
        given.problem = "in memory for this launch";
        library.deleteEntry(id, now);
        EXPECT_EQ(problem(), Kind::notStored) << "it is on the disk as well";
        given.problem.reset();
    }
    EXPECT_EQ(shown(), before);
}

TEST_F(HistoryLibraryTest, anEditThatCouldNotBeKeptIsKeptWithTheNext) {
    keepAll();
    const auto id = add("one");
    database.isFull = true;
    library.update(id, "two");
    EXPECT_EQ(problem(), Kind::syncedUnreadable);
    database.isFull = false;
    add("three", 1);
    EXPECT_EQ(synced(), (Texts{"three", "two"}));
}

TEST_F(HistoryLibraryTest, theHistoryIsShownWhenTheStoreCannotBeRead) {
    keepAll();
    (void)addMany();
    database.isGone = true;
    EXPECT_EQ(shown().size(), DictationHistory::cap);
    EXPECT_EQ(problem(), Kind::syncedUnreadable);
    database.isGone = false;
    given = {nullptr, "The synced history is of a newer version of Nimbe."};
    EXPECT_EQ(shown().size(), DictationHistory::cap);
    EXPECT_EQ(library.problem()->sentence, *given.problem);
    given = {};
    EXPECT_EQ(shown().size(), DictationHistory::cap);
    EXPECT_EQ(problem(), std::nullopt);
}

TEST_F(HistoryLibraryTest, whatIsDeletedDoesNotComeBackByItself) {
    keepAll();
    const auto id = add("gone on another device");
    auto record = *database.read(SyncKind::transcript, id.text()).value();
    record.model.reset();
    ASSERT_TRUE(database.write(record));
    library.fill();
    EXPECT_EQ(synced(), Texts{});
}

TEST_F(HistoryLibraryTest, anOldNoteThatIsNowhereHasAPlace) {
    keepAll();
    (void)addMany();
    DictationEntry old{UUID::random(), "old", now - 5, DictationMode::email, "older"};
    library.reinstate(old);
    EXPECT_EQ(library.entry(old.id), old);
    EXPECT_EQ(history.entries().size(), DictationHistory::cap);
}

} // namespace nimbe
