#include <sstream>

#include <gtest/gtest.h>

#include "Fakes/NoShellServices.h"
#include "NimbeShell/CommandLine.h"

namespace nimbe {
namespace {

using Kind = RemoteError::Kind;

struct RemoteVerbsTest : testing::Test {
    NoShellServices services;
    FakeRemoteInstance& remote = services.instance;

    struct Run {
        int exitCode;
        std::string output;
        std::string error;
    };
    Run run(std::vector<const char*> words) {
        words.insert(words.begin(), "nimbe");
        std::istringstream input;
        std::ostringstream output;
        std::ostringstream error;
        const int code = runCommandLine(
            static_cast<int>(words.size()), words.data(), services, {input, output, error});
        return {code, output.str(), error.str()};
    }
};

} // namespace

TEST_F(RemoteVerbsTest, eachVerbAsksForItselfAndSaysWhyItWasNot) {
    struct Case {
        const char* verb;
        const char* refusal;
    };
    const Case cases[] = {
        {"toggle", "nimbe toggle: Not now: a text is being finished.\n"},
        {"start", "nimbe start: Not now: a dictation goes on already, or its text is being "
                  "finished.\n"},
        {"stop", "nimbe stop: Nothing is being dictated.\n"},
        {"cancel", "nimbe cancel: Nothing is being dictated.\n"},
    };
    for (const auto& c : cases) {
        remote = {};
        const auto absent = run({c.verb});
        EXPECT_EQ(absent.exitCode, 1) << c.verb;
        EXPECT_EQ(absent.error, std::string("nimbe ") + c.verb + ": Nimbe is not running.\n");

        remote.error = std::nullopt;
        const auto done = run({c.verb});
        EXPECT_EQ(done.exitCode, 0) << c.verb;
        EXPECT_EQ(done.output + done.error, "");

        remote.isDone = false;
        const auto refused = run({c.verb});
        EXPECT_EQ(refused.exitCode, 1) << c.verb;
        EXPECT_EQ(refused.error, c.refusal);
        EXPECT_EQ(remote.asked, (std::vector<std::string>(3, c.verb)));
        EXPECT_EQ(run({c.verb, "now"}).exitCode, 2) << c.verb;
        EXPECT_EQ(remote.asked.size(), 3U) << "asked in spite of a wrong command line";
    }
    remote.error = RemoteError{Kind::noAnswer};
    EXPECT_EQ(run({"quit"}).error, "nimbe quit: Nimbe is running but does not answer.\n");
    remote.error = std::nullopt;
    EXPECT_EQ(run({"quit"}).exitCode, 0);
    EXPECT_EQ(remote.asked.back(), "quit");
}

TEST_F(RemoteVerbsTest, theStatusIsALineOrAnObject) {
    remote.error = std::nullopt;
    struct Case {
        RemoteStatus status;
        const char* line;
    };
    const Case cases[] = {
        {{"idle"}, "Ready.\n"},
        {{"recording", std::nullopt, "Kate", true}, "Listening for Kate, hands-free.\n"},
        {{"finalizing", std::nullopt, "Kate"}, "Finishing the text for Kate.\n"},
        {{"done", "Pasted into Kate", "Kate"}, "Pasted into Kate\n"},
        {{"unavailable"}, "Unavailable.\n"},
        {{"preparing", std::nullopt, "\x1B[2J\nNimbe: all is well"},
            "Starting to listen for [2J Nimbe: all is well.\n"},
    };
    for (const auto& c : cases) {
        remote.state = c.status;
        EXPECT_EQ(run({"status"}).output, c.line);
    }
    remote.state = {"recording", std::nullopt, "Kate", true};
    EXPECT_EQ(run({"status", "--json"}).output,
        "{\n  \"phase\": \"recording\",\n  \"message\": null,\n  \"target\": \"Kate\",\n"
        "  \"latched\": true\n}\n");
    remote.error = RemoteError{Kind::noBus};
    const auto unreachable = run({"status", "--json"});
    EXPECT_EQ(unreachable.exitCode, 1);
    EXPECT_EQ(unreachable.output, "");
    EXPECT_NE(unreachable.error.find("no session bus"), std::string::npos);
}

} // namespace nimbe
