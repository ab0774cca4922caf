#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ModelsFixture.h"

extern char** environ;

namespace nimbe {
namespace {

namespace fs = std::filesystem;

using SpeechModelStoreTest = ModelsFixture;

/// Another process that installs the model in the same folders.
class Installer {
public:
    Installer(const fs::path& folder, const std::string& address) {
        // Where the fixture's store has them.
        const auto at = folder / "process";
        fs::create_directories(at);
        link(folder / "data" / "models", at / "models");
        link(folder / "cache" / "models", at / "cache");
        std::array<std::string, 3> words{NIMBE_MODEL_INSTALLER, at.string(), address};
        std::array<char*, 4> argv{words[0].data(), words[1].data(), words[2].data(), nullptr};
        if (::posix_spawn(&child, words[0].c_str(), nullptr, nullptr, argv.data(), environ) != 0)
            std::abort();
        handle = static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
        if (handle < 0) std::abort();
    }
    ~Installer() {
        kill();
        (void)end();
        ::close(handle);
    }
    Installer(const Installer&) = delete;
    Installer& operator=(const Installer&) = delete;

    /// This process and no other, also when it has ended. Any thread.
    void kill() const { ::syscall(SYS_pidfd_send_signal, handle, SIGKILL, nullptr, 0); }
    /// Waits for it. Its exit code; -1 when it was killed.
    int end() {
        int status = 0;
        if (!hasEnded && ::waitpid(child, &status, 0) == child) hasEnded = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t child = 0;
    int handle = -1;
    bool hasEnded = false;

    static void link(const fs::path& target, const fs::path& name) {
        fs::create_directories(target);
        if (!fs::exists(name)) fs::create_symlink(target, name);
    }
};

mode_t modeOf(const fs::path& path) {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
}

/// So that nothing more can be written on it.
void fill(const fs::path& disk) {
    const int file = ::open((disk / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string block(4096, 'f');
    while (::write(file, block.data(), block.size()) > 0) {
    }
    ::close(file);
}

} // namespace

TEST_F(SpeechModelStoreTest, aModelBelongsToItsUserAlone) {
    const mode_t before = ::umask(0);
    EXPECT_TRUE(install());
    ::umask(before);
    EXPECT_EQ(modeOf(models.parent_path()), 0700U);
    EXPECT_EQ(modeOf(models), 0700U);
    EXPECT_EQ(modeOf(place), 0700U);
    for (const auto& file : model.files) EXPECT_EQ(modeOf(place / file.name), 0600U);
    EXPECT_EQ(modeOf(cache.parent_path()), 0700U);
    const auto found = store->installed(model);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->folder, place);
    EXPECT_FALSE(found->isPackaged);
}

TEST_F(SpeechModelStoreTest, installedMeansAllFilesAtTheirLengths) {
    EXPECT_FALSE(store->installed(model));
    test.writeTo(folder.path / "elsewhere");
    fs::create_directories(packaged / model.folder);
    for (const auto& file : model.files)
        fs::create_symlink(
            folder.path / "elsewhere" / file.name, packaged / model.folder / file.name);
    auto found = store->installed(model);
    ASSERT_TRUE(found) << "links to files are files";
    EXPECT_TRUE(found->isPackaged);
    EXPECT_TRUE(verify());
    server.forgetRequests();
    EXPECT_TRUE(install(""));
    EXPECT_TRUE(server.requests().empty());

    // A copy of the user's own, in two attempts.
    auto broken = goodPage(0);
    broken.breaksOffAfter = 1'000;
    server.put(path(0), broken);
    EXPECT_FALSE(install());
    EXPECT_EQ(store->downloaded(model), 1'000U);
    server.put(path(0), goodPage(0));
    EXPECT_TRUE(install());
    EXPECT_EQ(server.requests().at(1).headers.at("range"), "bytes=1000-");
    EXPECT_FALSE(store->installed(model)->isPackaged) << "the user's own counts first";
    fs::resize_file(place / model.files[2].name, 19'999);
    EXPECT_TRUE(store->installed(model)->isPackaged);
    fs::remove(folder.path / "elsewhere" / model.files[3].name);
    EXPECT_FALSE(store->installed(model)) << "a link to nothing";
    fs::resize_file(place / model.files[2].name, 20'001);
    EXPECT_FALSE(store->installed(model));
    fs::remove(place / model.files[2].name);
    fs::create_directory(place / model.files[2].name);
    EXPECT_FALSE(store->installed(model)) << "a folder is no file";
}

TEST_F(SpeechModelStoreTest, whatStandsInTheWayIsReplaced) {
    const std::function<void()> obstacles[] = {
        [&] { writeFile(place / "tokens.txt", "short"); },
        [&] { writeFile(place, "a file"); },
        [&] { fs::create_directories(place / "tokens.txt" / "deep"); },
        [&] { fs::create_symlink(folder.path / "other", place); },
        [&] { fs::create_symlink(folder.path / "nothing", place); },
        [&] { writeFile(staging, "a file"); },
    };
    writeFile(folder.path / "other" / "kept", "kept");
    for (std::size_t i = 0; i < std::size(obstacles); ++i) {
        fs::remove_all(models);
        fs::create_directories(models);
        obstacles[i]();
        const auto outcome = install();
        EXPECT_TRUE(outcome) << i << text(outcome);
        expectWhole(std::to_string(i));
    }
    EXPECT_EQ(readFile(folder.path / "other" / "kept"), "kept") << "a link's target is not ours";
}

TEST_F(SpeechModelStoreTest, whatCannotBeWrittenIsSaid) {
    writeFile(folder.path / "data", "a file");
    auto outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::notWritable) << text(outcome);
    fs::remove(folder.path / "data");
    writeFile(folder.path / "cache", "a file");
    outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::notWritable) << text(outcome);
    fs::remove(folder.path / "cache");
    fs::create_directories(partial(1));
    outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::notWritable) << text(outcome);
    EXPECT_TRUE(store->remove(model)) << "and this clears it away";
    EXPECT_TRUE(install());

    fs::rename(models, folder.path / "kept");
    fs::rename(folder.path / "kept" / model.folder, folder.path / "whole");
    const ReadOnlyView view(folder.path / "kept", models);
    if (!view.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::notWritable) << text(outcome);
    outcome = store->remove(model);
    EXPECT_EQ(outcome.error().kind, Kind::notInstalled) << text(outcome);
}

TEST_F(SpeechModelStoreTest, aModelOnAReadOnlyDiskStays) {
    EXPECT_TRUE(install());
    fs::rename(models, folder.path / "kept");
    const ReadOnlyView view(folder.path / "kept", models);
    if (!view.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    EXPECT_TRUE(verify());
    const auto outcome = store->remove(model);
    EXPECT_EQ(outcome.error().kind, Kind::notWritable) << text(outcome);
    EXPECT_TRUE(verify());
}

TEST_F(SpeechModelStoreTest, aFullDiskIsNoticedBeforeAndMeanwhile) {
    const SmallDisk disk(cache.parent_path(), 1200 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    makeStore(http, 1'000'000);
    auto outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::noSpace) << text(outcome);
    EXPECT_TRUE(server.requests().empty()) << "nothing was asked for";

    makeStore(http, 0);
    auto page = goodPage(1);
    page.before = [&] {
        fill(cache.parent_path());
    };
    server.put(path(1), page);
    outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::noSpace) << text(outcome);
    EXPECT_FALSE(fs::exists(place));
    EXPECT_EQ(fs::file_size(partial(0)), 300'000U) << "what had come stays";
    fs::remove(cache.parent_path() / "filler");
    server.put(path(1), goodPage(1));
    EXPECT_TRUE(install());
    expectWhole("over the border of a file system");
}

TEST_F(SpeechModelStoreTest, aFullDiskUnderTheModelsIsNoticedBefore) {
    const SmallDisk disk(models.parent_path(), 900 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    const auto outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::noSpace) << text(outcome);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(SpeechModelStoreTest, oneAtATimeWorksOnAModel) {
    server.put(path(1), Page{.body = test.contents[1], .hangsAfter = 5'000});
    Installer other(folder.path, server.address());
    ASSERT_TRUE(waitUntil([&] { return store->downloaded(model) == 305'000; }));
    auto outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::busy) << text(outcome);
    EXPECT_EQ(store->remove(model).error().kind, Kind::busy);
    other.kill();
    (void)other.end();

    std::optional<Outcome> first;
    const auto task = startTask(loop, keep(store->install(model, server.address(), {}), first));
    ASSERT_TRUE(waitUntil([&] { return store->downloaded(model) > 305'000; }));
    outcome = install();
    EXPECT_EQ(outcome.error().kind, Kind::busy) << "in one process too";
    ASSERT_TRUE(waitUntil([&] { return first.has_value(); }));
    EXPECT_EQ(first->error().kind, Kind::brokenOff) << text(*first);
    serveAll();
    EXPECT_TRUE(install());
    EXPECT_TRUE(store->remove(model)) << "nobody holds the lock any more";
}

TEST_F(SpeechModelStoreTest, aStoppedTaskKeepsWhatHasCome) {
    server.put(path(1), Page{.body = test.contents[1], .hangsAfter = 5'000});
    std::optional<Outcome> outcome;
    int told = 0;
    auto task = startTask(
        loop, keep(store->install(model, server.address(), [&](Progress) { ++told; }), outcome));
    ASSERT_TRUE(waitUntil([&] { return store->downloaded(model) == 305'000; }));
    task.reset();
    const int before = told;
    EXPECT_TRUE(waitUntil([&] { return server.openConnections() == 0; }));
    EXPECT_EQ(told, before);
    EXPECT_FALSE(outcome);
    EXPECT_EQ(store->downloaded(model), 305'000U);
    serveAll();
    EXPECT_TRUE(install());
    EXPECT_EQ(server.requests().back().target, path(3));
    expectWhole("after the stop");
}

TEST_F(SpeechModelStoreTest, aTaskMayBeStoppedAtAnyMomentAndByItsOwnProgress) {
    std::mt19937 random(20261123);
    std::optional<TaskHandle> task;
    std::optional<Outcome> outcome;
    for (int round = 0; round < 40; ++round) {
        fs::remove_all(place);
        const bool stopsItself = round % 4 == 0;
        const auto stop = [&, stopsItself](Progress) {
            if (stopsItself) task.reset();
        };
        outcome.reset();
        task.emplace(startTask(loop, keep(store->install(model, server.address(), stop), outcome)));
        const double pause = static_cast<double>(random() % 12'000) / 1e6;
        const Token end = loop.schedule(pause, [&] {
            task.reset();
            loop.stop();
        });
        loop.run();
        const bool isThere = fs::exists(place);
        EXPECT_TRUE(!isThere || store->installed(model)) << "never a part of it";
    }
    store.reset(); // waits for what is still being read
    makeStore(http);
    EXPECT_TRUE(install());
    expectWhole("after forty stops");
}

TEST_F(SpeechModelStoreTest, aStoreMayGoBeforeItsTask) {
    server.put(path(1), Page{.body = test.contents[1], .pause = 0.00001});
    std::optional<Outcome> outcome;
    const auto task = startTask(loop, keep(store->install(model, server.address(), {}), outcome));
    ASSERT_TRUE(waitUntil([&] { return store->downloaded(model) > 300'000; }));
    store.reset();
    serveAll();
    EXPECT_FALSE(outcome);
}

TEST_F(SpeechModelStoreTest, aKilledProcessLeavesNothingHalf) {
    std::mt19937 random(20261123);
    int unfinished = 0;
    int whileMoving = 0;
    std::atomic<bool> isAsked = false;
    constexpr int rounds = 40;
    for (int round = 0; round < rounds; ++round) {
        // Now an empty place, now a broken model that is replaced.
        fs::remove_all(place);
        if (round % 2 == 0) writeFile(place / "tokens.txt", "broken");
        const auto file = static_cast<std::size_t>(round);
        if (round < 4) {
            Page page;
            page.before = [&isAsked] {
                isAsked = true;
            };
            page.hangsBeforeHead = true;
            server.put(path(file), page);
        }
        Installer installer(folder.path, server.address());
        const auto pause = static_cast<unsigned>(random() % 6'000);
        if (round < 4) { // as it asks for each file in turn
            EXPECT_TRUE(waitUntil([&] { return isAsked.exchange(false); })) << "round " << round;
        } else { // while it fetches, or while it moves what it has fetched
            const bool isEarly = round % 4 < 2;
            const auto isMoving = [&] {
                return fs::exists(staging) || store->installed(model);
            };
            for (int i = 0; !isEarly && i < 100'000 && !isMoving(); ++i) ::usleep(20);
            ::usleep(isEarly ? pause : pause / 4);
        }
        installer.kill();
        unfinished += installer.end() == 0 ? 0 : 1;
        whileMoving += fs::exists(staging) ? 1 : 0;
        serveAll();
        const bool isNew = fs::exists(place / model.files[0].name);
        EXPECT_TRUE(!isNew || verify()) << "round " << round;
        // Now and then the next process finds what this one left.
        if (round % 3 == 0) continue;
        const auto outcome = install();
        EXPECT_TRUE(outcome) << "round " << round << text(outcome);
        expectWhole("round " + std::to_string(round));
    }
    EXPECT_GT(unfinished, rounds / 2) << "the kills came too late to interrupt anything";
    EXPECT_GT(whileMoving, 0) << "no kill met a model on its way into its place";
}

TEST_F(SpeechModelStoreTest, whatAKilledProcessLeftIsUsed) {
    const auto put = [&](const fs::path& at, std::size_t file) {
        writeFile(at, test.contents[file]);
    };
    // While the files move.
    put(staging / model.files[0].name, 0);
    put(staging / model.files[1].name, 1);
    put(partial(2), 2);
    put(partial(3), 3);
    EXPECT_TRUE(install());
    EXPECT_TRUE(server.requests().empty()) << "all of it was there";
    expectWhole("moved back");

    // After the exchange with a broken one, before that is gone.
    writeFile(staging / "tokens.txt", "of the broken one");
    writeFile(models / ".test-model-en.removed" / "tokens.txt", "of a removed one");
    EXPECT_TRUE(install(""));
    expectWhole("cleaned up");

    // After the switch, before the downloads are gone.
    put(partial(1), 1);
    EXPECT_TRUE(install(""));
    expectWhole("the downloads are gone");

    // A copy over the border of a file system, cut off.
    fs::remove_all(place);
    writeFile(staging / model.files[1].name, test.contents[1].substr(0, 1'000));
    EXPECT_TRUE(install());
    expectWhole("fetched anew");
}

TEST_F(SpeechModelStoreTest, onlyWhatTheUserInstalledIsRemoved) {
    EXPECT_EQ(store->remove(model).error().kind, Kind::notInstalled);
    test.writeTo(packaged / model.folder);
    EXPECT_EQ(store->remove(model).error().kind, Kind::isPackaged);
    test.writeTo(place);
    EXPECT_TRUE(store->remove(model));
    EXPECT_TRUE(store->installed(model)->isPackaged);
    EXPECT_FALSE(fs::exists(place));

    writeFile(place / "tokens.txt", "broken");
    writeFile(partial(1), "a part");
    EXPECT_EQ(store->downloaded(model), 6U);
    EXPECT_TRUE(store->remove(model));
    EXPECT_FALSE(fs::exists(place));
    EXPECT_EQ(store->downloaded(model), 0U);
    EXPECT_TRUE(verify()) << "the packaged one";
}

TEST_F(SpeechModelStoreTest, verificationNamesTheFile) {
    EXPECT_EQ(verify().error().kind, Kind::notInstalled);
    const auto file = place / model.files[1].name;
    const std::function<void()> damages[] = {
        [&] {
            auto content = test.contents[1];
            content[350'000] = static_cast<char>(content[350'000] ^ 1);
            writeFile(file, content);
        },
        [&] { fs::resize_file(file, 700'000); },
        [&] { fs::remove(file); },
        [&] {
            fs::remove(file);
            fs::create_directory(file);
        },
    };
    for (std::size_t i = 0; i < std::size(damages); ++i) {
        fs::remove_all(place);
        test.writeTo(place);
        EXPECT_TRUE(verify());
        damages[i]();
        const auto outcome = verify();
        ASSERT_FALSE(outcome) << i;
        EXPECT_EQ(outcome.error().kind, Kind::wrongContent) << i << text(outcome);
        EXPECT_EQ(outcome.error().file, "decoder_model_merged.onnx") << i;
    }
}

} // namespace nimbe
