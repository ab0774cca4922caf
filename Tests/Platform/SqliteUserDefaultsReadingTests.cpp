#include <algorithm>

#include "SqliteUserDefaultsScene.h"

// Settings that cannot be, or are not to be, written to.

namespace nimbe {
namespace {

using SqliteUserDefaultsReadingTest = SqliteUserDefaultsTest;

} // namespace

TEST_F(SqliteUserDefaultsReadingTest, aReadOnlyFolderIsRead) {
    file = folder.path / "a folder#1?100%" / "settings.sqlite";
    const SmallDisk disk(file.parent_path(), 1024 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    for (const bool isKilled : {false, true}) {
        const std::string value = isKilled ? "killed" : "ended";
        OtherProcess process([&] {
            auto defaults = open();
            const bool stored = defaults->set(name, value);
            if (isKilled) ::raise(SIGKILL); // leaves its write-ahead log
            return stored;
        });
        EXPECT_EQ(process.run(), !isKilled);
        EXPECT_EQ(fs::exists(file.string() + "-wal"), isKilled);

        ASSERT_TRUE(disk.setReadOnly(true));
        auto defaults = open();
        EXPECT_EQ(defaults->get(name), value) << log.all();
        EXPECT_FALSE(defaults->set(name, std::string("new")));
        EXPECT_FALSE(defaults->transaction([] { return true; }));
        EXPECT_EQ(defaults->get(name), value);

        ASSERT_TRUE(disk.setReadOnly(false));
        EXPECT_TRUE(defaults->set(name, std::string("writable again"))) << log.all();
        EXPECT_EQ(open()->get(name), "writable again");
    }
    EXPECT_EQ(asideCount(), 0);
}

TEST_F(SqliteUserDefaultsReadingTest, aReadOnlyViewFollowsWhatOthersWrite) {
    const SmallDisk disk(file.parent_path(), 1024 * 1024);
    const ReadOnlyView view(file.parent_path(), folder.path / "view");
    if (!disk.isMounted || !view.isMounted)
        GTEST_SKIP() << "this machine mounts no file system for a test";
    const auto writing = [&](const char* value, bool isKilled) {
        return [this, value, isKilled] {
            const bool isStored = open()->set(name, std::string(value));
            auto kept = open(); // with its log beside it
            if (isKilled) return kept->set(name, std::string(value) + "!") && ::raise(SIGKILL) == 0;
            return isStored;
        };
    };
    OtherProcess one(writing("1", false));
    OtherProcess two(writing("2", false));
    OtherProcess three(writing("3", true));
    OtherProcess four(writing("4", false));
    SqliteUserDefaults reader(folder.path / "view" / "settings.sqlite", log);
    EXPECT_TRUE(one.run());
    EXPECT_EQ(reader.get(name), "1");
    EXPECT_TRUE(two.run());
    EXPECT_EQ(reader.get(name), "2");
    EXPECT_FALSE(three.run());
    EXPECT_EQ(reader.get(name), "3!");
    EXPECT_TRUE(four.run());
    EXPECT_EQ(reader.get(name), "4");
    EXPECT_FALSE(reader.set(name, std::string("new")));
}

TEST_F(SqliteUserDefaultsReadingTest, whoOnlyReadsFollowsWritersAndWritesNothing) {
    OtherProcess first([&] { return open()->set(name, std::string("1")); });
    OtherProcess second([&] {
        auto writer = open();
        return writer->set(name, std::string("2")) && ::raise(SIGKILL) == 0;
    });
    OtherProcess third([&] { return open()->set(name, std::string("3")); });
    SqliteUserDefaults reader(file, log, SqliteUserDefaults::Access::readOnly);
    EXPECT_EQ(reader.get(name), "nobody");
    EXPECT_EQ(reader.revision(), 0);
    EXPECT_FALSE(fs::exists(file.parent_path()));

    EXPECT_TRUE(first.run());
    EXPECT_EQ(reader.get(name), "1");
    const auto one = reader.revision();
    EXPECT_EQ(reader.get(name), "1");
    EXPECT_FALSE(fs::exists(file.string() + "-shm")) << "nothing is made beside it";
    EXPECT_EQ(reader.revision(), one) << "nothing has changed";
    EXPECT_FALSE(second.run());
    const auto two = reader.revision();
    EXPECT_NE(two, one);
    EXPECT_EQ(reader.get(name), "2");
    EXPECT_TRUE(third.run());
    EXPECT_NE(reader.revision(), two);
    EXPECT_EQ(reader.get(name), "3");

    const auto before = bytes();
    EXPECT_FALSE(reader.set(name, std::string("mine")));
    EXPECT_FALSE(reader.removeValue(name.key));
    EXPECT_FALSE(reader.moveValue(name.key, other.key));
    bool hasRun = false;
    EXPECT_FALSE(reader.transaction([&] { return hasRun = true; }));
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(reader.get(name), "3");
    EXPECT_EQ(bytes(), before);
}

TEST_F(SqliteUserDefaultsReadingTest, whoOnlyReadsSeesAnotherFileOfTheSameSizeAndTime) {
    const auto earlier = folder.path / "earlier.sqlite";
    EXPECT_TRUE(open()->set(name, std::string("1")));
    fs::copy_file(file, earlier);
    EXPECT_TRUE(open()->set(name, std::string("2")));
    SqliteUserDefaults reader(file, log, SqliteUserDefaults::Access::readOnly);
    EXPECT_EQ(reader.get(name), "2");
    const auto revision = reader.revision();
    ASSERT_EQ(fs::file_size(earlier), fs::file_size(file));
    fs::last_write_time(earlier, fs::last_write_time(file));
    fs::rename(earlier, file);
    EXPECT_NE(reader.revision(), revision);
    EXPECT_EQ(reader.get(name), "1");
}

TEST_F(SqliteUserDefaultsReadingTest, whoOnlyReadsLeavesDamageAsItIs) {
    EXPECT_TRUE(open()->set(name, std::string("kept")));
    setBytes(std::string(20'000, 'x'));
    SqliteUserDefaults reader(file, log, SqliteUserDefaults::Access::readOnly);
    ASSERT_FALSE(reader.value(name.key));
    EXPECT_EQ(reader.value(name.key).error().kind, DefaultsError::Kind::unreadable);
    EXPECT_EQ(reader.revision(), std::nullopt);
    EXPECT_EQ(asideCount(), 0);
    EXPECT_EQ(bytes(), std::string(20'000, 'x'));
}

} // namespace nimbe
