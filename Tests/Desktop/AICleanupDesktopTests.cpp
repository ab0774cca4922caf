#include <gtest/gtest.h>

#include "DesktopDictation.h"
#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "Support/TestModelServer.h"

// The whole program with a language model's server that does right and wrong.

namespace nimbe {
namespace {

using Kind = DesktopScene::Kind;

/// No recognised word has one: it tells who wrote the text.
constexpr std::string_view mark = " ✓";

struct DesktopAICleanup : DesktopDictation {
    static TestModelServer::Options options() {
        TestModelServer::Options options;
        options.model = [](const TestModelServer::Options::Question& question) {
            Json answer;
            answer.set("text", Json(question.prompt + std::string(mark)));
            return answer.text();
        };
        return options;
    }
    TestModelServer server{options()};

    void startWithCleanup() {
        (void)verb({"settings", "set", "macAICleanupEnabled", "on"});
        (void)verb({"settings", "set", "languageModelAddress", server.address()});
        (void)verb({"settings", "set", "languageModelDeadline", "2"});
        ASSERT_TRUE(startApp()) << app->output();
    }
    /// Into the editor; what came there.
    std::string dictate(Target& target, const RecordedSpeech& speech) {
        const auto before = history().size();
        holdAndSay(speech.file);
        EXPECT_TRUE(waitForPhase("idle")) << phase() << message();
        const auto saved = history();
        if (saved.size() != before + 1) return "nothing was saved";
        const auto text = waitForText(target, text::characterCount(saved[0]));
        EXPECT_TRUE(text.ends_with(saved[0])) << text << "\nsaved: " << saved[0];
        return saved[0];
    }
    static bool isPolished(const std::string& text) { return text.ends_with(mark); }
    static std::string withoutMark(const std::string& text) {
        return isPolished(text) ? text.substr(0, text.size() - mark.size()) : text;
    }
};

} // namespace

TEST_F(DesktopAICleanup, whatIsDictatedIsPolishedAndKeptAsItWasSaid) {
    (void)verb({"settings", "set", "historyEnabled", "on"});
    startWithCleanup();
    auto target = open(Kind::qtEditor);
    const auto text = dictate(target, sentences[0]);
    EXPECT_TRUE(isPolished(text)) << text << app->output();
    expectSaid(withoutMark(text), sentences[0]);
    EXPECT_EQ(endApp(), 0);
    const auto list = Json::parse(verb({"history", "list", "--json"})).value();
    const auto id = *list.asArray()->at(0).member("id")->asString();
    EXPECT_EQ(verb({"history", "show", id, "--original"}), withoutMark(text) + "\n");
}

TEST_F(DesktopAICleanup, whateverTheServerDoesTheTextComes) {
    startWithCleanup();
    auto target = open(Kind::gtkEditor);
    using enum TestMisbehaviour;
    for (const auto wrong : {invalidJson, error500, breakOff, empty, longText}) {
        server.change([wrong](auto& now) { now.misbehaviour = wrong; });
        const auto text = dictate(target, phrases[0]);
        EXPECT_FALSE(isPolished(text)) << static_cast<int>(wrong);
        EXPECT_FALSE(wordsOf(text).empty());
        (void)textOf(target);
    }
}

TEST_F(DesktopAICleanup, aServerThatHangsCostsOneDeadline) {
    startWithCleanup();
    auto target = open(Kind::qtEditor);
    ASSERT_TRUE(isPolished(dictate(target, phrases[0]))) << app->output();
    server.change([](auto& now) { now.misbehaviour = TestMisbehaviour::hang; });
    EXPECT_FALSE(isPolished(dictate(target, phrases[0])));
    const auto asked = server.completionsAsked();
    EXPECT_FALSE(isPolished(dictate(target, phrases[0])));
    EXPECT_LE(server.completionsAsked(), asked + 1) << "more than a try in the background";
    server.change([](auto& now) { now.misbehaviour = TestMisbehaviour::none; });
}

TEST_F(DesktopAICleanup, quittingWhileAModelIsAsked) {
    startWithCleanup();
    (void)verb({"settings", "set", "languageModelDeadline", "60"});
    auto target = open(Kind::qtEditor);
    server.change([](auto& now) { now.misbehaviour = TestMisbehaviour::hang; });
    holdAndSay(sentences[0].file);
    ASSERT_TRUE(waitForPhase("finalizing"));
    EXPECT_EQ(endApp(), 0);
    const auto saved = history();
    ASSERT_EQ(saved.size(), 1U);
    expectSaid(saved[0], sentences[0]);
    EXPECT_EQ(waitForText(target, text::characterCount(saved[0])), saved[0]);
}

} // namespace nimbe
