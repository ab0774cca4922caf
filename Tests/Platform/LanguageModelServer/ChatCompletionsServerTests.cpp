#include <fstream>
#include <thread>

#include "ModelServerScene.h"

namespace nimbe {
namespace {

using enum TestMisbehaviour;
using Kind = Availability::Kind;
using Answer = Result<LanguageModel::Response, LanguageModelError>;

LanguageModel::Request question(const std::string& prompt, Seconds deadline = 10) {
    return {"Tidy it up.", prompt, {"Tidied", {{"text", "The tidied text."}}}, deadline};
}

std::string told(const std::optional<Answer>& answer) {
    if (!answer) return "it never ended";
    if (!*answer)
        return "error " + std::to_string(static_cast<int>(answer->error().kind)) + " " +
               answer->error().detail;
    return ((*answer)->isWhole ? "" : "unfinished ") + (*answer)->content.text();
}

/// The most memory since the last call of startPeak().
void startPeak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}
std::size_t peakKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            std::size_t amount = 0;
            status >> amount;
            return amount;
        }
    return 0;
}

} // namespace

TEST(ChatCompletionsServer, wholeAndStreamedAnswersAreTheSame) {
    const std::string text = "gr\xC3\xBC\xC3\x9F"
                             "e \xF0\x9F\x99\x82 \"quoted\" back\\slash\tand a line\nmore";
    for (const auto dialect : allDialects) {
        SCOPED_TRACE(name(dialect));
        TestModelServer server({.dialect = dialect, .pause = 0.01});
        ModelServerScene scene(server.address());
        const auto whole = scene.run(scene.model.respond(question(text), {}));
        std::vector<std::string> partial;
        auto take = [&](const Json& content) {
            if (const auto* now = content.member("text")) partial.push_back(*now->asString());
            return true;
        };
        const auto streamed = scene.run(scene.model.respond(question(text), take));
        const auto expected = "Gr" + text.substr(2) + ".";
        EXPECT_EQ(told(whole), Json(Json::Object{{"text", Json(expected)}}).text());
        EXPECT_EQ(told(streamed), told(whole));
        EXPECT_GE(partial.size(), 2U) << "nothing was seen of it before its end";
        for (const auto& one : partial)
            EXPECT_TRUE(expected.starts_with(one)) << "no beginning of it: " << one;
    }
}

TEST(ChatCompletionsServer, theReceiverStopsAnEndlessAnswer) {
    TestModelServer server({.misbehaviour = endless});
    ModelServerScene scene(server.address());
    const auto answer = scene.run(
        scene.model.respond(question(std::string(400, 'x')), [](const Json&) { return false; }));
    ASSERT_TRUE(answer && !*answer) << told(answer);
    EXPECT_EQ(answer->error().kind, LanguageModelError::Kind::stopped);
}

TEST(ChatCompletionsServer, aGibibyteCostsNoMemory) {
    for (const auto dialect : allDialects)
        for (const auto kind : {endless, huge})
            for (const bool isStreamed : {false, true}) {
                SCOPED_TRACE(
                    std::string(name(dialect)) + (isStreamed ? ", streamed, " : ", ") + word(kind));
                TestModelServer server({.dialect = dialect, .misbehaviour = kind});
                ModelServerScene scene(server.address());
                ASSERT_EQ(scene.check(), Kind::available);
                LanguageModel::OnPartial take;
                if (isStreamed)
                    take = [](const Json&) {
                        return true;
                    };
                startPeak();
                const auto before = peakKiB();
                const auto answer =
                    scene.run(scene.model.respond(question(std::string(400, 'x')), take));
                const auto after = peakKiB();
                ASSERT_TRUE(answer && !*answer) << told(answer).substr(0, 100);
                EXPECT_EQ(answer->error().kind, LanguageModelError::Kind::tooLarge) << told(answer);
                EXPECT_LT(server.http().bytesSent(), std::uint64_t{64} << 20)
                    << "it was listened to on and on";
#ifndef NIMBE_SANITIZED // which takes memory of its own
                EXPECT_LT(after, before + 32U * 1024) << "KiB";
#else
                (void)before, (void)after;
#endif
            }
}

