#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/Json.h"
#include "NimbeGround/Ground.h"
#include "NimbeSync/KeychainKeyStore.h"
#include "NimbeSync/SyncStore.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"
#include "Support/PipedProcess.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

// The real program, as an AI client starts it.

namespace nimbe {
namespace {

namespace fs = std::filesystem;

std::string call(std::string_view tool, std::string_view arguments) {
    return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" +
           std::string(tool) + R"(","arguments":)" + std::string(arguments) + "}}";
}

const std::string initialize = R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{}})";
const std::string ping = R"({"jsonrpc":"2.0","id":7,"method":"ping"})";
const std::string pong = R"({"jsonrpc":"2.0","id":7,"result":{}})";
const std::string list = call("list_dictations", R"({"limit":1000})");

struct MCPModeTest : testing::Test {
    TemporaryFolder folder;
    fs::path data = folder.path / "data";
    FakeLogSink log;

    MCPModeTest() { ::setenv("NIMBE_HOME", folder.path.c_str(), 1); }
    ~MCPModeTest() override { ::unsetenv("NIMBE_HOME"); }

    /// As the application would, in another process than the server.
    DictationEntry dictate(const std::string& text) {
        Ground ground(DataFolders::find().value(), log);
        return HistoryGround(ground).history.append(text, DictationMode::notes, Date::now());
    }
    [[nodiscard]] static std::vector<std::string> server() {
        return {NIMBE_EXECUTABLE, "--mcp-stdio"};
    }
    /// The previews of all that is listed, or what else came.
    static std::string listed(PipedProcess& process) {
        const auto answer = process.ask(list);
        if (!answer) return "no answer";
        const auto json = Json::parse(*answer);
        if (!json) return *answer;
        const auto& content = json->member("result")->member("content")->asArray()->at(0);
        const auto& text = *content.member("text")->asString();
        const auto payload = Json::parse(text);
        if (!payload) return text;
        std::string texts;
        for (const auto& item : *payload->member("items")->asArray())
            texts += *item.member("preview")->asString() + ";";
        return texts;
    }
    /// Every file of the data folder and what is in it.
    [[nodiscard]] std::map<std::string, std::string> files() const {
        std::map<std::string, std::string> found;
        if (!fs::exists(data)) return found;
        for (const auto& entry : fs::directory_iterator(data)) {
            const auto name = entry.path().filename().string();
            if (!entry.is_regular_file()) {
                found[name] = "a folder";
                continue;
            }
            std::ifstream in(entry.path(), std::ios::binary);
            found[name] = {std::istreambuf_iterator<char>(in), {}};
        }
        return found;
    }
};

} // namespace

TEST_F(MCPModeTest, standardOutputHasAnswersAndErrorOneLine) {
    const auto run = Process::run(server(), initialize + "\n\n" + ping + "\nnonsense\n" + ping);
    EXPECT_EQ(run.output,
        R"({"jsonrpc":"2.0","id":0,"result":{"protocolVersion":"2025-06-18",)"
        R"("capabilities":{"tools":{}},"serverInfo":{"name":"nimbe","version":"0.1.0"}}})"
        "\n" +
            pong +
            "\n"
            R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})"
            "\n" +
            pong + "\n");
    EXPECT_EQ(run.error, "nimbe-mcp: ready (0.1.0)\n");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(files().empty()) << "nothing is made where nothing is";
}

TEST_F(MCPModeTest, whatIsDictatedBetweenTwoCallsIsSeenByTheSecond) {
    PipedProcess process(server());
    EXPECT_EQ(listed(process), "") << "nobody has dictated yet";
    const auto first = dictate("first, Grüße 👋");
    EXPECT_EQ(listed(process), "first, Grüße 👋;");
    dictate("second");
    EXPECT_EQ(listed(process), "second;first, Grüße 👋;");
    const auto found = process.ask(call("search_dictations", R"({"query":"GRÜSSE grüße"})"));
    EXPECT_NE(found->find(R"(\"results\":[])"), found->npos) << *found;
    {
        Ground ground(DataFolders::find().value(), log);
        HistoryGround(ground).history.deleteEntry(first.id, Date::now());
    }
    EXPECT_EQ(listed(process), "second;");
    const auto gone = process.ask(call("get_dictation", R"({"id":")" + first.id.text() + "\"}"));
    EXPECT_NE(gone->find(R"("isError":true)"), gone->npos) << *gone;
    EXPECT_EQ(process.finish(), 0);
    EXPECT_EQ(process.error(), "nimbe-mcp: ready (0.1.0)\n");
}

