#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeSync/MemorySyncDatabase.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

/// The same cases on the store in memory and on the one on disk.
struct InMemory {
    MemorySyncDatabase database;
};
struct OnDisk {
    TemporaryFolder folder;
    FakeLogSink log;
    SqliteSyncDatabase database{folder.path / "nimbe" / "sync.sqlite", SyncFile::Use::write, log};
};

template <typename Store>
struct SyncDatabaseContract : testing::Test {
    Store store;
};
using Stores = testing::Types<InMemory, OnDisk>;
TYPED_TEST_SUITE(SyncDatabaseContract, Stores);

UUID idOf(int number) {
    char text[37];
    std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012d", number);
    return UUID::parse(text).value();
}

SyncRecord transcript(int number, double time) {
    const TranscriptItem item{idOf(number), Date{time}, "notes", Bytes{0, 1, 255}};
    return {SyncKind::transcript, idOf(number).text(), item, {7, true, {1, 0xFFFFFFFFFFFFFFFF}},
        R"({"pinned":true})"};
}

SyncRecord recordOf(SyncModel model) {
    return {SyncSchema::kind(model), SyncSchema::id(model), std::move(model)};
}

SyncError anyError() {
    return {SyncError::Kind::full, "as told"};
}

} // namespace

TYPED_TEST(SyncDatabaseContract, everyRecordComesBackAsItWas) {
    SyncDatabase& database = this->store.database;
    auto withOriginal = transcript(1, -1.5);
    std::get<TranscriptItem>(*withOriginal.model).originalCiphertext = Bytes();
    auto deleted = transcript(2, 3);
    deleted.model.reset();
    deleted.mirror = {MirrorState::neverOffered, false, {}};
    const SyncRecord records[] = {withOriginal, deleted,
        recordOf(DictionaryEntry{std::string("\0é'", 4), "😀\n", Date{0.1}}),
        recordOf(Preferences{true, "haiku"}), recordOf(ModeStyle{"", "warm"})};
    for (const auto& record : records) ASSERT_TRUE(database.write(record));
    for (const auto& record : records)
        EXPECT_EQ(database.read(record.kind, record.id).value(), record) << record.id;

    auto undeleted = transcript(2, 4);
    ASSERT_TRUE(database.write(undeleted)) << "in place of the tombstone";
    EXPECT_EQ(database.read(undeleted.kind, undeleted.id).value(), undeleted);
    ASSERT_TRUE(database.erase(undeleted.kind, undeleted.id));
    EXPECT_FALSE(database.read(undeleted.kind, undeleted.id).value());
    EXPECT_EQ(database.page(SyncKind::transcript, {}, 9)->size(), 1U);
}

TYPED_TEST(SyncDatabaseContract, pagesAreInOrderAndMissNothing) {
    SyncDatabase& database = this->store.database;
    for (const int number : {3, 1, 2}) ASSERT_TRUE(database.write(transcript(number, 5)));
    ASSERT_TRUE(database.write(transcript(4, 9)));
    ASSERT_TRUE(database.write(transcript(5, 1)));
    auto deleted = transcript(6, 7);
    deleted.model.reset();
    ASSERT_TRUE(database.write(deleted));

    std::vector<UUID> ids;
    std::optional<SyncDatabase::Position> after;
    for (;;) {
        const auto page = database.page(SyncKind::transcript, after, 2);
        ASSERT_TRUE(page);
        for (const auto& model : *page) ids.push_back(std::get<TranscriptItem>(model).id);
        if (page->size() < 2) break;
        const auto& last = std::get<TranscriptItem>(page->back());
        after = {last.createdAt, last.id.text()};
    }
    EXPECT_EQ(ids, (std::vector{idOf(4), idOf(3), idOf(2), idOf(1), idOf(5)}));

    for (const char* term : {"b", "a", "c"})
        ASSERT_TRUE(database.write(recordOf(DictionaryEntry{term, "x", {}})));
    const auto rest = database.page(SyncKind::dictionaryEntry, {{{}, "a"}}, 9);
    ASSERT_EQ(rest->size(), 2U);
    EXPECT_EQ(SyncSchema::id(rest->front()), "b");
}

