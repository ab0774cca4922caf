#include <algorithm>

#include "ModelScene.h"

namespace nimbe {
namespace {

using Reason = LanguageModelError::Kind;
using ChatCompletionsModelTest = ModelScene;

} // namespace

TEST_F(ChatCompletionsModelTest, answersByWhatItFinds) {
    serve();
    answer("Grüße.");
    EXPECT_EQ(known(), Kind::unknown);
    EXPECT_EQ(ask(), "Grüße.");
    EXPECT_EQ(known(), Kind::available);
    EXPECT_EQ(ask(), "Grüße.");
    EXPECT_EQ(http.askedFor(list), 1U) << "it is known by now";
    const auto& sent = http.asked.back();
    EXPECT_FALSE(sent.followsRedirects);
    EXPECT_EQ(sent.deadline, 8);
    EXPECT_EQ(sent.largestBody, 16 * ((4U << 20) + 16 * 14)) << "with what stands around pieces";
    EXPECT_EQ(Json::parse(sent.body)->member("model")->text(), R"("m")");
    EXPECT_EQ(log.all().find("rivate"), std::string::npos) << log.all();
}

TEST_F(ChatCompletionsModelTest, everyFailureHasItsReason) {
    struct Case {
        const char* why;
        FakeServers::Page page;
        Reason reason;
        Kind known;
    };
    const Case cases[] = {
        {"nobody", broken(HttpError::Kind::unreachable), Reason::unavailable, Kind::noServer},
        {"broken off", broken(HttpError::Kind::brokenOff), Reason::brokenOff, Kind::available},
        {"too large", broken(HttpError::Kind::tooLarge), Reason::tooLarge, Kind::available},
        {"sent elsewhere", status(307, ""), Reason::refused, Kind::available},
        {"a key", status(401, recorded("llama.cpp/error-key.json")), Reason::refused,
            Kind::available},
        {"its own fault", status(500, "{}"), Reason::refused, Kind::available},
        {"too long", status(400, recorded("llama.cpp/error-too-long.json")), Reason::tooLong,
            Kind::available},
        {"loading", status(503, recorded("llama.cpp/error-loading.json")), Reason::unavailable,
            Kind::loading},
        {"no such model", status(404, recorded("ollama/error-model.json")), Reason::unavailable,
            Kind::available},
        {"a page", status(200, "<!doctype html>"), Reason::malformed, Kind::available},
        {"stalled", broken(HttpError::Kind::timedOut), Reason::timedOut, Kind::unresponsive},
        {"silent", silence(), Reason::timedOut, Kind::unresponsive},
        {"answers again, if of no use", status(200, R"({"choices":[]})"), Reason::malformed,
            Kind::available},
    };
    for (const auto& c : cases) {
        http.pages.clear();
        serve();
        http.put(chat, c.page);
        actor.advance(100);
        begin(request());
        actor.advance(7.9);
        actor.advance(0.2);
        EXPECT_EQ(result(), number(c.reason)) << c.why;
        EXPECT_EQ(known(), c.known) << c.why;
        EXPECT_EQ(actor.pendingTimers(), 0U) << c.why;
    }
}

TEST_F(ChatCompletionsModelTest, isLookedForAnewWhenWhatIsKnownIsOld) {
    serve();
    EXPECT_EQ(refreshed(), Kind::available);
    actor.advance(7.9);
    model.refresh();
    actor.runPosted();
    EXPECT_EQ(http.askedFor(list), 1U) << "9.9 seconds old";
    actor.advance(0.1);
    model.refresh();
    model.refresh();
    actor.runPosted();
    EXPECT_EQ(http.askedFor(list), 2U) << "10 seconds old; one search at a time";
    actor.advance(59.9);
    EXPECT_EQ(known(), Kind::available);
    actor.advance(0.1);
    EXPECT_EQ(known(), Kind::unknown) << "a minute old";
    http.pages.clear();
    EXPECT_EQ(refreshed(), Kind::noServer);
    EXPECT_EQ(ask(), number(Reason::unavailable));
    actor.advance(10);
    serve();
    EXPECT_EQ(refreshed(), Kind::available) << "it came up later";
}

TEST_F(ChatCompletionsModelTest, otherSettingsMakeItUnknownAtOnce) {
    using Settings = LanguageModelSettings;
    serve();
    answer("a");
    EXPECT_EQ(refreshed(), Kind::available);
    EXPECT_TRUE(defaults.set(Settings::name, std::string("n")));
    EXPECT_EQ(known(), Kind::unknown);
    EXPECT_EQ(ask(), "a");
    EXPECT_EQ(Json::parse(http.asked.back().body)->member("model")->text(), R"("n")");
    EXPECT_TRUE(defaults.set(Settings::name, std::string("gone")));
    EXPECT_EQ(ask(), number(Reason::unavailable));
    EXPECT_EQ(known(), Kind::noModel);

    const auto before = http.asked.size();
    EXPECT_TRUE(defaults.set(Settings::address, std::string("http://192.0.2.1")));
    EXPECT_EQ(ask(), number(Reason::unavailable));
    EXPECT_EQ(refreshed(), Kind::notAllowed);
    prewarm();
    EXPECT_EQ(http.asked.size(), before) << "nothing is sent";
}

TEST_F(ChatCompletionsModelTest, aSearchOfOldSettingsIsGivenUp) {
    http.put(list, silence());
    model.refresh();
    actor.runPosted();
    EXPECT_TRUE(
        defaults.set(LanguageModelSettings::address, std::string("http://localhost:7001/v1")));
    http.put("http://localhost:7001/v1/models", R"({"data":[{"id":"other"}]})");
    model.refresh();
    actor.runPosted();
    EXPECT_EQ(model.availability().get().model, "other");
    actor.advance(3);
    EXPECT_EQ(model.availability().get().model, "other");
}

TEST_F(ChatCompletionsModelTest, asksInTheFormsThatAServerKnowsAndRemembersThem) {
    http.put(list, recorded("ollama/models.json"));
    http.put(base + "/api/version", recorded("ollama/version.json"));
    http.put(chat, status(400, recorded("ollama/error-thinking.json")));
    http.put(chat, status(400, R"({"error":"response_format: unknown type json_schema"})"));
    http.put(chat, status(422, R"({"error":"response_format: unknown type json_object"})"));
    answer("a");
    EXPECT_EQ(ask(), "a");
    EXPECT_EQ(http.askedFor(chat), 4U);
    const auto last = http.asked.back().body;
    EXPECT_EQ(last.find("response_format"), last.npos);
    EXPECT_EQ(last.find("reasoning_effort"), last.npos);
    EXPECT_EQ(ask(), "a");
    EXPECT_EQ(http.askedFor(chat), 5U);
    EXPECT_EQ(http.asked.back().body, last);
}

TEST_F(ChatCompletionsModelTest, allFormsTogetherHaveOneDeadline) {
    serve();
    auto slow = status(400, R"({"error":"response_format"})");
    slow.pause = 2.5; // before the head, and before the body
    http.put(chat, slow);
    begin(request());
    actor.advance(7.9);
    EXPECT_EQ(result(), "waits");
    actor.advance(0.1);
    EXPECT_EQ(result(), number(Reason::timedOut));
    EXPECT_EQ(http.asked.back().deadline, 3);
}

TEST_F(ChatCompletionsModelTest, whatHangsCostsOneDeadlineUntilItAnswers) {
    serve();
    http.put(chat, silence());
    EXPECT_EQ(refreshed(), Kind::available);
    struct Stop {
        const char* why;
        Seconds after;
        Kind known;
    };
    // As callers do, at the deadline that they have set.
    for (const auto& stop : {Stop{"the user gave up", 5, Kind::available},
             Stop{"the deadline", 8, Kind::unresponsive}}) {
        auto limited = withDeadline(actor, stop.after, model.respond(request(), {}));
        std::optional<bool> ended;
        auto wait = [](auto task, std::optional<bool>* end) -> Task<void> {
            const auto answer = co_await task;
            *end = answer.has_value();
        };
        const auto waiting = startTask(actor, wait(std::move(limited), &ended));
        actor.advance(stop.after);
        EXPECT_EQ(ended, false) << stop.why;
        EXPECT_EQ(known(), stop.known) << stop.why;
    }
    actor.advance(20);
    EXPECT_EQ(refreshed(), Kind::unresponsive) << "its list is not enough";
    http.pages[chat].clear();
    answer("a");
    actor.advance(120); // for the request that tries it
    prewarm();
    EXPECT_EQ(known(), Kind::available);
    actor.advance(20);
    EXPECT_EQ(refreshed(), Kind::available) << "that is over";
}

TEST_F(ChatCompletionsModelTest, whatWasSilentIsTriedAgainWhileSomebodyLooks) {
    serve();
    http.put(chat, silence());
    EXPECT_EQ(refreshed(), Kind::available);
    begin(request());
    actor.advance(8);
    EXPECT_EQ(known(), Kind::unresponsive);
    EXPECT_EQ(refreshed(), Kind::unresponsive);
    EXPECT_EQ(refreshed(), Kind::unresponsive);
    EXPECT_EQ(http.askedFor(chat), 2U) << "one at a time";
    const auto sent = [&](const char* words) {
        return std::count_if(http.asked.begin(), http.asked.end(),
            [&](const HttpRequest& asked) { return asked.body.find(words) != asked.body.npos; });
    };
    EXPECT_EQ(sent("Private words."), 1) << "not with the user's words";
    EXPECT_EQ(sent("Instructions."), 1);
    http.pages[chat].clear();
    answer("a");
    actor.advance(120);
    EXPECT_EQ(refreshed(), Kind::unresponsive) << "looked for anew";
    EXPECT_EQ(refreshed(), Kind::available);
}

TEST_F(ChatCompletionsModelTest, whatOnlyLoadedItsModelComesBackByItself) {
    serve();
    auto slow = status(200, answerOf("a"));
    slow.pause = 10; // before the head, and before the body
    http.put(chat, slow);
    prewarm();
    EXPECT_EQ(known(), Kind::available);
    begin(request());
    actor.advance(8);
    EXPECT_EQ(result(), number(Reason::timedOut));
    EXPECT_EQ(known(), Kind::unresponsive);
    actor.advance(12);
    EXPECT_EQ(known(), Kind::available);
}

TEST_F(ChatCompletionsModelTest, readsInstructionsAheadOnce) {
    serve();
    answer("a");
    prewarm();
    ASSERT_EQ(http.askedFor(chat), 1U);
    const auto body = *Json::parse(http.asked.back().body);
    EXPECT_EQ(body.member("max_tokens")->text(), "1");
    EXPECT_EQ(body.member("messages")->text(),
        R"([{"role":"system","content":"Instructions."},{"role":"user","content":"Hello."}])");
    EXPECT_EQ(http.asked.back().deadline, 120);

    actor.advance(239);
    prewarm();
    EXPECT_EQ(http.askedFor(chat), 1U) << "read less than four minutes ago";
    prewarm("Others.");
    EXPECT_EQ(http.askedFor(chat), 2U);
    actor.advance(1);
    prewarm();
    EXPECT_EQ(http.askedFor(chat), 3U) << "four minutes ago";
    actor.advance(200);
    EXPECT_EQ(ask(), "a");
    actor.advance(200);
    prewarm();
    EXPECT_EQ(http.askedFor(chat), 4U) << "a request reads them as well";
}

TEST_F(ChatCompletionsModelTest, readsAheadOneAtATimeAndFailsQuietly) {
    serve();
    http.put(chat, silence());
    prewarm();
    prewarm("Others.");
    EXPECT_EQ(http.askedFor(chat), 1U);
    actor.advance(119);
    prewarm();
    EXPECT_EQ(http.askedFor(chat), 1U);
    actor.advance(1);
    EXPECT_EQ(known(), Kind::unresponsive);
    http.pages[chat].clear();
    prewarm();
    EXPECT_EQ(http.askedFor(chat), 2U);
    EXPECT_EQ(known(), Kind::noServer);
    EXPECT_FALSE(log.has(LogLevel::warning, "")) << log.all();
}

TEST_F(ChatCompletionsModelTest, nothingOutlivesIt) {
    serve();
    http.put(chat, silence());
    auto owned = std::make_unique<ChatCompletionsModel>(
        actor, http, defaults, log, ChatCompletionsModel::Options{{7000}});
    owned->prewarm("Instructions.");
    actor.runPosted();
    owned.reset();
    actor.advance(0);
    EXPECT_EQ(actor.pendingTimers(), 0U);
}

} // namespace nimbe