TEST_F(MCPModeTest, aHistoryThatCannotBeReadIsEmptyAndLeftAsItIs) {
    struct Case {
        const char* why;
        std::function<void()> spoil;
        const char* line;
    };
    const auto overwrite = [&](const char* name, std::size_t at, const std::string& bytes) {
        std::fstream file(data / name, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(at));
        file << bytes;
    };
    const auto keyFile = "com.nimbehq.history.key.default";
    const Case cases[] = {
        {"no key", [&] { fs::remove(data / keyFile); }, "The key of the stored history is gone"},
        {"half a key", [&] { fs::resize_file(data / keyFile, 20); }, "key"},
        {"another key", [&] { overwrite(keyFile, 0, std::string(42, 'A')); }, "could not be read"},
        {"a folder in the key's place",
            [&] {
                fs::remove(data / keyFile);
                fs::create_directory(data / keyFile);
            },
            "key"},
        {"no database", [&] { overwrite("settings.sqlite", 0, std::string(4096, 'x')); },
            "could not be read"},
        {"half a database", [&] { fs::resize_file(data / "settings.sqlite", 9000); },
            "could not be read"},
        {"no bytes", [&] { fs::resize_file(data / "settings.sqlite", 0); }, "could not be read"},
    };
    for (const auto& c : cases) {
        fs::remove_all(data);
        dictate("secret");
        c.spoil();
        const auto before = files();
        const auto run = Process::run(server(), list + "\n" + list + "\n" + ping + "\n");
        EXPECT_EQ(run.exitCode, 0) << c.why;
        EXPECT_NE(run.output.find(R"({\"items\":[]})"), run.output.npos) << c.why << run.output;
        EXPECT_TRUE(run.output.ends_with(pong + "\n")) << c.why << run.output;
        EXPECT_EQ(std::count(run.error.begin(), run.error.end(), '\n'), 2) << c.why << run.error;
        EXPECT_NE(run.error.find(c.line), run.error.npos) << c.why << run.error;
        EXPECT_EQ(run.error.find("secret"), run.error.npos);
        EXPECT_TRUE(files() == before) << c.why;
    }
}

TEST_F(MCPModeTest, syncedTranscriptsAreThereToo) {
    const auto own = dictate("the device's own text");
    {
        Ground ground(DataFolders::find().value(), log);
        HistoryGround history(ground);
        SqliteSyncDatabase database(ground.folders.syncFile(), SyncFile::Use::write, log);
        KeychainKeyStore keys(history.places, ground.defaults, log, [] { return false; });
        TranscriptKey key(keys, TranscriptKey::Use::readAndMake, log);
        SyncStore store(database, key, log);
        ASSERT_TRUE(store.insert("elsewhere, Grüße", {}, Date{1}, "poem", UUID::random()));
        ASSERT_TRUE(store.insert("an older text", {}, Date{2}, "notes", own.id));
    }
    {
        PipedProcess process(server());
        EXPECT_EQ(listed(process), "the device's own text;elsewhere, Grüße;");
        const auto found =
            process.ask(call("search_dictations", R"({"query":"GRÜSSE","mode":"poem"})"));
        EXPECT_NE(found->find(R"(\"results\":[])"), found->npos) << "sharp s stays";
        EXPECT_EQ(process.finish(), 0);
        EXPECT_EQ(process.error(), "nimbe-mcp: ready (0.1.0)\n");
    }
    for (const auto& entry : fs::directory_iterator(data))
        if (entry.path().filename().string().find("transcript") != std::string::npos)
            fs::remove(entry.path());
    PipedProcess process(server());
    EXPECT_EQ(listed(process), "the device's own text;") << "what opens without the other key";
    EXPECT_EQ(process.finish(), 0);
}