TYPED_TEST(SyncDatabaseContract, aTransactionIsWholeOrNothing) {
    SyncDatabase& database = this->store.database;
    auto& journal = database.journal();
    const auto kept = transcript(1, 1);
    ASSERT_TRUE(database.write(kept));
    const auto refused = database.transaction([&]() -> SyncResult<> {
        auto other = kept;
        other.model.reset();
        EXPECT_TRUE(database.write(other));
        EXPECT_TRUE(database.erase(kept.kind, kept.id));
        EXPECT_TRUE(database.write(transcript(2, 2)));
        EXPECT_TRUE(journal.keep({"poem", "1", 1, false, {}}));
        EXPECT_TRUE(journal.setState({"cloud", 9}));
        EXPECT_TRUE(database.transaction([&] { return journal.drop("poem", "1"); }));
        return failure(anyError());
    });
    EXPECT_EQ(refused.error().detail, "as told");
    EXPECT_EQ(database.read(kept.kind, kept.id).value(), kept);
    EXPECT_EQ(database.page(SyncKind::transcript, {}, 9)->size(), 1U);
    EXPECT_EQ(journal.state().value(), MirrorJournal::State());
    EXPECT_TRUE(journal.foreign({}, 9)->empty());
}

TYPED_TEST(SyncDatabaseContract, theJournalKnowsWhatTheCloudLacks) {
    SyncDatabase& database = this->store.database;
    auto& journal = database.journal();
    auto clean = transcript(3, 1);
    clean.mirror.isDirty = false;
    auto deleted = transcript(2, 1);
    deleted.model.reset();
    auto fresh = recordOf(ModeStyle{"email", "warm"});
    for (const auto& record : {transcript(1, 1), deleted, clean, fresh})
        ASSERT_TRUE(database.write(record));
    CloudRecord poem{"poem", "1", 4, true, {0, 9}};
    ASSERT_TRUE(journal.keep({"poem", "1", 3, false, {1}}));
    ASSERT_TRUE(journal.keep(poem));
    ASSERT_TRUE(journal.keep({"poem", "2", 5, false, {}}));
    ASSERT_TRUE(journal.setState({"one", 5}));
    EXPECT_EQ(journal.foreign({}, 1).value(), std::vector{poem});
    EXPECT_EQ(journal.foreign({{"poem", "1"}}, 9)->size(), 1U);

    std::vector<std::string> ids;
    std::optional<std::pair<SyncKind, std::string>> after;
    for (;;) {
        const auto page = journal.pending(after, 1);
        ASSERT_TRUE(page);
        if (page->empty()) break;
        after = {page->front().kind, page->front().id};
        EXPECT_EQ(database.read(after->first, after->second).value(), page->front());
        ids.push_back(page->front().id);
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<std::string>{idOf(1).text(), idOf(2).text(), "email"}));

    ASSERT_TRUE(journal.offerAllAnew());
    EXPECT_EQ(journal.pending({}, 9)->size(), 4U);
    EXPECT_EQ(database.read(clean.kind, clean.id).value()->mirror.revision, 0);
    EXPECT_EQ(
        database.read(fresh.kind, fresh.id).value()->mirror.revision, MirrorState::neverOffered);
    EXPECT_EQ(journal.foreign({}, 1)->front().revision, 0);
    EXPECT_EQ(journal.state().value(), MirrorJournal::State());
}

TYPED_TEST(SyncDatabaseContract, theVersionTellsOfEveryChange) {
    SyncDatabase& database = this->store.database;
    ASSERT_TRUE(database.write(transcript(1, 1)));
    const auto before = database.version().value();
    EXPECT_TRUE(database.page(SyncKind::transcript, {}, 9));
    EXPECT_TRUE(database.transaction([]() -> SyncResult<> { return {}; }));
    EXPECT_EQ(database.version().value(), before);
    ASSERT_TRUE(database.write(transcript(2, 1)));
    const auto after = database.version().value();
    EXPECT_NE(after, before);
    ASSERT_TRUE(database.erase(SyncKind::transcript, idOf(2).text()));
    EXPECT_NE(database.version().value(), after);
}

} // namespace nimbe
