#include <thread>

#include "ModelScene.h"
#include "PlatformLanguageModel/PartialPacing.h"
#include "PlatformLanguageModel/StreamReceiver.h"

namespace nimbe {
namespace {

using Reason = LanguageModelError::Kind;

std::string delta(const std::string& content, const char* finish = "null") {
    return "data: {\"choices\":[{\"delta\":{\"content\":" + Json(content).text() +
           "},\"finish_reason\":" + finish + "}]}\n\n";
}

struct StreamedAnswerTest : ModelScene {
    std::vector<std::string> partials;
    std::vector<Seconds> times;
    std::size_t stopsAfter = 1000;

    void SetUp() override {
        serve();
        EXPECT_EQ(refreshed(), Kind::available);
    }
    void put(FakeServers::Page page) { http.put(chat, std::move(page)); }
    void stream(const std::string& body, Seconds pause = 0, std::size_t pieceBytes = 1000) {
        auto page = FakeServers::streamed(body, pieceBytes);
        page.pause = pause;
        put(std::move(page));
    }
    void beginStream(Seconds deadline = 600) {
        begin(request(deadline), [this](const Json& content) {
            const auto* text = content.member("text");
            partials.push_back(text ? *text->asString() : content.text());
            times.push_back(actor.now());
            return partials.size() < stopsAfter;
        });
    }
};

/// Letters one by one, each in an event of its own.
std::string letters(int count) {
    std::string body = delta("{\"text\":\"");
    for (int i = 0; i < count; ++i) body += delta(std::string(1, static_cast<char>('a' + i % 26)));
    return body + delta("\"}") + delta("", "\"stop\"") + "data: [DONE]\n\n";
}

} // namespace

TEST_F(StreamedAnswerTest, comesInPartsThatGrowAtAPaceThatCanBeRead) {
    // 26 events of some 60 bytes, one every 10 ms.
    stream(letters(26), 0.01, delta("a").size());
    beginStream();
    actor.advance(1);
    EXPECT_EQ(result(), "abcdefghijklmnopqrstuvwxyz");
    ASSERT_GE(partials.size(), 5U);
    EXPECT_LE(partials.size(), 9U) << "in some 300 ms";
    for (std::size_t i = 1; i < partials.size(); ++i) {
        EXPECT_TRUE(partials[i].starts_with(partials[i - 1]) && partials[i] != partials[i - 1]);
        EXPECT_GE(times[i] - times[i - 1], 0.04 - 1e-9);
    }
    const auto& sent = http.asked.back();
    EXPECT_NE(sent.body.find("\"stream\":true"), sent.body.npos);
    EXPECT_EQ(sent.stallDeadline, 60);
}

TEST_F(StreamedAnswerTest, whatCameBeforeAPauseIsShownDuringIt) {
    auto page =
        FakeServers::streamed(delta("{\"text\":\"a") + delta("b"), delta("{\"text\":\"a").size());
    page.pause = 0.01;
    page.hangsAtEnd = true;
    put(page);
    beginStream();
    actor.advance(0.1);
    EXPECT_EQ(partials, (std::vector<std::string>{"a", "ab"}));
    EXPECT_EQ(result(), "waits");
    actor.advance(600);
    EXPECT_EQ(result(), number(Reason::timedOut));
    EXPECT_EQ(known(), Kind::unknown) << "it did send something, a while ago";
}

TEST_F(StreamedAnswerTest, endsByItsReceiver) {
    stream(letters(26), 0.01, delta("a").size());
    stopsAfter = 3;
    beginStream();
    actor.advance(1);
    EXPECT_EQ(result(), number(Reason::stopped));
    EXPECT_EQ(partials.size(), 3U);
    EXPECT_EQ(actor.pendingTimers(), 0U) << "the request was given up";
}

TEST_F(StreamedAnswerTest, endsAsItIs) {
    const auto some = delta("{\"text\":\"ab");
    struct Case {
        const char* why;
        FakeServers::Page page;
        std::string result;
    };
    const auto ending = [](FakeServers::Page page, HttpError::Kind kind) {
        page.breaksOff = HttpError{kind};
        return page;
    };
    auto keptOpen = FakeServers::streamed(letters(2));
    keptOpen.hangsAtEnd = true;
    auto unmarked = FakeServers::streamed(some + delta("\"}", "\"stop\""));
    unmarked.hangsAtEnd = true;
    const Case cases[] = {
        {"broken off midway", ending(FakeServers::streamed(some), HttpError::Kind::brokenOff),
            "part: ab"},
        {"broken off at once", ending(FakeServers::streamed(""), HttpError::Kind::brokenOff),
            number(Reason::brokenOff)},
        {"broken off behind the end",
            ending(FakeServers::streamed(letters(2)), HttpError::Kind::brokenOff), "ab"},
        {"stalled midway", ending(FakeServers::streamed(some), HttpError::Kind::timedOut),
            number(Reason::timedOut)},
        {"kept open behind the mark", keptOpen, "ab"},
        {"kept open behind the reason", unmarked, "ab"},
        {"without an end", FakeServers::streamed(some), "part: ab"},
        {"not streamed at all", status(200, answerOf("ab")), "ab"},
        {"refused", status(500, "no"), number(Reason::refused)},
        {"too long", FakeServers::streamed(recorded("lm-studio/error-too-long.stream")),
            number(Reason::tooLong)},
        {"one great piece", FakeServers::streamed(letters(26'000), 10'000'000), ""},
    };
    for (const auto& c : cases) {
        http.pages[chat].clear();
        put(c.page);
        beginStream();
        actor.advance(2);
        if (!c.result.empty()) {
            EXPECT_EQ(result(), c.result) << c.why;
        } else {
            EXPECT_EQ(result().size(), 26'000U) << c.why;
        }
        EXPECT_EQ(actor.pendingTimers(), 0U) << c.why;
    }
    EXPECT_EQ(known(), Kind::available);
}

TEST_F(StreamedAnswerTest, leavesOutWhatIsRefusedHereToo) {
    put(status(400, R"({"error":"stream_options is not supported"})"));
    stream(letters(2));
    beginStream();
    actor.advance(1);
    EXPECT_EQ(result(), "ab");
    EXPECT_EQ(http.asked.back().body.find("stream_options"), std::string::npos);
}

TEST(PartialPacing, leavesThreeQuartersOfTheTime) {
    struct Case {
        Seconds cost;
        Seconds wait;
    };
    for (const auto& c : {Case{0, 0.04}, Case{0.01, 0.04}, Case{0.02, 0.06}, Case{1, 3}}) {
        PartialPacing pacing(0.04);
        EXPECT_EQ(pacing.wait(5), 0);
        pacing.given(5, 5 + c.cost);
        EXPECT_NEAR(pacing.wait(5 + c.cost), c.wait, 1e-9) << c.cost;
        EXPECT_EQ(pacing.wait(5 + c.cost + c.wait + 1e-9), 0) << c.cost;
    }
}

TEST(StreamReceiver, handsOverFromAnotherThread) {
    struct PostedJobs final : MainActor {
        std::mutex mutex;
        std::vector<std::function<void()>> jobs;
        void post(std::function<void()> job) override {
            const std::lock_guard lock(mutex);
            jobs.push_back(std::move(job));
        }
        Token schedule(Seconds, std::function<void()> job) override {
            post(std::move(job));
            return Token(std::make_shared<int>());
        }
        [[nodiscard]] Seconds now() const override { return 0; }
        std::size_t count() {
            const std::lock_guard lock(mutex);
            return jobs.size();
        }
    };
    PostedJobs actor;
    StreamReceiver receiver(actor, AsyncStream<bool>(actor), 10);
    const std::uint8_t bytes[4] = {'a', 'b', 'c', 'd'};
    std::thread sender([&] {
        EXPECT_TRUE(receiver.begin(HttpResponse{200}));
        EXPECT_TRUE(receiver.receive(bytes));
        EXPECT_TRUE(receiver.receive(bytes));
    });
    std::string taken;
    while (taken.size() < 8) taken += receiver.take().bytes;
    sender.join();
    EXPECT_EQ(taken, "abcdabcd");
    const auto before = actor.count();
    EXPECT_TRUE(receiver.receive(bytes));
    EXPECT_TRUE(receiver.receive(bytes));
    EXPECT_LE(actor.count(), before + 1) << "one call until they are taken";
    EXPECT_FALSE(receiver.receive(bytes)) << "twelve bytes wait";
    const auto last = receiver.take();
    EXPECT_TRUE(last.isTooMuch);
    EXPECT_EQ(last.head.status, 200);
    EXPECT_EQ(last.bytes.size(), 8U);
}

} // namespace nimbe
