#include <fstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeSync/SyncStore.h"
#include "PlatformStorage/FileLock.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using Use = SyncFile::Use;

/// What version 1 wrote.
constexpr const char* firstVersion = R"sql(
CREATE TABLE transcripts(createdAt REAL NOT NULL, mode TEXT NOT NULL DEFAULT 'messaging', ciphertext BLOB NOT NULL, originalCiphertext BLOB) STRICT;
CREATE TABLE dictionaryEntries(term TEXT NOT NULL PRIMARY KEY, replacement TEXT NOT NULL, updatedAt REAL NOT NULL) STRICT;
CREATE TABLE preferences(id TEXT NOT NULL PRIMARY KEY, cleanupEnabled INTEGER NOT NULL, defaultMode TEXT NOT NULL) STRICT;
CREATE TABLE modeStyles(mode TEXT NOT NULL PRIMARY KEY, styleNote TEXT NOT NULL) STRICT;
INSERT INTO transcripts VALUES(10.5, 'email', x'0102', NULL), (20, 'notes', x'03', x'04');
INSERT INTO transcripts(createdAt, ciphertext) VALUES(5, x'05');
INSERT INTO dictionaryEntries VALUES('nimby', 'Nimbe', 1);
INSERT INTO preferences VALUES('preferences', 1, 'notes');
PRAGMA user_version = 1;
)sql";

struct SqliteSyncDatabaseTest : testing::Test {
    TemporaryFolder folder;
    FakeLogSink log;
    fs::path file = folder.path / "nimbe" / "sync.sqlite";

    void make(const char* sql) {
        fs::create_directories(file.parent_path());
        std::ofstream(file).close();
        auto database = SqliteDatabase::open(file);
        ASSERT_TRUE(database && database->execute(sql).isOk());
    }
    [[nodiscard]] std::string bytes() const {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void write(const std::string& bytes) const {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    }
    [[nodiscard]] std::vector<fs::path> setAside() const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(file.parent_path()))
            if (entry.path().string().find(".damaged-") != std::string::npos)
                found.push_back(entry.path());
        return found;
    }
};

std::vector<TranscriptItem> itemsOf(SyncDatabase& database) {
    std::vector<TranscriptItem> items;
    const auto page = database.page(SyncKind::transcript, {}, 100'000);
    if (!page) return items;
    for (const auto& model : *page) items.push_back(std::get<TranscriptItem>(model));
    return items;
}

SyncRecord newTranscript(double time, std::size_t length = 300) {
    const UUID id = UUID::random();
    return {
        SyncKind::transcript, id.text(), TranscriptItem{id, Date{time}, "notes", Bytes(length, 7)}};
}

} // namespace

TEST_F(SqliteSyncDatabaseTest, isPrivateAndSharedWithAReader) {
    SqliteSyncDatabase reader(file, Use::read, log);
    EXPECT_TRUE(itemsOf(reader).empty());
    EXPECT_FALSE(reader.write(newTranscript(0)));
    EXPECT_FALSE(fs::exists(file)) << "reading makes no file";

    SqliteSyncDatabase writer(file, Use::write, log);
    ASSERT_TRUE(writer.write(newTranscript(1)));
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    EXPECT_EQ(itemsOf(reader).size(), 1U) << "it came later";

    const auto before = reader.version();
    ASSERT_TRUE(writer.write(newTranscript(2)));
    EXPECT_NE(reader.version().value(), before.value());
    EXPECT_EQ(itemsOf(reader).size(), 2U);
    EXPECT_FALSE(reader.write(newTranscript(3)));
    EXPECT_EQ(itemsOf(writer).size(), 2U);
}

TEST_F(SqliteSyncDatabaseTest, theFirstVersionIsBroughtForward) {
    make(firstVersion);
    SqliteSyncDatabase reader(file, Use::read, log);
    EXPECT_FALSE(reader.page(SyncKind::transcript, {}, 9)) << "a reader migrates nothing";

    SqliteSyncDatabase store(file, Use::write, log);
    const auto items = itemsOf(store);
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].originalCiphertext, Bytes{4});
    EXPECT_EQ(items[1].createdAt, Date{10.5});
    EXPECT_EQ(items[1].ciphertext, (Bytes{1, 2}));
    EXPECT_EQ(items[1].mode, "email");
    EXPECT_EQ(items[2].mode, "messaging");
    EXPECT_NE(items[0].id, items[1].id);

    const auto pending = store.journal().pending({}, 100).value();
    ASSERT_EQ(pending.size(), 5U) << "all of it is new to a cloud";
    for (const auto& record : pending) EXPECT_EQ(record.mirror.changes.size(), 1U);
    EXPECT_NE(pending[3].mirror.changes, pending[4].mirror.changes);
    EXPECT_EQ(itemsOf(reader), items) << "and now a reader reads it";

    SqliteSyncDatabase again(file, Use::write, log);
    EXPECT_EQ(itemsOf(again), items) << "ids are given once";
}

