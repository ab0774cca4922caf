#include <gtest/gtest.h>

#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeEngine/Transform/PromptFetcher.h"

namespace nimbe {
namespace {

struct PromptFetcherTest : testing::Test {
    ManualMainActor actor;
    FakeHttpClient http;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    PromptRegistry registry{defaults, log};
    std::shared_ptr<PromptFetcher> fetcher =
        PromptFetcher::create({actor, http, defaults, registry, log});

    void name(std::string address) {
        EXPECT_TRUE(defaults.set(PromptFetcher::serviceAddress, std::move(address)));
    }
    void fetch() {
        fetcher->fetch();
        actor.runPosted();
    }
    [[nodiscard]] std::string fix() const { return registry.instructions(FixTransform()); }
};

HttpResponse table(int version, const std::string& fix, int status = 200) {
    return {status, {},
        "{\"version\":" + std::to_string(version) + R"(,"prompts":{"fix":")" + fix + "\"}}"};
}

} // namespace

TEST_F(PromptFetcherTest, asksAtTheStartAndThenOnceADay) {
    fetcher->start();
    actor.runPosted();
    EXPECT_TRUE(http.asked.empty()) << "nobody is named";
    name("https://prompts.example.org/nimbe/");
    http.answers.emplace_back(table(1, "one"));
    actor.advance(86'399);
    EXPECT_TRUE(http.asked.empty());
    actor.advance(1);
    ASSERT_EQ(http.asked.size(), 1U);
    EXPECT_EQ(http.asked[0].url, "https://prompts.example.org/nimbe/api/prompts");
    EXPECT_EQ(http.asked[0].method, HttpRequest::Method::get);
    EXPECT_EQ(http.asked[0].largestBody, 262'144U);
    EXPECT_EQ(http.asked[0].deadline, 15);
    EXPECT_FALSE(http.asked[0].followsRedirects);
    EXPECT_EQ(fix(), "one");
    fetcher.reset();
    EXPECT_EQ(actor.pendingTimers(), 0U);
    actor.advance(100'000);
    EXPECT_EQ(http.asked.size(), 1U);
}

TEST_F(PromptFetcherTest, onlyAnAnswerWithATableChangesThePrompts) {
    name("https://prompts.example.org");
    struct Case {
        const char* why;
        Result<HttpResponse, HttpError> answer;
        const char* expected;
    };
    const Case cases[] = {
        {"a table", table(2, "two"), "two"},
        {"an older one", table(1, "one"), "two"},
        {"unreachable", failure(HttpError{HttpError::Kind::unreachable}), "two"},
        {"not found, whatever it says", table(3, "three", 404), "two"},
        {"another success", table(3, "three", 206), "two"},
        {"elsewhere", table(3, "three", 302), "two"},
        {"a page", HttpResponse{200, {}, "<html>"}, "two"},
        {"too long", table(3, std::string(262'144, 'x')), "two"},
        {"a newer one", table(3, "three"), "three"},
    };
    for (const auto& c : cases) {
        http.answers.push_back(c.answer);
        fetch();
        EXPECT_EQ(fix(), c.expected) << c.why;
    }
    fetch(); // and nobody answers
    actor.advance(14.9);
    EXPECT_FALSE(log.has(LogLevel::info, "does not answer"));
    actor.advance(0.1);
    EXPECT_TRUE(log.has(LogLevel::info, "does not answer"));
    EXPECT_EQ(log.all().find("example"), std::string::npos);
}

TEST_F(PromptFetcherTest, onlyTheServiceThatIsNamedIsBelieved) {
    const auto builtIn = fix();
    for (const auto* const refused : {"http://a.example", "https://me:pw@a.example", "a.example"}) {
        name(refused);
        fetch();
    }
    EXPECT_TRUE(http.asked.empty());
    EXPECT_TRUE(log.has(LogLevel::warning, "is refused"));
    EXPECT_EQ(log.all().find("example"), std::string::npos);

    name("http://127.0.0.1:8080");
    http.answers.emplace_back(table(1, "one"));
    fetcher->fetch();
    name(""); // before there is an answer
    actor.runPosted();
    EXPECT_EQ(http.asked.size(), 1U);
    EXPECT_EQ(fix(), builtIn);

    name("https://a.example");
    fetch();
    EXPECT_EQ(actor.pendingTimers(), 1U);
    name("");
    fetch();
    EXPECT_EQ(actor.pendingTimers(), 0U) << "what asked nobody's service is given up";
    name("https://a.example");
    fetch();
    http.answers.emplace_back(table(1, "one"));
    fetch();
    EXPECT_EQ(actor.pendingTimers(), 0U) << "it replaced the one that ran";
    EXPECT_EQ(fix(), "one");
    fetch();
    EXPECT_EQ(actor.pendingTimers(), 1U);
    fetcher.reset(); // while it runs
    EXPECT_EQ(actor.pendingTimers(), 0U) << "it is given up at once";
}

} // namespace nimbe
