#include <algorithm>

#include "Foundation/Text.h"
#include "ModelServerScene.h"
#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"

namespace nimbe {
namespace {

using enum TestMisbehaviour;

struct Scene : ModelServerScene {
    OnDeviceProcessor processor{loop, model, defaults};

    using ModelServerScene::ModelServerScene;

    std::string process(const std::string& text) {
        return run(processor.process(text, DictationMode::notes)).value_or("it never ended");
    }
};

} // namespace

TEST(OnDeviceProcessorServer, whateverTheServerDoesTheTextIsThereInTime) {
    // What is all right in the end; everything else ends in the rules' text.
    const auto isPolished = [](TestMisbehaviour kind) {
        constexpr std::array harmless{none, slowHead, noSchema, chatty};
        return std::find(harmless.begin(), harmless.end(), kind) != harmless.end();
    };
    TestHttpServer elsewhere;
    std::vector<TestMisbehaviour> kinds{none};
    for (const auto& named : testMisbehaviours()) kinds.push_back(named.kind);
    for (const auto dialect : allDialects)
        for (const auto kind : kinds) {
            SCOPED_TRACE(std::string(name(dialect)) + ", " + word(kind));
            TestModelServer server(
                {.dialect = dialect, .misbehaviour = kind, .redirectTarget = elsewhere.address()});
            Scene scene(server.address());
            ASSERT_EQ(scene.check(), Availability::Kind::available)
                << scene.model.availability().get().detail;
            // Only a long one tells that it was cut.
            const auto text = spokenText(kind == cutPrompt || kind == tooLong ? 8000 : 200);
            const Seconds begin = scene.loop.now();
            EXPECT_EQ(scene.process(text), isPolished(kind) ? polishedText(text) : text)
                << scene.log.all();
            EXPECT_LT(scene.loop.now() - begin, 3) << "the deadline is one second";
            EXPECT_GE(server.completionsAsked(), 1U);
        }
    EXPECT_EQ(elsewhere.connectionsTaken(), 0) << "a redirect was followed";
}

TEST(OnDeviceProcessorServer, kindsOfServersThatPolish) {
    using Options = TestModelServer::Options;
    struct Case {
        const char* why;
        std::function<void(Options&)> change;
    };
    const Case cases[] = {
        {"a thinking model",
            [](Options& options) {
                options.thinking = Options::Thinking::apart;
            }},
        {"one that thinks before the text",
            [](Options& options) {
                options.thinking = Options::Thinking::inlined;
            }},
        {"one that cannot be told not to think",
            [](Options& options) {
                options.thinking = Options::Thinking::inlined;
                options.refusesEffortNone = true;
            }},
        {"an old version without schemas",
            [](Options& options) {
                options.isOld = true;
            }},
        {"others beside the loaded one",
            [](Options& options) {
                options.models = {{"a-embedding", true, true}, {"b", false}, {"c"}};
                if (options.dialect == Dialect::llamaCpp) options.models = {{"c"}};
            }},
    };
    for (const auto dialect : allDialects)
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(name(dialect)) + ", " + c.why);
            Options options;
            options.dialect = dialect;
            c.change(options);
            const bool isOld = options.isOld;
            const TestModelServer server(std::move(options));
            Scene scene(server.address());
            ASSERT_EQ(scene.check(), Availability::Kind::available);
            if (!isOld) { // an old LM Studio has nothing to be told by
                EXPECT_EQ(scene.model.availability().get().server, name(dialect));
            }
            const auto text = spokenText(200);
            EXPECT_EQ(scene.process(text), polishedText(text)) << scene.log.all();
        }
}

TEST(OnDeviceProcessorServer, aHangCostsOneDeadlineAndThenNoneUntilItAnswers) {
    TestModelServer server({.misbehaviour = hang});
    Scene scene(server.address());
    ASSERT_EQ(scene.check(), Availability::Kind::available);
    const auto text = spokenText(200);
    EXPECT_EQ(scene.process(text), text);
    EXPECT_TRUE(scene.waitUntil([&] { return scene.known() == Availability::Kind::unresponsive; }))
        << scene.log.all();
    const auto asked = server.completionsAsked();
    scene.check(); // the server is there, but that alone does not mend it
    EXPECT_EQ(scene.process(text), text);
    EXPECT_EQ(server.completionsAsked(), asked) << "it was waited for again";

    server.change([](auto& options) { options.misbehaviour = none; });
    scene.processor.prewarm(DictationMode::notes);
    ASSERT_TRUE(scene.waitUntil([&] { return scene.known() == Availability::Kind::available; }))
        << scene.log.all();
    EXPECT_EQ(scene.process(text), polishedText(text));
}

TEST(OnDeviceProcessorServer, aServerThatDiesAfterItWasAskedForIsNotWaitedFor) {
    std::optional<TestModelServer> server(std::in_place, TestModelServer::Options{});
    Scene scene(server->address());
    ASSERT_EQ(scene.check(), Availability::Kind::available);
    server.reset();
    const auto text = spokenText(200);
    const Seconds begin = scene.loop.now();
    EXPECT_EQ(scene.process(text), text);
    EXPECT_LT(scene.loop.now() - begin, 0.9);
    EXPECT_EQ(scene.known(), Availability::Kind::noServer);
}

} // namespace nimbe
