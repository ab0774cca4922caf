#include <gtest/gtest.h>

#include "Fakes/FakeDocumentOpener.h"
#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/UpdateChecker.h"

namespace nimbe {
namespace {

struct UpdateCheckerTest : testing::Test {
    ManualMainActor actor;
    FakeHttpClient http;
    MemoryUserDefaults defaults;
    FakeDocumentOpener opener;
    FakeLogSink log;
    std::shared_ptr<UpdateChecker> checker =
        UpdateChecker::create({actor, http, defaults, opener, log, {"1.0", "100"}});

    void name(std::string address) {
        EXPECT_TRUE(defaults.set(UpdateChecker::serviceAddress, std::move(address)));
    }
    void enable(bool isEnabled) {
        EXPECT_TRUE(defaults.set(UpdateChecker::automaticChecksEnabled, isEnabled));
    }
    void answer(std::string body, int status = 200) {
        http.answers.emplace_back(HttpResponse{status, {}, std::move(body)});
    }
    void check() {
        checker->check();
        actor.runPosted();
    }
    [[nodiscard]] std::string announced() const {
        const auto& available = checker->_available.get();
        return available ? available->build : "nothing";
    }
};

constexpr auto build101 = R"({"version":"1.1","build":"101"})";

} // namespace

TEST_F(UpdateCheckerTest, asksAtTheStartAndThenOnceADay) {
    name("https://updates.example.org/nimbe/");
    answer(build101);
    checker->start();
    actor.runPosted();
    ASSERT_EQ(http.asked.size(), 1U);
    EXPECT_EQ(http.asked[0].url, "https://updates.example.org/nimbe/api/mac/latest");
    EXPECT_EQ(http.asked[0].largestBody, 65'536U);
    EXPECT_EQ(http.asked[0].deadline, 15);
    EXPECT_FALSE(http.asked[0].followsRedirects);
    EXPECT_EQ(announced(), "101");

    actor.advance(86'399);
    EXPECT_EQ(http.asked.size(), 1U);
    actor.advance(1);
    EXPECT_EQ(http.asked.size(), 2U) << "and nobody answers";
    actor.advance(86'400);
    EXPECT_EQ(http.asked.size(), 3U);
    EXPECT_EQ(announced(), "101");
    checker.reset();
    actor.advance(100'000);
    EXPECT_EQ(http.asked.size(), 3U);
    EXPECT_EQ(actor.pendingTimers(), 0U);
}

TEST_F(UpdateCheckerTest, onlyAManifestChangesWhatIsAnnounced) {
    name("https://a.example");
    struct Case {
        const char* why;
        Result<HttpResponse, HttpError> answer;
        const char* announced;
    };
    const auto with = [](std::string body, int status = 200) {
        return HttpResponse{status, {}, std::move(body)};
    };
    const std::string tooLong =
        R"({"version":"1","build":"999","notes":")" + std::string(65'536, 'x') + "\"}";
    const Case cases[] = {
        {"not newer", with(R"({"version":"1","build":"100"})"), "nothing"},
        {"newer", with(build101), "101"},
        {"unreachable", failure(HttpError{HttpError::Kind::unreachable}), "101"},
        {"not found, whatever it says", with(R"({"version":"1","build":"999"})", 404), "101"},
        {"another success", with(R"({"version":"1","build":"999"})", 206), "101"},
        {"elsewhere", with("", 302), "101"},
        {"a page", with("<html>"), "101"},
        {"too long", with(tooLong), "101"},
        {"newer still", with(R"({"version":"2","build":"102"})"), "102"},
        {"taken back", with(R"({"version":"1","build":"99"})"), "nothing"},
        {"no number", with(R"({"version":"1","build":"x"})"), "nothing"},
    };
    for (const auto& c : cases) {
        http.answers.push_back(c.answer);
        check();
        EXPECT_EQ(announced(), c.announced) << c.why;
    }
    check(); // and nobody answers
    actor.advance(14.9);
    EXPECT_FALSE(log.has(LogLevel::info, "does not answer"));
    actor.advance(0.1);
    EXPECT_TRUE(log.has(LogLevel::info, "does not answer"));
    EXPECT_EQ(log.all().find("a.example"), std::string::npos);
}

TEST_F(UpdateCheckerTest, switchedOffNothingIsAskedAndNothingStands) {
    name("https://a.example");
    answer(build101);
    check();
    EXPECT_EQ(announced(), "101");
    enable(false);
    check();
    EXPECT_EQ(announced(), "nothing");
    EXPECT_EQ(http.asked.size(), 1U);

    enable(true);
    answer(build101);
    checker->check();
    enable(false); // before there is an answer
    actor.runPosted();
    EXPECT_EQ(http.asked.size(), 2U);
    EXPECT_EQ(announced(), "nothing");
}

TEST_F(UpdateCheckerTest, aNewerCheckReplacesTheOneThatRuns) {
    name("https://a.example");
    check();
    EXPECT_EQ(actor.pendingTimers(), 1U);
    answer(build101);
    name("https://b.example");
    check();
    EXPECT_EQ(http.asked.size(), 2U);
    EXPECT_EQ(actor.pendingTimers(), 0U);
    EXPECT_EQ(announced(), "101");
    checker->check();
    name("");
    check();
    EXPECT_EQ(http.asked.size(), 2U) << "the address is gone, and what would have asked it";
    name("https://b.example");
    check();
    checker.reset(); // while it runs
    actor.advance(60);
}

TEST_F(UpdateCheckerTest, anObserverMayEndOrAskAgain) {
    name("https://a.example");
    answer(build101);
    answer(R"({"version":"1","build":"102"})");
    const auto watch = checker->_available.observe([&](const auto& available) {
        if (available->build == "101") return checker->check();
        checker.reset();
    });
    check();
    EXPECT_EQ(checker, nullptr);
    EXPECT_EQ(http.asked.size(), 2U);
}

TEST_F(UpdateCheckerTest, onlySafeAddressesAreAskedAndOpened) {
    struct Case {
        const char* address;
        const char* page; // null: refused
    };
    const Case cases[] = {
        {"", nullptr},
        {"https://a.example", "https://a.example/mac"},
        {"HTTPS://A.example:8443/x//", "HTTPS://A.example:8443/x/mac"},
        {"https://[2001:db8::1]:1/", "https://[2001:db8::1]:1/mac"},
        {"https://b\xC3\xBC.example", "https://b\xC3\xBC.example/mac"},
        {"http://localhost:8080/", "http://localhost:8080/mac"},
        {"http://LOCALHOST", "http://LOCALHOST/mac"},
        {"http://127.0.0.1", "http://127.0.0.1/mac"},
        {"http://127.255.0.9:1", "http://127.255.0.9:1/mac"},
        {"http://[::1]:80", "http://[::1]:80/mac"},
        {"http://a.example", nullptr},
        {"http://localhost.example", nullptr},
        {"http://127.0.0.1.example", nullptr},
        {"http://127.0.0", nullptr},
        {"http://127.0.0.0.1", nullptr},
        {"http://128.0.0.1", nullptr},
        {"http://[::2]", nullptr},
        {"http://localhost@a.example", nullptr},
        {"https://me:pw@a.example", nullptr},
        {"https://me@a.example", nullptr},
        {"http://localhost:80@a.example", nullptr},
        {"http://localhost\\@a.example", nullptr},
        {"http://localhost#@a.example", nullptr},
        {"http://localhost?@a.example", nullptr},
        {"https://a.example?x=", nullptr},
        {"https://a.example#", nullptr},
        {"https://", nullptr},
        {"https:///x", nullptr},
        {"https://:80", nullptr},
        {"https://a.example:8x", nullptr},
        {"https://[::1", nullptr},
        {"https://[a", nullptr},
        {"https://a]", nullptr},
        {"https://a.example\\x", nullptr},
        {"https://a b", nullptr},
        {" https://a.example", nullptr},
        {"https://a.example\n", nullptr},
        {"ftp://a.example", nullptr},
        {"file:///etc/passwd", nullptr},
        {"javascript:alert(1)", nullptr},
        {"a.example", nullptr},
    };
    for (const auto& c : cases) {
        name(c.address);
        http.asked.clear();
        opener.asked.clear();
        log.lines.clear();
        check();
        checker->openDownloadPage();
        const bool isTaken = c.page != nullptr;
        EXPECT_EQ(http.asked.size(), isTaken ? 1U : 0U) << c.address;
        EXPECT_EQ(
            opener.asked, isTaken ? std::vector<std::string>{c.page} : std::vector<std::string>())
            << c.address;
        EXPECT_EQ(log.has(LogLevel::warning, "is refused"), !isTaken && *c.address) << c.address;
        EXPECT_EQ(log.all().find("example"), std::string::npos) << c.address;
    }
}

} // namespace nimbe