TEST_F(MCPModeTest, nothingIsMissingWhileAnotherWrites) {
    dictate("first");
    PipedProcess process(server());
    std::atomic<bool> isDone = false;
    // Each opens the file and closes it, so that its log comes and goes.
    std::jthread writer([&] {
        for (int i = 0; i < 40; ++i) dictate("one more");
        isDone = true;
    });
    std::ptrdiff_t seen = 1;
    for (bool isLast = false; !isLast;) {
        isLast = isDone;
        const auto texts = listed(process);
        const auto now = std::count(texts.begin(), texts.end(), ';');
        EXPECT_GE(now, seen);
        seen = now;
    }
    EXPECT_EQ(seen, 41);
    EXPECT_EQ(process.finish(), 0);
    EXPECT_EQ(process.error(), "nimbe-mcp: ready (0.1.0)\n");
}

TEST_F(MCPModeTest, servingLeavesTheFilesAsTheyAre) {
    dictate("a word");
    const auto before = files();
    {
        PipedProcess process(server());
        EXPECT_EQ(listed(process), "a word;");
        EXPECT_EQ(process.finish(), 0);
    }
    EXPECT_TRUE(files() == before);
}

TEST_F(MCPModeTest, aReadOnlyFolderIsServed) {
    const SmallDisk disk(data, 1024 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    dictate("kept");
    ASSERT_TRUE(disk.setReadOnly(true));
    PipedProcess process(server());
    EXPECT_EQ(listed(process), "kept;");
    ASSERT_TRUE(disk.setReadOnly(false));
    dictate("more");
    EXPECT_EQ(listed(process), "more;kept;");
    EXPECT_EQ(process.finish(), 0);
}

TEST_F(MCPModeTest, withoutAHomeItServesNothingAndSaysSo) {
    const auto inAFolderThatHasGone = "mkdir gone && cd gone && rmdir ../gone && NIMBE_HOME=here "
                                      "exec " NIMBE_EXECUTABLE " --mcp-stdio";
    const std::vector<std::string> starts[] = {
        {"/usr/bin/env", "-i", NIMBE_EXECUTABLE, "--mcp-stdio"},
        {"/usr/bin/env", "-C", folder.path, "/bin/sh", "-c", inAFolderThatHasGone},
    };
    for (const auto& start : starts) {
        const auto run = Process::run(start, list);
        EXPECT_NE(run.output.find(R"({\"items\":[]})"), run.output.npos) << run.output;
        EXPECT_NE(run.error.find("There is no place for your data"), run.error.npos) << run.error;
        EXPECT_EQ(run.exitCode, 0);
    }
}

TEST_F(MCPModeTest, itEndsQuietlyWithItsClient) {
    {
        PipedProcess process(server());
        EXPECT_EQ(process.ask(ping), pong);
        process.closeInput();
        EXPECT_EQ(process.finish(), 0) << "the input ended";
    }
    {
        PipedProcess process(server());
        EXPECT_EQ(process.ask(ping), pong);
        process.closeOutput();
        EXPECT_TRUE(process.write(ping + "\n"));
        EXPECT_EQ(process.finish(), 0) << "nobody reads";
        EXPECT_EQ(process.error(), "nimbe-mcp: ready (0.1.0)\n");
    }
    const auto closed = Process::run(
        {"/bin/sh", "-c", std::string("exec ") + NIMBE_EXECUTABLE + " --mcp-stdio >&-"}, ping);
    EXPECT_EQ(closed.exitCode, 0) << "no output from the start";
    EXPECT_EQ(closed.error, "nimbe-mcp: ready (0.1.0)\n");
}

TEST_F(MCPModeTest, aClientMayWriteWithoutReading) {
    // Far more than the pipes hold, answers as well.
    std::string lines;
    constexpr int count = 20'000;
    for (int i = 0; i < count; ++i) lines += ping + "\n";
    PipedProcess process(server());
    EXPECT_TRUE(process.write(lines));
    for (int i = 0; i < count; ++i) ASSERT_EQ(process.readLine(), pong) << i;
    EXPECT_EQ(process.finish(), 0);
}

#ifndef NIMBE_SANITIZED // which takes memory of its own
TEST_F(MCPModeTest, memoryOfAHugeLineIsGivenBack) {
    const auto resident = [](int pid) {
        std::ifstream status("/proc/" + std::to_string(pid) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("RssAnon:")) return std::atol(line.c_str() + 8);
        return 0L;
    };
    dictate("a word");
    PipedProcess process(server());
    EXPECT_EQ(listed(process), "a word;");
    const auto before = resident(process.pid());
    const std::string word(std::size_t{8} << 20U, 'x');
    const auto answer = process.ask(call("search_dictations", R"({"query":")" + word + "\"}"));
    EXPECT_NE(answer->find(R"(\"results\":[])"), answer->npos);
    std::string deep(1'000'000, '[');
    EXPECT_NE(process.ask(deep)->find("-32700"), std::string::npos);
    EXPECT_EQ(listed(process), "a word;");
    EXPECT_LT(resident(process.pid()), before + 2048) << "kilobytes; the line alone had 8192";
}
#endif

