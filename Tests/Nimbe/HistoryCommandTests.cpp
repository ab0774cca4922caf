#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/Json.h"
#include "NimbeShell/HistoryCommand.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

struct HistoryCommandTest : testing::Test {
    TemporaryFolder folder;

    HistoryCommandTest() {
        ::setenv("NIMBE_HOME", folder.path.c_str(), 1);
        ::setenv("LC_ALL", "en_US.UTF-8", 1);
        ::setenv("TZ", "UTC", 1);
    }
    static Process run(std::vector<std::string> words, std::string_view input = "") {
        words.insert(words.begin(), {NIMBE_EXECUTABLE, "history"});
        return Process::run(std::move(words), input);
    }
    /// Of a run that must succeed without a word on standard error.
    static std::string output(std::vector<std::string> words, std::string_view input = "") {
        const auto process = run(std::move(words), input);
        EXPECT_EQ(process.exitCode, 0);
        EXPECT_EQ(process.error, "");
        return process.output;
    }
    static std::string add(std::string_view text) {
        auto id = output({"add"}, text);
        EXPECT_EQ(id.size(), 37U);
        return id.substr(0, 36);
    }
    static Json json(std::vector<std::string> words, std::string_view input = "") {
        words.emplace_back("--json");
        return Json::parse(output(std::move(words), input)).value();
    }
    static void expectFailure(
        const Process& process, int exitCode, std::string_view message, std::string_view why = "") {
        EXPECT_EQ(process.exitCode, exitCode) << why;
        EXPECT_NE(process.error.find(message), std::string::npos) << why << process.error;
    }
};

} // namespace

TEST_F(HistoryCommandTest, aDayWithTheHistory) {
    EXPECT_TRUE(output({"list"}).starts_with("No dictations yet\n"));
    EXPECT_EQ(output({"list", "--json"}), "[]\n");
    EXPECT_EQ(
        output({"trash"}), "Deleted dictations stay for 30 days, then are removed for good.\n");
    const auto first = add("First note,\nwith a \x1B[31mtrick\t and more\r\n");
    const auto second = add("Zo\xC3\xAB's caf\xC3\xA9 opens at nine");
    const auto list = output({"list"});
    EXPECT_TRUE(list.starts_with("Today\n  " + second.substr(0, 8) + "  ")) << list;
    EXPECT_NE(list.find("  notes      First note, with a [31mtrick and more\n"), list.npos) << list;
    EXPECT_EQ(
        output({"show", first.substr(0, 8)}), "First note,\nwith a \x1B[31mtrick\t and more\n");
    EXPECT_EQ(output({"search", " CAF\xC3\x89"}).substr(0, 8), second.substr(0, 8));
    EXPECT_EQ(output({"search", "nowhere"}), "Nothing matches \"nowhere\"\n");
    EXPECT_EQ(json({"search", "note"}).asArray()->at(0).member("id")->asString()->c_str(), first);
    EXPECT_EQ(json({"list", "--limit", "1"}).asArray()->size(), 1U);

    EXPECT_EQ(output({"delete", first, second.substr(0, 9)}),
        "Moved to Recently Deleted: " + first + "\nMoved to Recently Deleted: " + second + "\n");
    EXPECT_EQ(json({"trash"}).asArray()->size(), 2U);
    EXPECT_EQ(output({"restore", second}), "Restored: " + second + "\n");
    expectFailure(run({"empty-trash"}), 2, "This would delete 1 dictation for good.");
    EXPECT_EQ(*json({"erase", first}).asArray()->at(0).asString(), first);
    EXPECT_EQ(json({"empty-trash", "--yes"}).text(), "{\"deleted\":0}");

    const auto shown = json({"show", second});
    EXPECT_EQ(*shown.member("text")->asString(), "Zo\xC3\xAB's caf\xC3\xA9 opens at nine");
    EXPECT_EQ(shown.member("timestamp")->asString()->size(), 20U);
    const auto target = (folder.path / "vault").string();
    EXPECT_EQ(output({"export", target}), "Exported 1 note.\n");
    EXPECT_EQ(json({"export", target}).text(), "{\"exported\":1}");
    EXPECT_EQ(std::distance(fs::directory_iterator(target), {}), 1);
}

