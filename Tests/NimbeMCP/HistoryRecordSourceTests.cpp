#include <limits>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeMCP/HistoryRecordSource.h"

namespace nimbe {
namespace {

struct HistoryRecordSourceTest : testing::Test {
    FakeLogSink log;
    MemoryUserDefaults defaults;
    DictationHistory history{defaults, log};
    std::vector<DecryptedTranscript> synced;
    bool isSyncedLocked = false;
    int syncedReads = 0;
    std::optional<std::int64_t> revision;
    HistoryRecordSource source{history,
        [this] {
            ++syncedReads;
            return isSyncedLocked ? std::nullopt : std::optional(synced);
        },
        [this] {
            return revision;
        }};

    std::string texts() {
        std::string all;
        for (const auto& record : *source.records()) all += record.text + " ";
        return all;
    }
};

DecryptedTranscript transcript(std::string text, double time) {
    return {UUID::random(), std::move(text), Date{time}};
}

} // namespace

TEST_F(HistoryRecordSourceTest, bothPlacesAreOneListNewestFirst) {
    const auto three = history.append("three", DictationMode::email, Date{3});
    const auto five = history.append("five", DictationMode::notes, Date{5});
    synced = {transcript("two", 2), transcript("six", 6), transcript("four", 4)};
    // The device's own text is the later one.
    synced.push_back({three.id, "three elsewhere", Date{9}});
    synced.push_back({synced[0].id, "two again", Date{8}});
    synced[0].mode = "poem";
    EXPECT_EQ(texts(), "six five four three two ");
    const auto& records = *source.records();
    EXPECT_EQ(records[1], (MemoryRecord{five.id.text(), "five", Date{5}, "notes"}));
    EXPECT_EQ(records[4], (MemoryRecord{synced[0].id.text(), "two", Date{2}, "poem"}));
}

TEST_F(HistoryRecordSourceTest, whatIsDictatedMeanwhileIsThereAndTranscriptsAreReadOnce) {
    synced = {transcript("synced", 2)};
    EXPECT_EQ(syncedReads, 0) << "not before somebody asks";
    history.append("one", DictationMode::email, Date{1});
    const auto first = source.records();
    EXPECT_EQ(source.records(), first) << "the same object while nothing changes";
    const auto three = history.append("three", DictationMode::email, Date{3});
    synced.clear();
    EXPECT_EQ(texts(), "three synced one ");
    history.update(three.id, "edited");
    EXPECT_EQ(texts(), "edited synced one ");
    history.deleteEntry(three.id, Date{4});
    EXPECT_EQ(texts(), "synced one ");
    EXPECT_EQ(syncedReads, 1);
}

TEST_F(HistoryRecordSourceTest, anUnchangedRevisionIsNotReadAgain) {
    revision = 1;
    history.append("one", DictationMode::email, Date{1});
    EXPECT_EQ(texts(), "one ");
    history.append("two", DictationMode::email, Date{2});
    EXPECT_EQ(texts(), "one ") << "nothing is said to have changed";
    revision = 2;
    EXPECT_EQ(texts(), "two one ");
    history.append("three", DictationMode::email, Date{3});
    revision.reset();
    EXPECT_EQ(texts(), "three two one ") << "it cannot be told";
}

TEST_F(HistoryRecordSourceTest, whatIsDeletedIsNotReadAgain) {
    const auto id = history.append("both", DictationMode::notes, Date{1}).id;
    synced = {transcript("both", 1), transcript("old", 0), transcript("kept", -1)};
    synced[0].id = id;
    revision = 1;
    EXPECT_EQ(texts(), "both old kept ");
    history.deleteEntry(id, Date{2});
    history.stash({synced[1].id, "old", Date{0}}, true, Date{2});
    revision = 2;
    EXPECT_EQ(texts(), "kept ");
    history.emptyTrash();
    revision = 3;
    EXPECT_EQ(texts(), "kept ") << "not even when it is deleted for good";
    history.reinstate({id, "both", Date{1}});
    revision = 4;
    EXPECT_EQ(texts(), "both kept ") << "what the history has is there";
}

TEST_F(HistoryRecordSourceTest, whatCannotBeReadIsTriedAgain) {
    struct LockableKeyStore final : LocalHistoryKeyStore {
        InMemoryLocalHistoryKeyStore key;
        bool isLocked = false;
        Result<std::optional<Bytes>, KeyStoreError> loadKeyData() override {
            if (isLocked) return failure(KeyStoreError{KeyStoreError::Kind::locked, ""});
            return key.loadKeyData();
        }
        Result<Bytes, KeyStoreError> saveKeyData(const Bytes& bytes) override {
            return key.saveKeyData(bytes);
        }
    } keys;
    DictationHistory(defaults, keys, log).append("sealed", DictationMode::notes, Date{1});
    synced = {transcript("synced", 2)};
    keys.isLocked = true;
    DictationHistory locked(defaults, keys, log);
    HistoryRecordSource records(
        locked, [this] { return std::optional(synced); }, [] { return 1; });
    EXPECT_EQ(records.records()->size(), 1U) << "what is not locked";
    keys.isLocked = false;
    EXPECT_EQ(records.records()->size(), 2U) << "unlocked, while the store is as it was";
}

TEST_F(HistoryRecordSourceTest, transcriptsThatCannotBeReadAreAskedForAgain) {
    history.append("one", DictationMode::notes, Date{1});
    synced = {transcript("synced", 2)};
    revision = 1;
    isSyncedLocked = true;
    EXPECT_EQ(texts(), "one ");
    const auto before = source.records();
    EXPECT_EQ(source.records(), before);
    isSyncedLocked = false;
    EXPECT_EQ(texts(), "synced one ") << "while the history is as it was";
    const int reads = syncedReads;
    EXPECT_EQ(texts(), "synced one ");
    EXPECT_EQ(syncedReads, reads);
}

TEST_F(HistoryRecordSourceTest, oddTranscriptsDoNoHarm) {
    synced = {transcript("not a number", std::numeric_limits<double>::quiet_NaN()),
        transcript("one", 1), transcript("\xFF bytes", 3),
        transcript("for ever", std::numeric_limits<double>::infinity()), transcript("two", 2)};
    const auto all = texts();
    EXPECT_NE(all.find("for ever \uFFFD bytes two one "), all.npos) << all;
    EXPECT_EQ(source.records()->size(), 5U);
}

} // namespace nimbe
