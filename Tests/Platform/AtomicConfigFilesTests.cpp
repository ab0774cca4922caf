#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "PlatformStorage/AtomicConfigFiles.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

struct AtomicConfigFilesTest : testing::Test {
    TemporaryFolder folder;
    fs::path file = folder.path / "config" / "client" / "c.json";
    AtomicConfigFiles files;

    static void put(const fs::path& path, std::string_view content) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    [[nodiscard]] std::string content(const fs::path& path) {
        const auto read = files.read(path);
        return !read ? "error" : read->value_or("absent");
    }
    /// Over what is there.
    [[nodiscard]] std::error_code write(const fs::path& path, std::string_view text) {
        const auto before = files.read(path);
        return files.replace(path, before ? *before : std::nullopt, text);
    }
    [[nodiscard]] int entries(const fs::path& path) const {
        return static_cast<int>(std::distance(fs::directory_iterator(path), {}));
    }
};

} // namespace

TEST_F(AtomicConfigFilesTest, whatIsNewIsForTheUserAlone) {
    EXPECT_EQ(content(file), "absent");
    EXPECT_FALSE(write(file, "\xC3\xA9\n"));
    EXPECT_EQ(content(file), "\xC3\xA9\n");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(file.parent_path().parent_path()).permissions(), fs::perms(0700));
}

TEST_F(AtomicConfigFilesTest, onlyWhatWasReadIsReplaced) {
    EXPECT_EQ(files.replace(file, "old", "new"), std::errc::operation_canceled);
    EXPECT_EQ(content(file), "absent");
    for (const auto* now : {"", "old", "other"}) {
        put(file, now);
        for (const auto& before : {std::optional<std::string>(), std::optional<std::string>("ol")})
            EXPECT_EQ(files.replace(file, before, "new"), std::errc::operation_canceled) << now;
        EXPECT_EQ(content(file), now);
        EXPECT_FALSE(files.replace(file, now, "new"));
        EXPECT_EQ(content(file), "new");
    }
    EXPECT_EQ(entries(file.parent_path()), 1) << "no draft is left behind";
}

TEST_F(AtomicConfigFilesTest, permissionsAndOwnerStay) {
    put(file, "old");
    for (const auto mode : {0600, 0640, 0644, 0400}) {
        ASSERT_EQ(::chmod(file.c_str(), static_cast<mode_t>(mode)), 0);
        EXPECT_FALSE(write(file, "new"));
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(mode)) << std::oct << mode;
    }
    if (::geteuid() != 0) GTEST_SKIP() << "only root gives files away";
    ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
    ASSERT_EQ(::chown(file.c_str(), 12345, 23456), 0);
    ASSERT_EQ(::chmod(file.c_str(), 06755), 0);
    EXPECT_FALSE(write(file, "newer"));
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345U);
    EXPECT_EQ(status.st_gid, 23456U);
    EXPECT_EQ(status.st_mode & 07777U, 06755U);
}

TEST_F(AtomicConfigFilesTest, whatMustNotBeReadIsNoAbsentFile) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root becomes somebody else";
    put(file, "old");
    ASSERT_EQ(::chmod(folder.path.c_str(), 0700), 0);
    ASSERT_EQ(::seteuid(12345), 0);
    const auto read = files.read(file);
    const auto error = write(file, "new");
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_FALSE(read);
    EXPECT_EQ(error, std::errc::permission_denied);
    EXPECT_EQ(content(file), "old");
}

TEST_F(AtomicConfigFilesTest, linksStayAndLeadToWhatIsWritten) {
    const auto real = folder.path / "dotfiles";
    put(real / "c.json", "old");
    // The folder by a link, the file by a relative one that leads to an absolute one.
    fs::create_directory(folder.path / "home");
    fs::create_directory_symlink("../dotfiles", folder.path / "home" / "config");
    fs::create_symlink(real / "c.json", real / "second");
    fs::create_symlink("second", real / "first");
    EXPECT_FALSE(write(folder.path / "home" / "config" / "first", "new"));
    EXPECT_EQ(content(real / "c.json"), "new");
    EXPECT_TRUE(fs::is_symlink(real / "first") && fs::is_symlink(real / "second"));
    EXPECT_TRUE(fs::is_symlink(folder.path / "home" / "config"));

    // To where nothing is yet.
    fs::create_symlink("later/d.json", real / "third");
    EXPECT_EQ(content(real / "third"), "absent");
    EXPECT_FALSE(write(real / "third", "third"));
    EXPECT_TRUE(fs::is_symlink(real / "third"));
    EXPECT_EQ(content(real / "later" / "d.json"), "third");

    fs::create_symlink("circle", real / "circle");
    EXPECT_EQ(content(real / "circle"), "error");
    EXPECT_TRUE(write(real / "circle", "x"));
    EXPECT_EQ(entries(real), 6);
}

TEST_F(AtomicConfigFilesTest, whatIsNoFileIsLeftAlone) {
    fs::create_directories(file); // a folder of its name
    EXPECT_EQ(content(file), "error");
    EXPECT_TRUE(write(file, "x"));
    EXPECT_TRUE(fs::is_directory(file));

    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); // reading it would wait for ever
    EXPECT_EQ(content(file), "error");
    EXPECT_TRUE(write(file, "x"));
    EXPECT_TRUE(fs::is_fifo(file));

    // Behind a link too. No real device here: a fault would replace it.
    const auto link = folder.path / "link";
    fs::create_symlink(file, link);
    EXPECT_EQ(content(link), "error");
    EXPECT_TRUE(write(link, "x"));
    EXPECT_TRUE(fs::is_fifo(file));

    put(folder.path / "file", "in the way of a folder");
    EXPECT_EQ(content(folder.path / "file" / "client" / "c.json"), "absent");
    EXPECT_TRUE(write(folder.path / "file" / "client" / "c.json", "x"));
    EXPECT_EQ(content(folder.path / "file"), "in the way of a folder");

    put(folder.path / "long", "");
    fs::resize_file(folder.path / "long", 16U * 1024 * 1024);
    EXPECT_EQ(content(folder.path / "long").size(), 16U * 1024 * 1024);
    fs::resize_file(folder.path / "long", 16U * 1024 * 1024 + 1);
    EXPECT_EQ(content(folder.path / "long"), "error");
}

TEST_F(AtomicConfigFilesTest, aDiskThatIsFullOrReadOnlyLeavesTheOldFile) {
    const auto small = folder.path / "small";
    const SmallDisk disk(small, 64 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    EXPECT_FALSE(write(small / "c.json", "old"));
    EXPECT_EQ(write(small / "c.json", std::string(100'000, 'x')), std::errc::no_space_on_device);
    EXPECT_EQ(content(small / "c.json"), "old");
    ASSERT_TRUE(disk.setReadOnly(true));
    EXPECT_EQ(write(small / "c.json", "new"), std::errc::read_only_file_system);
    EXPECT_EQ(write(small / "folder" / "c.json", "new"), std::errc::read_only_file_system);
    EXPECT_EQ(content(small / "c.json"), "old");
    ASSERT_TRUE(disk.setReadOnly(false));
    EXPECT_EQ(entries(small), 1) << "no draft is left behind";
}

} // namespace nimbe
