#include <fstream>
#include <sys/stat.h>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformSecrets/SecretServiceStore.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

// On a session bus without a keyring: run by scripts/desktop-session.

namespace nimbe {
namespace {

namespace fs = std::filesystem;
const auto purpose = LocalKeychainKeyStore::Purpose::history();
const SecretStore::Item item = purpose.item;

struct NoKeyringTest : testing::Test {
    TemporaryFolder folder;
    FakeLogSink log;
    SecretServiceStore keyring;
    SecretFileStore files{folder.path, log};
    SqliteUserDefaults defaults{folder.path / "settings.sqlite", log};
    LocalKeychainKeyStore keys{purpose, {keyring, files}, defaults, log};
    fs::path keyFile = folder.path / "com.nimbehq.history.key.default";

    void write(std::string_view text) const {
        std::ofstream(keyFile, std::ios::binary | std::ios::trunc) << text;
    }
};

} // namespace

TEST_F(NoKeyringTest, aPrivateFileHoldsTheKeyAndIsRemembered) {
    ::umask(0);
    const auto absent = keyring.read(item);
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error().kind, KeyStoreError::Kind::unreachable) << absent.error().detail;

    DictationHistory history(defaults, keys, log);
    const auto entry = history.append("kept", DictationMode::notes, Date{1});
    EXPECT_EQ(history.problem(), std::nullopt) << log.all();
    EXPECT_EQ(defaults.get(LocalKeychainKeyStore::place), "file");
    EXPECT_EQ(fs::status(keyFile).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::file_size(keyFile), 45U) << "base64 of 32 bytes and a line end";

    // A keyring comes up later, as on the first login to a desktop.
    const auto started = Process::run(
        {"/bin/sh", "-c", "gnome-keyring-daemon --unlock --daemonize --components=secrets"}, "pw");
    EXPECT_EQ(started.exitCode, 0) << started.error;
    bool answers = false;
    for (int i = 0; i < 100 && !answers; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        answers = keyring.read(item).has_value();
    }
    ASSERT_TRUE(answers);
    DictationHistory later(defaults, keys, log);
    EXPECT_EQ(later.entries(), std::vector{entry});
    EXPECT_FALSE(keyring.read(item).value()) << "and has no key of ours";
}

TEST_F(NoKeyringTest, aKeyFileIsReadOnlyWhereItIsOne) {
    const std::string good = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=";
    struct Case {
        const char* why;
        std::string content;
        bool isRead;
    };
    const Case cases[] = {
        {"with a line end", good + "\n", true},
        {"without", good, true},
        {"with the line ends of editors", good + "\r\n\n", true},
        {"empty", "", false},
        {"cut", good.substr(0, 43), false},
        {"cut at a quantum", good.substr(0, 40), false},
        {"with more behind it", good + "\n" + good, false},
        {"blanks within", good.substr(0, 20) + " " + good.substr(20), false},
        {"bits that no byte has", good.substr(0, 42) + "9=", false},
        {"padding alone", "====", false},
        {"raw bytes", std::string(32, '\0'), false},
        {"very long", std::string(100'000, 'A'), false},
    };
    EXPECT_TRUE(defaults.set(LocalKeychainKeyStore::place, std::string("file")));
    for (const auto& c : cases) {
        write(c.content);
        EXPECT_EQ(keys.loadKeyData().has_value(), c.isRead) << c.why;
        EXPECT_EQ(keys.saveKeyData(Bytes(32, 9)).has_value(), c.isRead) << c.why;
        std::ifstream in(keyFile, std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), c.content) << c.why;
    }
    write(good);
    fs::permissions(keyFile, fs::perms(0644));
    EXPECT_EQ(keys.loadKeyData().value()->at(31), 31);
    EXPECT_EQ(fs::status(keyFile).permissions(), fs::perms(0600)) << "others lose their access";

    fs::remove(keyFile);
    ASSERT_EQ(::mkfifo(keyFile.c_str(), 0600), 0);
    EXPECT_FALSE(keys.loadKeyData()) << "a pipe that nobody writes to does not hang";
    fs::remove(keyFile);
    fs::create_directory(keyFile);
    fs::permissions(keyFile, fs::perms(0755));
    EXPECT_FALSE(keys.loadKeyData());
    EXPECT_EQ(fs::status(keyFile).permissions(), fs::perms(0755)) << "it is not ours";
    EXPECT_FALSE(keys.saveKeyData(Bytes(32, 9)));
}

} // namespace nimbe
