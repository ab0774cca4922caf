#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <libsecret/secret.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformSecrets/SecretServiceStore.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/PipedProcess.h"
#include "Support/TemporaryFolder.h"

// The real program with a real keyring: run by scripts/desktop-session.

namespace nimbe {
namespace {

namespace fs = std::filesystem;

const std::string list =
    R"({"id":1,"method":"tools/call","params":{"name":"list_dictations","arguments":{}}})";

struct MCPKeyringTest : testing::Test {
    TemporaryFolder folder;
    fs::path data = folder.path / "nimbe";
    FakeLogSink log;
    SecretServiceStore keyring;
    SecretFileStore files{data, log};
    SqliteUserDefaults defaults{data / "settings.sqlite", log};
    LocalKeychainKeyStore keys{
        LocalKeychainKeyStore::Purpose::history(), {keyring, files}, defaults, log};
    DictationHistory history{defaults, keys, log};

    [[nodiscard]] static int keyringPid() {
        const char* pid = std::getenv("SESSION_KEYRING_PID");
        return pid ? std::atoi(pid) : 0;
    }
    void SetUp() override { ASSERT_NE(keyringPid(), 0) << "not under scripts/desktop-session"; }

    [[nodiscard]] PipedProcess server() const {
        return PipedProcess({NIMBE_EXECUTABLE, "--mcp-stdio"}, {{"XDG_DATA_HOME", folder.path}});
    }
    static bool isListed(PipedProcess& process, std::string_view text) {
        const auto answer = process.ask(list);
        return answer && answer->find(text) != answer->npos;
    }
    static void lockDefaultKeyring() {
        SecretService* service =
            secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, nullptr);
        SecretCollection* collection = secret_collection_for_alias_sync(
            service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, nullptr);
        GList* all = g_list_append(nullptr, collection);
        EXPECT_EQ(secret_service_lock_sync(service, all, nullptr, nullptr, nullptr), 1);
        g_list_free(all);
        g_object_unref(collection);
        g_object_unref(service);
    }
};

} // namespace

TEST_F(MCPKeyringTest, aKeyringThatIsAwayOrLockedIsAnEmptyHistoryUntilItIsBack) {
    history.append("in the keyring", DictationMode::notes, Date{1});
    ASSERT_EQ(history.problem(), std::nullopt) << log.all();
    ASSERT_EQ(defaults.get(LocalKeychainKeyStore::place), "keychain");
    const auto sealed = defaults.get(Setting<Bytes>{DictationHistory::key});
    {
        auto process = server();
        EXPECT_TRUE(isListed(process, "in the keyring"));
        EXPECT_EQ(process.finish(), 0);
        EXPECT_EQ(process.error(), "nimbe-mcp: ready (0.1.0)\n");
    }
    ASSERT_EQ(::kill(keyringPid(), SIGSTOP), 0);
    auto process = server();
    EXPECT_TRUE(isListed(process, R"({\"items\":[]})")) << "it hangs";
    EXPECT_TRUE(isListed(process, R"({\"items\":[]})")) << "still";
    ASSERT_EQ(::kill(keyringPid(), SIGCONT), 0);
    EXPECT_TRUE(isListed(process, "in the keyring")) << "it is back";

    lockDefaultKeyring();
    EXPECT_TRUE(isListed(process, "in the keyring")) << "who has the key needs no keyring";
    auto locked = server();
    EXPECT_TRUE(isListed(locked, R"({\"items\":[]})"));
    EXPECT_EQ(locked.finish(), 0);
    EXPECT_NE(locked.error().find("locked"), std::string::npos) << locked.error();
    EXPECT_EQ(process.finish(), 0);
    EXPECT_EQ(std::count(process.error().begin(), process.error().end(), '\n'), 2)
        << process.error();
    EXPECT_EQ(defaults.get(Setting<Bytes>{DictationHistory::key}), sealed);
    EXPECT_FALSE(fs::exists(data / "com.nimbehq.history.key.default")) << "no other key";
}

} // namespace nimbe