TEST_F(SqliteSyncDatabaseTest, aNewerVersionIsNotTouched) {
    make("CREATE TABLE poems(line TEXT); PRAGMA user_version = 3");
    const auto before = bytes();
    SqliteSyncDatabaseOpener opener(file, log);
    const auto opened = opener.open();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().kind, SyncError::Kind::newer);
    EXPECT_EQ(bytes(), before);
    EXPECT_TRUE(setAside().empty());
}

TEST_F(SqliteSyncDatabaseTest, whatIsNoStoreIsSetAside) {
    make("CREATE TABLE poems(line TEXT)");
    const auto foreign = bytes();
    for (const auto& content : {std::string(5000, 'x'), foreign, bytes().substr(0, 3000)}) {
        const auto before = setAside().size();
        write(content);
        SqliteSyncDatabase store(file, Use::write, log);
        ASSERT_TRUE(store.write(newTranscript(1))) << log.all();
        EXPECT_EQ(itemsOf(store).size(), 1U);
        EXPECT_EQ(setAside().size(), before + 1) << log.all();
    }
}

TEST_F(SqliteSyncDatabaseTest, whatCanBeReadOfADamagedFileIsKept) {
    struct Case {
        const char* why;
        std::size_t length; // of one transcript
        bool isMetWhileOpen;
    };
    for (const Case& c : {Case{"found at opening", 300, false},
             Case{"met in a file too large to look over each time", 20'000, true}}) {
        fs::remove_all(file.parent_path());
        auto store = std::make_unique<SqliteSyncDatabase>(file, Use::write, log);
        auto deleted = newTranscript(0);
        deleted.model.reset();
        deleted.mirror.revision = 5;
        ASSERT_TRUE(store->write(deleted));
        ASSERT_TRUE(store->transaction([&]() -> SyncResult<> {
            for (int i = 0; i < 1000; ++i)
                if (auto written = store->write(newTranscript(i, c.length)); !written)
                    return written;
            return store->journal().setState({"cloud", 50});
        }));
        store.reset();
        auto content = bytes();
        ASSERT_GT(content.size(), 400'000U);
        // Pages in the middle of the rows.
        std::fill_n(content.begin() + 200 * 1024, 8192, '\x55');
        std::fstream(file, std::ios::in | std::ios::out | std::ios::binary) << content;

        store = std::make_unique<SqliteSyncDatabase>(file, Use::write, log);
        if (c.isMetWhileOpen) {
            EXPECT_FALSE(store->page(SyncKind::transcript, {}, 5000)) << c.why;
        }
        const auto saved = itemsOf(*store);
        EXPECT_GT(saved.size(), 900U) << c.why << "\n" << log.all();
        EXPECT_LT(saved.size(), 1000U) << c.why;
        EXPECT_EQ(setAside().size(), 1U) << c.why;
        for (const auto& item : saved) {
            const auto record = store->read(SyncKind::transcript, item.id.text()).value();
            ASSERT_TRUE(record) << "the mirror knows every record";
        }
        EXPECT_EQ(store->journal().state()->pulled, 0) << "what was lost may be in the cloud";
        EXPECT_EQ(store->journal().state()->cloud, "cloud");
        const auto tombstone = store->read(SyncKind::transcript, deleted.id).value();
        ASSERT_TRUE(tombstone) << c.why;
        EXPECT_FALSE(tombstone->model);
    }
}

TEST_F(SqliteSyncDatabaseTest, aDamagedFirstVersionIsMendedAndBroughtForward) {
    make(firstVersion);
    {
        auto database = SqliteDatabase::open(file);
        ASSERT_TRUE(database->execute("CREATE TABLE stray(x); DELETE FROM preferences").isOk());
    }
    SqliteSyncDatabase store(file, Use::write, log);
    EXPECT_EQ(itemsOf(store).size(), 3U) << log.all();
}

TEST_F(SqliteSyncDatabaseTest, rowsThatNoVersionWroteHideNoOthers) {
    SqliteSyncDatabase store(file, Use::write, log);
    std::vector<SyncRecord> records;
    for (int i = 0; i < 6; ++i) {
        records.push_back(newTranscript(i));
        ASSERT_TRUE(store.write(records.back()));
    }
    {
        auto database = SqliteDatabase::open(file);
        const auto spoil =
            "UPDATE transcripts SET id = 'none', ciphertext = x'', createdAt = 9e999 "
            "WHERE id = '" +
            records[5].id +
            "'; UPDATE transcripts SET id = x'FF' || id, mode = CAST(x'C3' AS TEXT) WHERE id = '" +
            records[3].id + "'; DELETE FROM transcripts WHERE id = '" + records[2].id + "'";
        ASSERT_TRUE(database->execute(spoil.c_str()).isOk());
    }
    std::size_t shown = 0;
    std::optional<SyncDatabase::Position> after;
    for (;;) {
        const auto page = store.page(SyncKind::transcript, after, 2).value();
        shown += page.size();
        if (page.size() < 2) break;
        const auto& last = std::get<TranscriptItem>(page.back());
        after = {last.createdAt, last.id.text()};
    }
    EXPECT_EQ(shown, 3U);
    for (const int lost : {2, 3, 5})
        EXPECT_FALSE(store.read(SyncKind::transcript, records[std::size_t(lost)].id).value());
    for (std::size_t limit : {1U, 3U, 100U}) {
        const auto pending = store.journal().pending({}, limit).value();
        EXPECT_EQ(pending.size(), std::min<std::size_t>(limit, 3));
        for (const auto& record : pending) EXPECT_TRUE(record.model) << "a lost row is no deletion";
    }
}

TEST_F(SqliteSyncDatabaseTest, aFileReplacedMeanwhileIsOpenedAnew) {
    SqliteSyncDatabase store(file, Use::write, log);
    SqliteSyncDatabase reader(file, Use::read, log);
    ASSERT_TRUE(store.write(newTranscript(1)));
    EXPECT_EQ(itemsOf(reader).size(), 1U);
    fs::remove_all(file.parent_path());
    EXPECT_TRUE(itemsOf(reader).empty());
    ASSERT_TRUE(store.write(newTranscript(2)));
    EXPECT_EQ(itemsOf(reader).size(), 1U);
}

TEST_F(SqliteSyncDatabaseTest, aFileThatAnotherHoldsFailsToOpen) {
    fs::create_directories(file.parent_path());
    const auto held = FileLock::acquire(file.string() + ".lock", 1);
    ASSERT_TRUE(held);
    SqliteSyncDatabaseOpener opener(file, log);
    const auto opened = opener.open();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().kind, SyncError::Kind::unavailable);
}

TEST_F(SqliteSyncDatabaseTest, whatIsNoFileIsNotOpened) {
    const auto attempt = [&] {
        for (const auto use : {Use::read, Use::write}) {
            SqliteSyncDatabase store(file, use, log);
            const auto opened = store.open();
            ASSERT_FALSE(opened);
            EXPECT_EQ(opened.error().kind, SyncError::Kind::unavailable) << opened.error().detail;
        }
    };
    fs::create_directories(file);
    attempt();
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    attempt();
}

TEST_F(SqliteSyncDatabaseTest, aFullDiskLeavesAllAsItWas) {
    const fs::path mount = folder.path / "disk";
    const SmallDisk disk(mount, 1 << 20);
    if (!disk.isMounted) GTEST_SKIP() << "no file system can be mounted here";
    SqliteSyncDatabase store(mount / "sync.sqlite", Use::write, log);
    std::size_t kept = 0;
    while (kept < 1000 && store.write(newTranscript(1, 10'000))) ++kept;
    ASSERT_LT(kept, 1000U);
    EXPECT_GT(kept, 5U);
    const auto refused = store.write(newTranscript(2, 10'000));
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, SyncError::Kind::full);
    EXPECT_EQ(itemsOf(store).size(), kept);

    SqliteSyncDatabase reader(mount / "sync.sqlite", Use::read, log);
    EXPECT_EQ(itemsOf(reader).size(), kept);
}

} // namespace nimbe
