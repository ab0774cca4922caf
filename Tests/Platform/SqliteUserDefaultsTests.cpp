#include <algorithm>
#include <poll.h>

#include "SqliteUserDefaultsScene.h"

namespace nimbe {

TEST_F(SqliteUserDefaultsTest, readingMakesNoFileAndWritingAPrivateOne) {
    ::umask(022);
    auto defaults = open();
    EXPECT_EQ(defaults->get(name), "nobody");
    EXPECT_FALSE(fs::exists(file.parent_path()));
    EXPECT_TRUE(defaults->set(name, std::string("a")));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
    for (const auto& entry : fs::directory_iterator(file.parent_path()))
        EXPECT_EQ(entry.status().permissions(), fs::perms(0600)) << entry.path();
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SqliteUserDefaultsTest, anotherProcessSeesWritesAndIsSeen) {
    OtherProcess process([&] {
        auto theirs = open();
        return theirs->get(name) == "first" && theirs->set(name, std::string("second")) &&
               theirs->remove(other);
    });
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("first")));
    EXPECT_EQ(defaults->get(name), "first");
    EXPECT_TRUE(process.run());
    EXPECT_EQ(defaults->get(name), "second") << "what is in memory is not trusted blindly";
}

TEST_F(SqliteUserDefaultsTest, processesDoNotLoseEachOthersChanges) {
    constexpr int rounds = 100;
    const auto append = [&](const char* text) {
        auto defaults = open();
        for (int i = 0; i < rounds; ++i) {
            const bool kept = defaults->transaction([&] {
                auto texts = defaults->get(list);
                texts.emplace_back(text);
                return defaults->set(list, texts);
            });
            if (!kept) return false;
        }
        return true;
    };
    OtherProcess process([&] { return append("theirs"); });
    process.start();
    EXPECT_TRUE(append("ours")) << log.all();
    EXPECT_TRUE(process.finish());
    EXPECT_EQ(open()->get(list).size(), 2U * rounds);
}

TEST_F(SqliteUserDefaultsTest, oneProcessAtATimeIsInATransaction) {
    std::array<int, 2> entered{};
    ASSERT_EQ(::pipe(entered.data()), 0);
    OtherProcess process([&] {
        auto theirs = open();
        return theirs->transaction([&] {
            const auto seen = theirs->get(name);
            return ::write(entered[1], "x", 1) == 1 && theirs->set(name, seen + ", theirs");
        });
    });
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("before")));
    EXPECT_TRUE(defaults->transaction([&] {
        process.start();
        // They come to their own BEGIN in a few milliseconds, and no further.
        pollfd isEntered{entered[0], POLLIN, 0};
        EXPECT_EQ(::poll(&isEntered, 1, 100), 0);
        return defaults->set(name, std::string("ours"));
    }));
    EXPECT_TRUE(process.finish());
    EXPECT_EQ(defaults->get(name), "ours, theirs");
    ::close(entered[0]);
    ::close(entered[1]);
}

TEST_F(SqliteUserDefaultsTest, processesMayMakeTheFileAtTheSameTime) {
    for (int round = 0; round < 20; ++round) {
        fs::remove_all(file.parent_path());
        const auto make = [&] {
            return open()->set(name, std::string("a"));
        };
        OtherProcess processes[4]{
            OtherProcess(make), OtherProcess(make), OtherProcess(make), OtherProcess(make)};
        for (auto& process : processes) process.start();
        for (auto& process : processes) EXPECT_TRUE(process.finish());
        EXPECT_EQ(open()->get(name), "a") << log.all();
    }
}