TEST_F(HistoryCommandTest, wrongWordsAndIdsGetAClearAnswer) {
    const auto id = add("kept");
    std::ofstream(folder.path / "file") << "x";
    const auto file = (folder.path / "file").string();
    const auto deep = (folder.path / "a" / "b").string();
    struct Case {
        std::vector<std::string> words;
        int exitCode;
        const char* message;
    };
    const Case cases[] = {
        {{}, 2, "nimbe: A verb is needed.\nUsage: nimbe history VERB"},
        {{"burn"}, 2, "There is no verb \"burn\"."},
        {{"show"}, 2, "ID is required"},
        {{"show", "abc"}, 2, "\"abc\" is no id, nor at least four digits of one."},
        {{"show", "xyzw"}, 2, "is no id"},
        {{"show", "../../etc/passwd"}, 2, "is no id"},
        {{"show", id + "0"}, 2, "is no id"},
        {{"show", "12345678x"}, 2, "is no id"},
        {{"show", "ffffffff-ffff-4fff-8fff-ffffffffffff"}, 1, "There is no dictation ffff"},
        {{"delete", id, "ffffffff-ffff-4fff-8fff-ffffffffffff"}, 1, "There is no dictation"},
        {{"delete", id}, 1, "There is no dictation"}, // gone by the line above
        {{"restore", "ffffffff"}, 1, "There is no dictation ffffffff in Recently Deleted."},
        {{"list", "--limit", "-1"}, 2, "--limit"},
        {{"export"}, 2, "FOLDER is required"},
        {{"export", file}, 1, "is not a folder."},
        {{"export", file + "/x"}, 1, "cannot be made: Not a directory."},
        {{"export", deep}, 1, "cannot be made"},
        {{"export", std::string(300, 'x')}, 1, "x\""},
        {{"add", "--mode", "song"}, 2, "--mode"},
        {{"add"}, 1, "There is no text on standard input."},
    };
    for (const auto& c : cases)
        expectFailure(run(c.words), c.exitCode, c.message, c.words.empty() ? "" : c.words[0]);
    EXPECT_EQ(output({"list", "--json"}), "[]\n");
    EXPECT_EQ(output({"restore", id.substr(0, 4)}), "Restored: " + id + "\n");
}

TEST(HistoryCommand, whatWouldBeAmbiguousOrLostIsRefused) {
    MemoryUserDefaults defaults;
    FakeLogSink log;
    DictationHistory history(defaults, log);
    HistoryLibrary library(history, defaults, [](auto) { return HistoryLibrary::Synced(); });
    UnavailableTextEmbedder embedder;
    AtomicFileWriter files;
    const auto entryOf = [](const char* id) {
        return DictationEntry{UUID::parse(id).value(), "text", Date{5}, DictationMode::notes};
    };
    history.reinstate(entryOf("4F1C09AB-0000-4000-8000-000000000001"));
    history.reinstate(entryOf("4F1C09AB-0000-4000-8000-000000000002"));
    const auto twice = entryOf("5F1C09AB-0000-4000-8000-000000000003");
    const auto synced = entryOf("6F1C09AB-0000-4000-8000-000000000004");
    history.stash(twice, false, Date{6});
    history.stash(twice, false, Date{7});
    history.stash(synced, true, Date{8});

    using Verb = HistoryOptions::Verb;
    struct Case {
        Verb verb;
        const char* id;
        const char* message; // empty: it is done
    };
    const Case cases[] = {
        {Verb::show, "4f1c09ab", "Several dictations begin with 4f1c09ab. Give more of the id."},
        {Verb::deleteIds, "4F1C09AB-0000", "Several dictations"},
        {Verb::show, "4f1c09ab-0000-4000-8000-000000000002", ""},
        {Verb::restore, "6F1C", "The synced history can't be reached."},
        {Verb::restore, "5F1C", ""},
    };
    for (const auto& c : cases) {
        std::istringstream input;
        std::ostringstream output;
        std::ostringstream error;
        HistoryOptions options;
        options.verb = c.verb;
        options.ids = {c.id};
        const int code =
            runHistory(options, {library, embedder, files, Calendar({"en_US"}, "UTC"), Date{9}},
                {input, output, error});
        EXPECT_EQ(code, *c.message == '\0' ? 0 : 1) << error.str();
        EXPECT_NE(error.str().find(c.message), std::string::npos) << error.str();
    }
    EXPECT_EQ(history.entries().size(), 3U);
    EXPECT_EQ(history.trashed(Date{9}).size(), 2U);
}

TEST_F(HistoryCommandTest, oldDictationsAreNotRestoredIntoNothing) {
    const auto first = add("first");
    EXPECT_EQ(run({"delete", first}).exitCode, 0);
    for (int i = 0; i < 100; ++i) add("more");
    expectFailure(run({"restore", first}), 1, "older than the hundred dictations");
    EXPECT_EQ(json({"trash"}).asArray()->size(), 1U);
}

