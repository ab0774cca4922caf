#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSecretStore.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/TemporaryFolder.h"

extern char** environ;

namespace nimbe {
namespace {

// Two writers of 45 are the last 100 entries of a history, with room for what a
// killed one had stored and could not say any more.
constexpr int rounds = 200;
constexpr int entriesPerWriter = 45;

/// A HistoryWriter whose words go into a pipe.
class Writer {
public:
    explicit Writer(const std::filesystem::path& folder) {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        std::array<std::string, 3> words{
            NIMBE_HISTORY_WRITER, folder.string(), std::to_string(entriesPerWriter)};
        std::array<char*, 4> argv{words[0].data(), words[1].data(), words[2].data(), nullptr};
        if (::posix_spawn(&child, words[0].c_str(), &actions, nullptr, argv.data(), environ) != 0)
            std::abort();
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// As soon as so many entries are acknowledged and `pause` microseconds more.
    void killAfter(std::size_t entries, unsigned pause) {
        while (text.size() < entries * lineLength && readMore()) {
        }
        ::usleep(pause);
        ::kill(child, SIGKILL);
    }

    /// The ids of what it had stored, once it has ended. Exit code 0 or killed.
    [[nodiscard]] std::vector<UUID> acknowledged() {
        while (readMore()) {
        }
        ::close(ends[0]);
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(status == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) << status;
        std::vector<UUID> ids;
        for (std::size_t at = 0; at + lineLength <= text.size(); at += lineLength)
            ids.push_back(UUID::parse(text.substr(at, lineLength - 1)).value());
        return ids;
    }

private:
    static constexpr std::size_t lineLength = 37;
    std::array<int, 2> ends{};
    pid_t child = -1;
    std::string text;

    [[nodiscard]] bool readMore() {
        std::array<char, 4096> buffer{};
        const ssize_t count = ::read(ends[0], buffer.data(), buffer.size());
        if (count > 0) text.append(buffer.data(), static_cast<std::size_t>(count));
        return count > 0;
    }
};

} // namespace

TEST(HistoryKill, everyAcknowledgedEntryIsThereAfterwards) {
    std::mt19937 random(20261123);
    std::size_t acknowledged = 0;
    int killed = 0;
    std::optional<TemporaryFolder> folder;
    for (int round = 0; round < rounds; ++round) {
        // A new history now and then: its making is interrupted as well.
        if (round % 8 == 0) folder.emplace();
        Writer one(folder->path);
        Writer other(folder->path);
        // At any place in their work, the making of the history included.
        one.killAfter(random() % entriesPerWriter, static_cast<unsigned>(random() % 2'000));
        other.killAfter(random() % entriesPerWriter, static_cast<unsigned>(random() % 2'000));
        auto ids = one.acknowledged();
        const auto others = other.acknowledged();
        killed += ids.size() < entriesPerWriter ? 1 : 0;
        killed += others.size() < entriesPerWriter ? 1 : 0;
        ids.insert(ids.end(), others.begin(), others.end());
        acknowledged += ids.size();

        FakeLogSink log;
        FakeSecretStore noKeyring;
        noKeyring.error = KeyStoreError::Kind::unreachable;
        SecretFileStore files(folder->path, log);
        SqliteUserDefaults defaults(folder->path / "settings.sqlite", log);
        LocalKeychainKeyStore keys(
            LocalKeychainKeyStore::Purpose::history(), {noKeyring, files}, defaults, log);
        DictationHistory history(defaults, keys, log);
        std::set<UUID> stored;
        for (const auto& entry : history.entries()) stored.insert(entry.id);
        EXPECT_EQ(history.problem(), std::nullopt) << "round " << round;
        for (const auto& id : ids) ASSERT_TRUE(stored.contains(id)) << "round " << round;
        ASSERT_TRUE(log.lines.empty()) << log.all();
    }
    std::printf("HistoryKill: %d rounds, %d of %d writers killed at work, %zu entries "
                "acknowledged, all there\n",
        rounds, killed, 2 * rounds, acknowledged);
    EXPECT_GT(killed, rounds / 2) << "the kills came too late to interrupt anything";
    EXPECT_GT(acknowledged, 2000U) << "the kills came too early";
}

} // namespace nimbe