TEST_F(SqliteUserDefaultsTest, aKilledProcessLeavesWholeValues) {
    for (int round = 0; round < 10; ++round) {
        std::array<int, 2> committed{};
        ASSERT_EQ(::pipe(committed.data()), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            auto defaults = open();
            for (std::uint8_t i = 0;; ++i) {
                const Bytes value(50'000, i);
                const bool kept = defaults->transaction([&] {
                    return defaults->set(blob, value) && defaults->set(name, std::to_string(i));
                });
                if (kept && ::write(committed[1], "x", 1) != 1) ::_exit(1);
            }
        }
        char byte = 0;
        EXPECT_EQ(::read(committed[0], &byte, 1), 1);
        ::usleep(static_cast<useconds_t>(round * 1'700)); // into the middle of another one
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(committed[0]);
        ::close(committed[1]);
        auto defaults = open();
        const auto value = defaults->get(blob);
        ASSERT_EQ(value.size(), 50'000U);
        EXPECT_EQ(value, Bytes(50'000, value.front())) << "torn";
        EXPECT_EQ(defaults->get(name), std::to_string(value.front())) << "half a transaction";
    }
    EXPECT_EQ(asideCount(), 0);
}

TEST_F(SqliteUserDefaultsTest, aFullDiskKeepsTheOldValueAndSaysSo) {
    const SmallDisk disk(folder.path / "nimbe", 512 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("old")));
    EXPECT_TRUE(defaults->set(blob, Bytes(1000, 1)));

    EXPECT_FALSE(defaults->set(blob, Bytes(1'000'000, 2)));
    EXPECT_TRUE(log.has(LogLevel::error, "settings: writing failed"));
    EXPECT_EQ(defaults->get(blob), Bytes(1000, 1));
    EXPECT_FALSE(defaults->transaction([&] {
        EXPECT_TRUE(defaults->set(name, std::string("new")));
        (void)defaults->set(blob, Bytes(1'000'000, 3));
        (void)defaults->set(other, std::string("after the failure"));
        return true;
    }));
    EXPECT_EQ(defaults->get(name), "old");
    EXPECT_EQ(defaults->get(other), "unset");

    EXPECT_EQ(open()->get(blob), Bytes(1000, 1)) << "on disk as well";
    EXPECT_TRUE(defaults->set(blob, Bytes(2000, 4))) << "what fits is stored again";
}

TEST_F(SqliteUserDefaultsTest, whereNothingFitsAnyMoreTheValuesAreStillRead) {
    const SmallDisk disk(folder.path / "nimbe", 512 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    EXPECT_TRUE(open()->set(name, std::string("old")));
    {
        std::ofstream filler(folder.path / "nimbe" / "filler", std::ios::binary);
        while (filler.write("0123456789", 10).flush()) {
        }
    }
    auto defaults = open();
    EXPECT_EQ(defaults->get(name), "old");
    EXPECT_FALSE(defaults->set(name, std::string("new")));
    EXPECT_EQ(defaults->get(name), "old");
    fs::remove(folder.path / "nimbe" / "filler");
    EXPECT_TRUE(defaults->set(name, std::string("new")));
    EXPECT_EQ(open()->get(name), "new");
}

TEST_F(SqliteUserDefaultsTest, aFileThatIsNoDatabaseIsSetAside) {
    struct Case {
        const char* why;
        std::string content;
    };
    const Case cases[] = {{"text", std::string(5000, 'x')},
        {"a database's name only", std::string("SQLite format 3\0", 16)},
        {"a header and nothing", std::string("SQLite format 3\0", 16) + std::string(4080, '\0')}};
    int aside = 0;
    for (const auto& c : cases) {
        fs::create_directories(file.parent_path());
        setBytes(c.content);
        fs::remove(file.string() + "-wal");
        auto defaults = open();
        EXPECT_EQ(defaults->get(name), "nobody") << c.why;
        EXPECT_TRUE(defaults->set(name, std::string("new"))) << c.why;
        EXPECT_EQ(open()->get(name), "new") << c.why;
        EXPECT_EQ(asideCount(), ++aside) << c.why;
    }
    EXPECT_TRUE(log.has(LogLevel::error, "set aside as settings.sqlite.damaged-"));
}

TEST_F(SqliteUserDefaultsTest, whatIsSoundInADamagedFileIsSaved) {
    // One value to a page and more; the damage hits one in the middle.
    std::string damaged;
    {
        auto defaults = open();
        for (int i = 0; i < 20; ++i) {
            const std::string key = "key" + std::to_string(i);
            EXPECT_TRUE(defaults->setValue(key, std::string(6000, static_cast<char>('a' + i))));
        }
    }
    damaged = bytes();
    const auto middle = damaged.find(std::string(6000, 'j'));
    ASSERT_NE(middle, damaged.npos);
    const auto page = middle / 8192 * 8192;
    damaged.replace(page, 8192, 8192, '\xA5');
    setBytes(damaged);

    auto defaults = open();
    int saved = 0;
    for (int i = 0; i < 20; ++i) {
        const auto value = defaults->value("key" + std::to_string(i));
        ASSERT_TRUE(value);
        if (!*value) continue;
        EXPECT_EQ(std::get<std::string>(**value), std::string(6000, static_cast<char>('a' + i)));
        ++saved;
    }
    EXPECT_GE(saved, 18);
    EXPECT_LT(saved, 20) << "the damage was real";
    EXPECT_EQ(asideCount(), 1);
}

TEST_F(SqliteUserDefaultsTest, noDamagedByteOfTheFirstPageMakesTheStoreUnusable) {
    {
        auto defaults = open();
        EXPECT_TRUE(defaults->set(name, std::string("a")));
    }
    // Bytes in which a file says that it is of a newer format: SQLite's write
    // version and schema format, our own version. Such a file is left alone.
    const std::set<std::size_t> newer{18, 47, 60, 61, 62, 63};
    const auto sound = bytes();
    for (std::size_t at = 0; at < 4096; at += at < 128 ? 1 : 5) {
        for (const auto& entry : fs::directory_iterator(file.parent_path()))
            fs::remove(entry.path());
        auto damaged = sound;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x5A);
        setBytes(damaged);
        {
            auto defaults = open();
            (void)defaults->get(name);
            EXPECT_EQ(defaults->set(other, std::string("b")), !newer.contains(at)) << at;
        }
        if (newer.contains(at))
            EXPECT_EQ(bytes(), damaged) << at;
        else
            EXPECT_EQ(open()->get(other), "b") << at;
    }
}

TEST_F(SqliteUserDefaultsTest, aSecondStoreOfTheProcessTakesNoLockAway) {
    // POSIX locks fall with any descriptor of the file that the process closes.
    // Without them the other process takes itself for the last user at its end
    // and removes the log from under us.
    OtherProcess first([&] { return open()->get(name) == "one"; });
    OtherProcess last([&] { return open()->get(name) == "two"; });
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("one")));
    EXPECT_EQ(open()->get(name), "one") << "the second store";
    EXPECT_TRUE(first.run());
    EXPECT_TRUE(defaults->set(name, std::string("two")));
    EXPECT_TRUE(last.run());
}

TEST_F(SqliteUserDefaultsTest, whileOneProcessMendsNoOtherSeesTheValuesGone) {
    {
        auto defaults = open();
        for (int i = 0; i < 200; ++i)
            EXPECT_TRUE(defaults->setValue("key" + std::to_string(i), std::string(10'000, 'x')));
        EXPECT_TRUE(defaults->set(name, std::string("kept")));
    }
    auto damaged = bytes();
    damaged.replace(50 * 8192, 8192, 8192, '\xA5');
    for (int round = 0; round < 5; ++round) {
        for (const auto& entry : fs::directory_iterator(file.parent_path()))
            fs::remove(entry.path());
        setBytes(damaged);
        const auto look = [&] {
            return open()->get(name) == "kept";
        };
        OtherProcess processes[3]{OtherProcess(look), OtherProcess(look), OtherProcess(look)};
        for (auto& process : processes) process.start();
        for (auto& process : processes) EXPECT_TRUE(process.finish());
        EXPECT_EQ(asideCount(), 1);
    }
}

TEST_F(SqliteUserDefaultsTest, damageWhileRunningGivesTheLastValueSeen) {
    OtherProcess process([&] { return open()->set(other, std::string("b")); });
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("a")));
    EXPECT_EQ(defaults->get(name), "a");
    // Theirs ends last and moves its log into the file; then the disk goes bad.
    defaults = open();
    EXPECT_EQ(defaults->get(name), "a");
    EXPECT_TRUE(process.run());
    for (const char* suffix : {"-wal", ""}) {
        const fs::path part = file.string() + suffix;
        std::ofstream(part, std::ios::binary) << std::string(fs::file_size(part), '\x5A');
    }
    EXPECT_EQ(defaults->get(name), "a") << "what was seen last stands in";
    EXPECT_TRUE(log.has(LogLevel::error, "settings:"));
    (void)defaults->set(name, std::string("c")); // meets the damage, or mends it
    EXPECT_TRUE(defaults->set(name, std::string("c"))) << "usable again";
    EXPECT_EQ(open()->get(name), "c");
}

TEST_F(SqliteUserDefaultsTest, aTransactionIsNotGivenAnOlderValue) {
    OtherProcess process([&] {
        auto database = SqliteDatabase::open(file);
        return database && database->execute("UPDATE defaults SET kind = 9").isOk();
    });
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("seen")));
    EXPECT_TRUE(process.run());
    EXPECT_EQ(defaults->get(name), "seen") << "better than nothing, to look at";
    EXPECT_TRUE(defaults->transaction([&] {
        const auto value = defaults->value(name.key);
        EXPECT_FALSE(value);
        EXPECT_TRUE(defaults->moveValue(name.key, "aside"));
        return defaults->set(name, std::string("new"));
    }));
    EXPECT_EQ(open()->get(name), "new");
    EXPECT_FALSE(open()->value("aside")) << "set aside as it was";
}

TEST_F(SqliteUserDefaultsTest, aFileOfANewerVersionIsLeftAlone) {
    {
        auto defaults = open();
        EXPECT_TRUE(defaults->set(name, std::string("theirs")));
    }
    {
        auto database = SqliteDatabase::open(file);
        ASSERT_TRUE(database);
        EXPECT_TRUE(database->execute("PRAGMA user_version = 2").isOk());
    }
    auto defaults = open();
    const auto value = defaults->value("name");
    ASSERT_FALSE(value);
    EXPECT_EQ(value.error().kind, DefaultsError::Kind::unreadable);
    EXPECT_FALSE(defaults->set(name, std::string("ours")));
    EXPECT_FALSE(defaults->transaction([] { return true; }));
    EXPECT_EQ(asideCount(), 0);
    EXPECT_TRUE(log.has(LogLevel::error, "version 2"));
}

TEST_F(SqliteUserDefaultsTest, aFileWithAForeignSchemaIsNotRun) {
    fs::create_directories(file.parent_path());
    setBytes("");
    {
        auto database = SqliteDatabase::open(file);
        ASSERT_TRUE(database);
        EXPECT_TRUE(
            database
                ->execute("PRAGMA user_version = 1; CREATE VIEW defaults AS WITH RECURSIVE "
                          "n(key, kind, value) AS (SELECT 1, 1, 1 UNION ALL SELECT key + 1, "
                          "1, 1 FROM n) SELECT key, kind, value FROM n")
                .isOk());
    }
    auto defaults = open();
    EXPECT_EQ(defaults->get(name), "nobody");
    EXPECT_TRUE(defaults->set(name, std::string("a")));
    EXPECT_EQ(asideCount(), 1);
}

TEST_F(SqliteUserDefaultsTest, aRemovedFolderIsMadeAgain) {
    auto defaults = open();
    EXPECT_TRUE(defaults->set(name, std::string("a")));
    fs::remove_all(file.parent_path());
    EXPECT_EQ(defaults->get(name), "nobody");
    EXPECT_TRUE(defaults->set(name, std::string("b")));
    EXPECT_EQ(open()->get(name), "b");
}

TEST_F(SqliteUserDefaultsTest, aPlaceThatCannotHoldAFileIsAnError) {
    std::ofstream(folder.path / "nimbe") << "a file where the folder should be";
    auto defaults = open();
    EXPECT_EQ(defaults->get(name), "nobody");
    EXPECT_FALSE(defaults->set(name, std::string("a")));
    EXPECT_FALSE(log.lines.empty());
}

} // namespace nimbe
