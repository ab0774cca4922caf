#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "Support/BackgroundProcess.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestModelServer.h"

namespace nimbe {
namespace {

/// The program itself, and a server that it asks.
struct LanguageProgram : testing::Test {
    TemporaryFolder folder;
    TestModelServer server{TestModelServer::Options{}};

    LanguageProgram() {
        EXPECT_EQ(run({"settings", "set", "languageModelAddress", server.address()}).exitCode, 0);
    }
    [[nodiscard]] Process run(std::vector<std::string> words, std::string_view input = "") const {
        words.insert(words.begin(),
            {"/usr/bin/env", "NIMBE_HOME=" + folder.path.string(), NIMBE_EXECUTABLE});
        return Process::run(std::move(words), input);
    }
    [[nodiscard]] Process shell(const std::string& command) const {
        return Process::run({"/usr/bin/env", "NIMBE_HOME=" + folder.path.string(), "/bin/sh", "-c",
                                "nimbe=" NIMBE_EXECUTABLE "; " + command},
            "");
    }
    [[nodiscard]] std::string file(const char* name) const {
        std::ifstream in(folder.path / name);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

} // namespace

TEST_F(LanguageProgram, reshapesPolishesAndTellsByWhichModel) {
    const auto shorter = run({"transform", "shorter"}, "one is here. two is gone.\n");
    EXPECT_EQ(shorter.output, "One is here.\n") << shorter.error;
    EXPECT_EQ(shorter.exitCode, 0);
    EXPECT_EQ(shorter.error, "");
    EXPECT_EQ(run({"format", "--ai"}, "um one is here").output, "One is here.\n");
    const auto status = run({"model", "status"});
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_NE(status.output.find(" at " + server.address() + "."), std::string::npos);

    EXPECT_EQ(run({"settings", "set", "languageModelAddress", "http://192.0.2.1"}).exitCode, 0);
    const auto elsewhere = run({"model", "status"});
    EXPECT_EQ(elsewhere.exitCode, 1);
    EXPECT_NE(elsewhere.output.find("other machines are not allowed."), std::string::npos);
}

TEST_F(LanguageProgram, aNoteIsSafeWhereItsTextCannotBeWritten) {
    auto id = run({"history", "add"}, "one is here. two is gone.").output;
    id.pop_back();
    const auto full = shell("$nimbe transform shorter --id " + id + " > /dev/full");
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_NE(full.error.find("The output cannot be written."), std::string::npos) << full.error;
    EXPECT_EQ(run({"history", "show", id}).output, "One is here.\n");
    EXPECT_EQ(run({"history", "show", "--original", id}).output, "one is here. two is gone.\n");
}

TEST_F(LanguageProgram, ctrlCGivesUpAndGivesTheTextBack) {
    server.change([](auto& options) { options.pause = 10; });
    std::ofstream(folder.path / "in") << "one \xC3\xA9\r\n";
    for (const int number : {SIGINT, SIGTERM}) {
        const auto before = server.completionsAsked();
        BackgroundProcess transform(
            {"/bin/sh", "-c",
                "cd \"$NIMBE_HOME\"; exec " NIMBE_EXECUTABLE " transform fix < in > out 2> err"},
            folder.path / "log", {{"NIMBE_HOME", folder.path.string()}});
        for (int i = 0; i < 1000 && server.completionsAsked() == before; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_GT(server.completionsAsked(), before);
        transform.signal(number);
        EXPECT_EQ(transform.wait(), 130);
        EXPECT_EQ(file("out"), "one \xC3\xA9\r\n");
        EXPECT_EQ(file("err"), "nimbe transform: Interrupted. Kept your text.\n");
    }
}

TEST_F(LanguageProgram, verbsStartWithoutTheLibraryForTheWeb) {
    const auto shell = std::filesystem::path(NIMBE_EXECUTABLE).parent_path().parent_path() /
                       "lib/nimbe/libnimbe-shell.so";
    const auto libraries = Process::run({"/usr/bin/ldd", shell.string()}, "");
    EXPECT_NE(libraries.output.find("libsqlite3"), std::string::npos) << libraries.error;
    EXPECT_EQ(libraries.output.find("libcurl"), std::string::npos);
}

} // namespace nimbe