TEST_F(HistoryCommandTest, allAreKeptWhereThatIsWanted) {
    const auto file = folder.path / "data" / "sync.sqlite";
    const auto before = add("before");
    EXPECT_FALSE(fs::exists(file)) << "nobody asked for it";
    const auto set =
        Process::run({NIMBE_EXECUTABLE, "settings", "set", "historyEnabled", "on"}, "");
    EXPECT_EQ(set.exitCode, 0) << set.error;
    const auto first = add("first of many, Zo\xC3\xAB");
    for (int i = 0; i < 100; ++i) add("more");
    EXPECT_EQ(json({"list"}).asArray()->size(), 102U);
    EXPECT_EQ(json({"search", "ZO\xC3\x8B"}).asArray()->size(), 1U);
    EXPECT_EQ(output({"show", before}), "before\n");
    EXPECT_EQ(run({"delete", first, before}).exitCode, 0);
    const auto rest = json({"list"});
    EXPECT_EQ(rest.asArray()->size(), 100U);
    std::vector<std::string> all{"delete"};
    for (const auto& each : *rest.asArray()) all.push_back(*each.member("id")->asString());
    expectFailure(run(all), 2, "Recently Deleted holds 100, and has 2");
    EXPECT_EQ(json({"list"}).asArray()->size(), 100U);
    EXPECT_EQ(output({"restore", first}), "Restored: " + first + "\n");
    EXPECT_EQ(output({"show", first}), "first of many, Zo\xC3\xAB\n");
    EXPECT_EQ(output({"export", (folder.path / "vault").string()}), "Exported 101 notes.\n");

    // Of a newer version: the hundred are shown, and what is missing is said.
    {
        std::fstream header(file, std::ios::binary | std::ios::in | std::ios::out);
        header.seekp(63); // the last byte of SQLite's user_version
        header.put('\x63');
    }
    const auto process = run({"list", "--json"});
    EXPECT_EQ(Json::parse(process.output).value().asArray()->size(), 100U);
    constexpr const char* newer = "The synced history is of a newer version of Nimbe.";
    expectFailure(process, 1, newer);
    expectFailure(run({"restore", before}), 1, newer);
    EXPECT_EQ(json({"trash"}).asArray()->size(), 1U);
}

TEST_F(HistoryCommandTest, theKeyringsStateIsToldAndNothingIsLost) {
    ::unsetenv("NIMBE_HOME");
    ::setenv("HOME", folder.path.c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_RUNTIME_DIR", "DISPLAY"}) ::unsetenv(name);
    // A bus that takes the connection and never says a word.
    const auto path = (folder.path / "bus").string();
    const int bus = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(bus, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(bus, 8), 0);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
    const auto id = add("no keyring: the file it is");
    EXPECT_TRUE(fs::exists(folder.path / ".local/share/nimbe/com.nimbehq.history.key.default"));

    fs::rename(
        folder.path / ".local/share/nimbe/com.nimbehq.history.key.default", folder.path / "key");
    std::ofstream(folder.path / ".local/share/nimbe/com.nimbehq.history.key.default") << "no key";
    expectFailure(run({"list"}), 1, "The history's key is damaged.");
    expectFailure(run({"add"}, "new"), 1, "The text was not kept.");
    expectFailure(run({"delete", id}), 1, "The history's key is damaged.");
    fs::rename(
        folder.path / "key", folder.path / ".local/share/nimbe/com.nimbehq.history.key.default");
    EXPECT_EQ(json({"list"}).asArray()->size(), 1U);
    ::close(bus);

    ::unsetenv("HOME");
    expectFailure(
        run({"list"}), 1, "There is no place for your data: HOME names no absolute path.");
    ::setenv("HOME", folder.path.c_str(), 1);
}

TEST_F(HistoryCommandTest, aFullDiskIsNamed) {
    const SmallDisk disk(folder.path / "data", 256 * 1024);
    if (!disk.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    add("before");
    expectFailure(run({"add"}, std::string(300'000, 'x')), 1, "The history could not be stored.");
    EXPECT_EQ(json({"list"}).asArray()->size(), 1U);
    EXPECT_NE(
        run({"add"}, std::string(300'000, 'x')).error.find("disk is full"), std::string::npos);
    ASSERT_TRUE(disk.setReadOnly(true));
    EXPECT_EQ(json({"list"}).asArray()->size(), 1U);
    expectFailure(run({"add"}, "x"), 1, "The history could not be stored.");
}

TEST_F(HistoryCommandTest, whatIsDamagedOrGoneIsSaid) {
    const auto id = add("x");
    const auto settings = folder.path / "data" / "settings.sqlite";
    std::ofstream(settings, std::ios::binary | std::ios::trunc) << std::string(9000, 'x');
    auto process = run({"list"});
    EXPECT_NE(process.error.find("set aside as settings.sqlite.damaged-"), std::string::npos);
    add("y");
    fs::remove(folder.path / "data" / "com.nimbehq.history.key.default");
    expectFailure(run({"list"}), 1, "The key of the stored history is gone from its place.");
    process = run({"add"}, "z");
    EXPECT_EQ(process.exitCode, 0);
    EXPECT_NE(process.error.find("is set aside"), std::string::npos) << process.error;
    EXPECT_EQ(json({"list"}).asArray()->size(), 1U);
}

TEST_F(HistoryCommandTest, aClosedOutputIsAFailure) {
    add("x");
    const auto process = Process::run(
        {"/bin/sh", "-c", std::string(NIMBE_EXECUTABLE) + " history list >/dev/full"}, "");
    expectFailure(process, 1, "The output cannot be written.");
    const auto kept =
        Process::run({"/bin/sh", "-c", "echo y | " NIMBE_EXECUTABLE " history add >/dev/full"}, "");
    expectFailure(kept, 1, "The text is kept as ");
}

} // namespace nimbe
