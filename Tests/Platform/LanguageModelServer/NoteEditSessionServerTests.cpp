#include "Foundation/Text.h"
#include "ModelServerScene.h"
#include "NimbeEngine/Transform/NoteEditSession.h"
#include "NimbeEngine/Transform/OnDeviceTransformer.h"

namespace nimbe {
namespace {

using enum TestMisbehaviour;

struct Scene : ModelServerScene {
    PromptRegistry prompts{defaults, log};
    OnDeviceTransformer transformer{model, prompts, defaults};

    using ModelServerScene::ModelServerScene;
};

} // namespace

TEST(NoteEditSessionServer, eachMisbehaviourEndsInItsNotice) {
    const auto failed = std::string(NoteEditSession::failed);
    const auto early = std::string(NoteEditSession::stoppedEarly);
    const auto rails = std::string(NoteEditSession::offTheRails);
    const auto blankAnswer = std::string(NoteEditSession::cameBackEmpty);
    struct Case {
        TestMisbehaviour kind;
        std::string notice; // empty: none
    };
    const Case cases[] = {
        {none, ""},
        {slowHead, ""},
        {noSchema, ""},
        {breakOff, early},
        {breakOffAtOnce, failed},
        {endless, rails},
        {huge, failed},
        {redirect, failed},
        {redirect307, failed},
        {html, failed},
        {invalidBody, failed},
        {error400, failed},
        {error404Model, failed},
        {error500, failed},
        {errorInStream, failed},
        {tooLong, failed},
        {cutPrompt, failed},
        {length, early},
        {noDone, early},
        {noContent, failed},
        {invalidJson, failed},
        {wrongSchema, failed},
        {wrongTypes, failed},
        {empty, blankAnswer},
        {blank, blankAnswer},
        {longText, rails},
        {deep, failed},
        {notUtf8, failed},
        {nul, failed},
        // Nobody can tell these from what was asked for.
        {echoInstructions, ""},
        {chatty, ""},
        {answersQuestion, ""},
    };
    TestHttpServer elsewhere;
    for (const auto dialect : allDialects)
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(name(dialect)) + ", " + word(c.kind));
            const TestModelServer server({.dialect = dialect,
                .pause = c.kind == endless ? 0.02 : 0, // so that some of it is seen
                .misbehaviour = c.kind,
                .redirectTarget = elsewhere.address()});
            Scene scene(server.address());
            const auto text = spokenText(c.kind == cutPrompt || c.kind == tooLong ? 8000 : 300);
            const auto session = NoteEditSession::create(scene.loop, scene.transformer, text);
            ASSERT_EQ(scene.run(NoteEditSession::transform(session, FixTransform())), true);
            // Ollama says no more than that nothing more comes.
            const bool isSilent = dialect == Dialect::ollama && c.kind == errorInStream;
            const auto expected = isSilent ? early : c.notice;
            EXPECT_EQ(session->_notice.get().value_or(""), expected)
                << (session->error() ? session->error()->detail : "");
            const auto& now = session->_text.get();
            EXPECT_TRUE(text::isValidUtf8(now) && now.find('\0') == now.npos);
            if (c.kind == echoInstructions || c.kind == chatty || c.kind == answersQuestion)
                EXPECT_NE(now, text);
            else if (expected.empty())
                EXPECT_EQ(now, polishedText(text));
            else if (expected == early)
                EXPECT_TRUE(now.size() > 20 && polishedText(text).starts_with(now)) << now;
            else
                EXPECT_EQ(now, text);
            EXPECT_EQ(session->storedText(), text);
        }
    EXPECT_EQ(elsewhere.connectionsTaken(), 0) << "a redirect was followed";
}

/// These last as long as they are let; nothing bad comes of giving them up.
TEST(NoteEditSessionServer, whatHangsIsGivenUpWithTheTextKept) {
    for (const auto dialect : allDialects)
        for (const auto kind : {hang, hangMidway, trickle}) {
            SCOPED_TRACE(std::string(name(dialect)) + ", " + word(kind));
            TestModelServer server({.dialect = dialect, .misbehaviour = kind});
            Scene scene(server.address());
            const auto text = spokenText(300);
            const auto session = NoteEditSession::create(scene.loop, scene.transformer, text);
            ASSERT_TRUE(session->start(FixTransform()));
            EXPECT_TRUE(scene.waitUntil([&] {
                return kind == hangMidway ? session->_text.get() != text
                                          : server.completionsAsked() > 0;
            }));
            session->cancel();
            EXPECT_FALSE(session->_isTransforming.get());
            EXPECT_EQ(session->_text.get(), text);
            EXPECT_TRUE(scene.waitUntil([&] { return server.http().openConnections() <= 1; }))
                << "the request goes on";
        }
}

TEST(NoteEditSessionServer, eachTransformTakesItsForm) {
    struct Case {
        NoteTransform transform;
        const char* expected;
    };
    const Case cases[] = {
        {TransformPreset::shorter, "One is long. Two is too."},
        {TransformPreset::bullets, "- One is long.\n- Two is too.\n- Three is short."},
        {FixTransform(), "One is long. Two is too. Three is short."},
        {CustomTransform{"Leave it as it is."}, "One is long. Two is too. Three is short."},
    };
    for (const auto dialect : allDialects) {
        const TestModelServer server({.dialect = dialect});
        for (const auto& c : cases) {
            Scene scene(server.address());
            const auto session = NoteEditSession::create(
                scene.loop, scene.transformer, "one is long. Two is too. Three is short.");
            ASSERT_EQ(scene.run(NoteEditSession::transform(session, c.transform)), true);
            EXPECT_EQ(session->_text.get(), c.expected) << name(dialect);
            EXPECT_EQ(session->_notice.get(), std::nullopt);
        }
    }
}

} // namespace nimbe