TEST_F(MCPModeTest, nothingOfADesktopIsLoaded) {
    dictate("a word");
    PipedProcess process(server());
    const auto expectNone = [&](std::initializer_list<const char*> names) {
        std::ifstream maps("/proc/" + std::to_string(process.pid()) + "/maps");
        std::string loaded{std::istreambuf_iterator<char>(maps), {}};
        for (const auto* name : names) EXPECT_EQ(loaded.find(name), loaded.npos) << name;
        return loaded;
    };
    EXPECT_TRUE(process.ask(initialize));
    (void)expectNone({"libnimbe-", "libicu", "libsqlite3", "libcrypto"});
    EXPECT_EQ(listed(process), "a word;");
    const auto loaded = expectNone({"libnimbe-bus", "libnimbe-desktop", "libnimbe-hearing",
        "libnimbe-shell", "libnimbe-web", "libQt", "libxcb", "libX11", "libwayland", "libpulse",
        "libsndfile", "libonnx", "libcurl", "libssl", "libgio", "libglib", "libsecret"});
    EXPECT_NE(loaded.find("libsqlite3"), loaded.npos) << "the list is one";
}

TEST_F(MCPModeTest, anUpdateOfTheProgramLeavesARunningServerWhole) {
    dictate("a word");
    const auto program = folder.path / "program" / "bin" / "nimbe";
    const auto library = folder.path / "program" / "lib" / "nimbe" / "libnimbe-tools.so";
    fs::create_directories(program.parent_path());
    fs::create_directories(library.parent_path());
    fs::copy_file(NIMBE_EXECUTABLE, program);
    fs::copy_file(
        fs::path(NIMBE_EXECUTABLE).parent_path().parent_path() / "lib/nimbe/libnimbe-tools.so",
        library);
    PipedProcess process({program.string(), "--mcp-stdio"});
    EXPECT_EQ(process.ask(ping), pong);
    fs::remove(library);
    std::ofstream(library) << "of another version";
    EXPECT_EQ(listed(process), "a word;");
    EXPECT_EQ(process.finish(), 0);

    PipedProcess damaged({program.string(), "--mcp-stdio"});
    EXPECT_NE(damaged.ask(list)->find("A part of Nimbe cannot be loaded."), std::string::npos);
    EXPECT_EQ(damaged.ask(ping), pong);
    EXPECT_EQ(damaged.finish(), 0);
    EXPECT_NE(damaged.error().find("What reads the history cannot be loaded: "), std::string::npos);
}

} // namespace nimbe