TEST(ChatCompletionsServer, whatIsFoundOutAboutAServer) {
    struct Case {
        const char* why;
        TestModelServer::Options options;
        Kind expected;
    };
    const Case cases[] = {
        {"loading", {.isLoading = true}, Kind::loading},
        {"a key is asked for", {.key = "secret"}, Kind::refused},
        {"no model", {.dialect = Dialect::ollama, .models = {}}, Kind::noModel},
        {"an embedding model only",
            {.dialect = Dialect::lmStudio, .models = {{"text-embedding-a", true, true}}},
            Kind::noModel},
        {"a page for people", {.misbehaviour = html, .misbehavesEverywhere = true},
            Kind::notAServer},
        {"it hangs", {.misbehaviour = hang, .misbehavesEverywhere = true}, Kind::unresponsive},
    };
    for (const auto& c : cases) {
        const TestModelServer server(c.options);
        ModelServerScene scene(server.address());
        EXPECT_EQ(scene.check(), c.expected) << c.why << scene.model.availability().get().detail;
    }
}

TEST(ChatCompletionsServer, nothingGoesToAnotherMachineUnlessThatIsAllowed) {
    ModelServerScene scene("http://192.0.2.1:11434");
    EXPECT_EQ(scene.check(), Kind::notAllowed);
    scene.model.prewarm("Tidy it up.");
    scene.model.refresh();
    const auto answer = scene.run(scene.model.respond(question("text"), {}));
    ASSERT_TRUE(answer && !*answer);
    EXPECT_EQ(answer->error().kind, LanguageModelError::Kind::unavailable);
    EXPECT_EQ(scene.http.sent, 0);
}

TEST(ChatCompletionsServer, aRedirectLeadsNowhereWhileItIsLookedFor) {
    TestHttpServer elsewhere;
    for (const auto kind : {redirect, redirect307}) {
        const TestModelServer server({.misbehaviour = kind,
            .misbehavesEverywhere = true,
            .redirectTarget = elsewhere.address()});
        ModelServerScene scene(server.address());
        EXPECT_NE(scene.check(), Kind::available);
        const auto answer = scene.run(scene.model.respond(question("text"), {}));
        EXPECT_TRUE(answer && !*answer) << told(answer);
    }
    EXPECT_EQ(elsewhere.connectionsTaken(), 0);
}

TEST(ChatCompletionsServer, aServerThatComesUpLaterIsFound) {
    int port = 0;
    {
        const TestModelServer first({});
        port = std::stoi(first.address().substr(first.address().rfind(':') + 1));
    }
    ModelServerScene scene("http://127.0.0.1:" + std::to_string(port));
    EXPECT_EQ(scene.check(), Kind::noServer);
    const TestModelServer server({}, port);
    EXPECT_TRUE(scene.waitUntil([&] {
        scene.model.refresh();
        return scene.known() == Kind::available;
    }));
}

TEST(ChatCompletionsServer, aDeadlineHoldsForStreamsThatNeverEnd) {
    for (const auto kind : {hang, hangMidway, trickle}) {
        const TestModelServer server({.misbehaviour = kind});
        ModelServerScene scene(server.address());
        ASSERT_EQ(scene.check(), Kind::available);
        const Seconds begin = scene.loop.now();
        const auto answer = scene.run(scene.model.respond(
            question(std::string(400, 'x'), 0.5), [](const Json&) { return true; }));
        EXPECT_LT(scene.loop.now() - begin, 2);
        ASSERT_TRUE(answer && !*answer) << told(answer);
        EXPECT_EQ(answer->error().kind, LanguageModelError::Kind::timedOut);
    }
}

} // namespace nimbe
