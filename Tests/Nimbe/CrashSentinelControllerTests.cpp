#include <fstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "Fakes/FakeDocumentOpener.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/CrashSentinelController.h"
#include "PlatformStorage/AtomicFileWriter.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

void put(const fs::path& file, std::string_view content) {
    std::ofstream(file, std::ios::binary) << content;
}

struct CrashSentinelControllerTest : testing::Test {
    TemporaryFolder folder;
    fs::path sentinel = folder.path / "data" / "launch-sentinel.json";
    AtomicFileWriter files;
    MemoryUserDefaults defaults;
    FakeDocumentOpener opener;
    FakeLogSink log;
    Date now = Date::fromUnix(1'712'345'678);
    std::vector<CrashReportFolder> reports;
    std::unique_ptr<CrashSentinelController> controller;

    CrashSentinelControllerTest() { fs::create_directory(folder.path / "data"); }

    /// A launch of the program.
    CrashSentinel::LaunchAssessment launch() {
        controller = std::make_unique<CrashSentinelController>(
            CrashSentinelController::Platform{files, defaults, opener, log, sentinel, reports,
                "Files", "help+nimbe@example.org", [this] {
                    return now;
                }});
        controller->assessLaunch();
        return controller->_assessment.get();
    }
    [[nodiscard]] std::string stored() const {
        std::ifstream in(sentinel, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

} // namespace

TEST_F(CrashSentinelControllerTest, uncleanEndsAreCountedUntilACleanOne) {
    EXPECT_EQ(launch(), CrashSentinel::LaunchAssessment());
    EXPECT_EQ(stored(), R"({"launchedAt":1712345678,"consecutive":0})");
    now = now + 60.5; // and the machine lost its power
    EXPECT_EQ(launch(), (CrashSentinel::LaunchAssessment{true, 1, false}));
    EXPECT_EQ(controller->priorLaunchAt, Date::fromUnix(1'712'345'678));
    EXPECT_EQ(stored(), R"({"launchedAt":1712345738.5,"consecutive":1})");
    EXPECT_EQ(launch(), (CrashSentinel::LaunchAssessment{true, 2, true}));
    EXPECT_EQ(controller->priorLaunchAt, Date::fromUnix(1'712'345'738.5));

    controller->applicationWillTerminate();
    EXPECT_FALSE(fs::exists(sentinel));
    EXPECT_EQ(launch(), CrashSentinel::LaunchAssessment());
    EXPECT_FALSE(controller->priorLaunchAt);
    EXPECT_EQ(launch().consecutiveCount, 1) << "the row begins anew";
    controller->dismiss();
    EXPECT_EQ(controller->_assessment.get(), CrashSentinel::LaunchAssessment());
    EXPECT_EQ(launch().consecutiveCount, 2) << "what is dismissed still counts";
}

TEST_F(CrashSentinelControllerTest, ofADamagedSentinelWhatIsSoundIsTaken) {
    struct Case {
        const char* why;
        std::string content;
        std::int64_t count; // of this launch
        std::optional<double> launchedAt;
    };
    const Case cases[] = {
        {"both", R"({"consecutive":4,"launchedAt":12.5,"more":[]})", 5, 12.5},
        {"without a count", R"({"launchedAt":3})", 1, 3},
        {"without a moment", R"({"consecutive":2})", 3, {}},
        {"other types", R"({"consecutive":"4","launchedAt":"now"})", 1, {}},
        {"no whole number", R"({"consecutive":4.0,"launchedAt":1e3})", 1, 1000},
        {"below nothing", R"({"consecutive":-1,"launchedAt":-1})", 1, {}},
        {"the most", R"({"consecutive":1000000,"launchedAt":0})", 1'000'001, 0},
        {"more than the most", R"({"consecutive":1000001})", 1, {}},
        {"the largest number", R"({"consecutive":9223372036854775807})", 1, {}},
        {"beyond all numbers", R"({"consecutive":1e999,"launchedAt":1e300})", 1, {}},
        {"no object", "[4]", 1, {}},
        {"cut off", R"({"consecutive":4)", 1, {}},
        {"nothing", "", 1, {}},
        {"binary", std::string("\0\xFF\x80{", 4), 1, {}},
        {"too large", R"({"consecutive":4})" + std::string(70'000, ' '), 1, {}},
    };
    for (const auto& c : cases) {
        put(sentinel, c.content);
        EXPECT_EQ(launch().consecutiveCount, c.count) << c.why;
        EXPECT_TRUE(controller->_assessment.get().uncleanShutdown) << c.why;
        const auto expected =
            c.launchedAt ? std::optional(Date::fromUnix(*c.launchedAt)) : std::nullopt;
        EXPECT_EQ(controller->priorLaunchAt, expected) << c.why;
        EXPECT_NE(stored().find("1712345678"), std::string::npos) << c.why;
    }
    put(sentinel, "");
    fs::resize_file(sentinel, std::uintmax_t{1} << 32U); // without blocks, but read it is long
    EXPECT_EQ(launch().consecutiveCount, 1);
    EXPECT_LT(stored().size(), 100U);
}

TEST_F(CrashSentinelControllerTest, whateverStandsInItsPlaceTheProgramStarts) {
    fs::create_directory(sentinel);
    EXPECT_EQ(launch(), CrashSentinel::LaunchAssessment()) << "a folder tells nothing";
    controller->applicationWillTerminate();
    EXPECT_TRUE(fs::exists(sentinel));
    EXPECT_TRUE(log.has(LogLevel::error, "launch: the sentinel could not be written"));
    fs::remove_all(sentinel);

    ASSERT_EQ(::mkfifo(sentinel.c_str(), 0600), 0);
    EXPECT_EQ(launch(), CrashSentinel::LaunchAssessment()) << "nobody writes into it";
    EXPECT_TRUE(fs::is_regular_file(sentinel));

    fs::remove_all(folder.path / "data");
    EXPECT_EQ(launch(), CrashSentinel::LaunchAssessment());
    EXPECT_EQ(fs::status(folder.path / "data").permissions(), fs::perms::owner_all);
    EXPECT_EQ(launch().consecutiveCount, 1);

    fs::remove_all(folder.path / "data");
    put(folder.path / "data", "a file in the way of the folder");
    EXPECT_EQ(launch(), CrashSentinel::LaunchAssessment());
    controller->applicationWillTerminate();
}

TEST_F(CrashSentinelControllerTest, aFolderThatTakesNoWritesStopsNothing) {
    EXPECT_EQ(launch().consecutiveCount, 0);
    const auto view = folder.path / "view";
    fs::create_directory(view);
    const ReadOnlyView readOnly(folder.path / "data", view);
    if (!readOnly.isMounted) GTEST_SKIP() << "this machine mounts no file system for a test";
    sentinel = view / "launch-sentinel.json";
    for (int i = 0; i < 2; ++i) EXPECT_EQ(launch().consecutiveCount, 1) << "what stands there";
    controller->applicationWillTerminate();
    EXPECT_TRUE(log.has(LogLevel::error, "launch: the sentinel could not be deleted"));
}

TEST_F(CrashSentinelControllerTest, theNewestReportOfAllFoldersIsShown) {
    const auto start = "mailto:help+nimbe@example.org?subject=Nimbe%20Mac%20problem%20report&body=";
    const auto crash = folder.path / "crash";
    const auto dumps = folder.path / "dumps";
    reports = {{crash, "_usr_bin_nimbe."}, {folder.path / "missing", ""}, {dumps, "core.nimbe."}};
    fs::create_directory(crash);
    fs::create_directory(dumps);
    (void)launch();
    controller->reportProblem();
    EXPECT_EQ(opener.asked,
        std::vector{start + std::string("Nimbe%20did%20not%20shut%20down%20cleanly.%20Describe%20"
                                        "what%20happened%20before%20it%20stopped.")});

    const auto before = fs::file_time_type::clock::now() - 100h;
    const auto make = [&](const fs::path& file, std::chrono::hours age) {
        put(file, "");
        fs::last_write_time(file, before - age);
    };
    make(crash / "_usr_bin_other.0.crash", 0h);
    make(crash / "my_usr_bin_nimbe.", 0h);
    make(dumps / "core.nimb", 0h);
    fs::create_directory(dumps / "core.nimbe.folder");
    fs::create_symlink(crash / "_usr_bin_other.0.crash", dumps / "core.nimbe.link");
    make(crash / "_usr_bin_nimbe.0.crash", 3h);
    make(dumps / "core.nimbe.b\xC3\xA9", 2h);
    make(dumps / "core.nimbe.a", 2h);
    opener.asked.clear();
    controller->reportProblem();
    EXPECT_EQ(opener.asked,
        (std::vector<std::string>{dumps / "core.nimbe.b\xC3\xA9",
            start + std::string("Nimbe%20did%20not%20shut%20down%20cleanly.%20The%20crash%20"
                                "report%20is%20selected%20in%20Files%3B%20please%20drag%20it%20"
                                "into%20this%20email.")}));
}

TEST_F(CrashSentinelControllerTest, relaunchingLocalOnlyIsStored) {
    (void)launch();
    defaults.refusesWrites = true;
    EXPECT_FALSE(controller->relaunchLocalOnly());
    defaults.refusesWrites = false;
    EXPECT_TRUE(controller->relaunchLocalOnly());
    EXPECT_TRUE(defaults.get(Setting<bool>{"forceLocalOnlyOnce"}));
}

} // namespace nimbe
