#include <stdexcept>

#include <gtest/gtest.h>

#include "Fakes/FakeTransformProvider.h"
#include "Fakes/ManualMainActor.h"
#include "Foundation/TaskScope.h"
#include "NimbeEngine/Transform/NoteEditSession.h"

namespace nimbe {
namespace {

using Outcome = TransformProvider::Outcome;
using Partial = TransformProvider::Partial;

constexpr auto offTheRails = "The transform went off the rails. Kept your text.";
constexpr auto cameBackEmpty = "The transform came back empty. Kept your text.";
constexpr auto failed = "Transform failed. Kept your text.";
constexpr auto stoppedEarly = "Transform stopped early. Edit or try again.";

std::string times(std::size_t count, std::string_view text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

/// Keeps the receiver of the last transform, as a server's answer under way does.
class LateProvider final : public TransformProvider {
public:
    OnPartial receiver;
    std::size_t running = 0;

    [[nodiscard]] Task<Result<Outcome, LanguageModelError>> transform(
        NoteTransform /*transform*/, std::string /*text*/, OnPartial onPartial) override {
        const Running counted(running);
        receiver = std::move(onPartial);
        co_await never();
        co_return Outcome();
    }

private:
    struct Running {
        std::size_t& count;
        explicit Running(std::size_t& count) : count(count) { ++count; }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
        ~Running() { --count; }
    };
};

/// Works in a task of its own, under a deadline, as a server's answer is read.
class NestedProvider final : public TransformProvider {
public:
    NestedProvider(MainActor& actor, FakeTransformProvider& inner) : actor(actor), inner(inner) {}

    [[nodiscard]] Task<Result<Outcome, LanguageModelError>> transform(
        NoteTransform transform, std::string text, OnPartial onPartial) override {
        auto asking = inner.transform(std::move(transform), std::move(text), std::move(onPartial));
        auto pending = withDeadline(actor, 600, std::move(asking));
        auto answer = co_await pending;
        if (!answer) co_return failure(LanguageModelError{LanguageModelError::Kind::timedOut});
        co_return std::move(*answer);
    }

private:
    MainActor& actor;
    FakeTransformProvider& inner;
};

class ThrowingProvider final : public TransformProvider {
public:
    [[nodiscard]] Task<Result<Outcome, LanguageModelError>> transform(
        NoteTransform /*transform*/, std::string /*text*/, OnPartial onPartial) override {
        (void)onPartial({"half"});
        throw std::runtime_error("broken");
        co_return Outcome();
    }
};

Task<void> wait(std::weak_ptr<NoteEditSession> session, std::optional<bool>& answer) {
    auto transforming = NoteEditSession::transform(std::move(session), FixTransform());
    answer = co_await transforming;
}

struct NoteEditSessionTest : testing::Test {
    ManualMainActor actor;
    FakeTransformProvider provider;
    LateProvider late;
    std::shared_ptr<NoteEditSession> session = NoteEditSession::create(actor, provider, "note");

    void open(TransformProvider& of, std::string text) {
        session = NoteEditSession::create(actor, of, std::move(text));
    }
    void begin() {
        EXPECT_TRUE(session->start(TransformPreset::shorter));
        actor.runPosted();
    }
    [[nodiscard]] std::string text() const { return session->_text.get(); }
    [[nodiscard]] std::string notice() const { return session->_notice.get().value_or(""); }
    [[nodiscard]] bool isTransforming() const { return session->_isTransforming.get(); }
};

} // namespace

TEST_F(NoteEditSessionTest, whatComesBackDecidesWhatStands) {
    using Answer = FakeTransformProvider::Answer;
    const auto error = failure(LanguageModelError{LanguageModelError::Kind::brokenOff});
    const auto family = "\U0001F468\u200D\U0001F469\u200D\U0001F467"; // one character, 18 bytes
    const auto letters = [](std::size_t count) {
        return std::string(count, 'x');
    };
    const auto hundred = letters(100);
    const std::string bytes = " a\r\n\xFF\t\u0308 \n";
    struct Case {
        const char* why;
        std::string note;
        Answer answer;
        std::string expected;
        const char* notice;
    };
    const Case cases[] = {
        {"a list is put in lines", "note", {Outcome{"- a. - b"}, {{"- a"}}}, "- a.\n- b", ""},
        {"nothing", "note", {Outcome{""}, {{"half"}}}, "note", cameBackEmpty},
        {"blank", "note", {Outcome{"\u00A0\n "}}, "note", cameBackEmpty},
        {"an error after some text", bytes, {error, {{"half"}}}, bytes, failed},
        {"broken off", "note", {Outcome{"- a. - b", false}, {{"- a"}}}, "- a.\n- b", stoppedEarly},
        {"broken off at once", "note", {Outcome{" ", false}}, "note", cameBackEmpty},
        {"1200 in part", hundred, {Outcome{"end"}, {{letters(1200)}}}, "end", ""},
        {"1201 in part", hundred, {Outcome{"end"}, {{"x"}, {letters(1201)}}}, hundred, offTheRails},
        {"1200 for a short one", "x", {Outcome{letters(1200)}}, letters(1200), ""},
        {"1201 at the end", "x", {Outcome{letters(1201)}}, "x", offTheRails},
        {"1201 at an early end", "x", {Outcome{letters(1201), false}}, "x", offTheRails},
        {"only measured", bytes, {Outcome{"end"}, {{letters(1201), false}}}, bytes, offTheRails},
        {"measured, not shown", "note", {error, {{letters(1200), false}}}, "note", failed},
        {"four times 300", letters(300), {Outcome{letters(1201)}}, letters(300), offTheRails},
        {"four times 400", letters(400), {Outcome{letters(1600)}}, letters(1600), ""},
        {"and one", letters(400), {Outcome{letters(1601)}}, letters(400), offTheRails},
        {"bytes do not count", "x", {Outcome{times(1200, "\u00E4")}}, times(1200, "\u00E4"), ""},
        {"characters do", "x", {Outcome{times(1201, "\u00E4")}}, "x", offTheRails},
        {"of an emoji note", times(301, family), {Outcome{letters(1204)}}, letters(1204), ""},
        {"one more", times(301, family), {Outcome{letters(1205)}}, times(301, family), offTheRails},
        {"of emoji", "x", {Outcome{times(1200, family)}}, times(1200, family), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        open(provider, c.note);
        provider.answers.push_back(c.answer);
        begin();
        EXPECT_EQ(text(), c.expected);
        EXPECT_EQ(notice(), c.notice);
        EXPECT_FALSE(isTransforming());
        EXPECT_EQ(session->storedText(), c.note);
        EXPECT_EQ(session->error().has_value(), std::string(c.notice) == failed);
    }
}

TEST_F(NoteEditSessionTest, theNextTransformForgetsTheErrorOfTheLast) {
    provider.answers.push_back({failure(LanguageModelError{LanguageModelError::Kind::timedOut})});
    provider.answers.push_back({Outcome{"better"}});
    begin();
    ASSERT_TRUE(session->error());
    EXPECT_EQ(session->error()->kind, LanguageModelError::Kind::timedOut);
    begin();
    EXPECT_FALSE(session->error());
    EXPECT_EQ(notice(), "");
}

TEST_F(NoteEditSessionTest, theTextStandsBeforeTheTransformIsOver) {
    std::string told;
    const auto texts = session->_text.observe([&](const auto& text) { told += text + ";"; });
    const auto notices = session->_notice.observe(
        [&](const auto& notice) { told += notice ? "notice;" : "no notice;"; });
    const auto states = session->_isTransforming.observe(
        [&](bool isTransforming) { told += isTransforming ? "on;" : "off;"; });
    provider.answers.push_back({Outcome{"abc", false}, {{"a"}, {"hidden", false}, {"ab"}}});
    provider.answers.push_back({Outcome{""}, {{"b"}}});
    begin();
    EXPECT_EQ(told, "on;a;ab;abc;notice;off;");
    told.clear();
    begin();
    EXPECT_EQ(told, "no notice;on;b;abc;notice;off;");
    EXPECT_EQ(provider.given.at(1).second, "abc");
}

TEST_F(NoteEditSessionTest, oneTransformAtATime) {
    open(late, "note");
    begin();
    EXPECT_TRUE(late.receiver({"ha"}));
    EXPECT_FALSE(session->start(FixTransform()));
    EXPECT_FALSE(session->edit("typed"));
    EXPECT_TRUE(late.receiver({"half"}));
    EXPECT_EQ(text(), "half");
    EXPECT_EQ(late.running, 1U);
    EXPECT_FALSE(late.receiver({std::string(1201, 'x')})) << "no more is wanted";
    EXPECT_EQ(notice(), offTheRails);
    EXPECT_TRUE(session->edit("typed"));
    EXPECT_EQ(text(), "typed");

    for (const auto* const blank : {"", " \n", "\u2003"}) {
        EXPECT_FALSE(session->start(CustomTransform{blank}));
        open(provider, blank);
        EXPECT_FALSE(session->start(FixTransform()));
        open(provider, "note");
    }
    actor.runPosted();
    EXPECT_TRUE(provider.given.empty());
}

TEST_F(NoteEditSessionTest, aCancelledTransformLeavesNothing) {
    const std::string note = "a\r\n \xFF";
    open(late, note);
    session->cancel(); // nothing runs
    begin();
    EXPECT_TRUE(late.receiver({"half"}));
    session->cancel();
    EXPECT_EQ(text(), note);
    EXPECT_EQ(notice(), "");
    EXPECT_FALSE(isTransforming());
    EXPECT_EQ(late.running, 0U);
    const auto old = late.receiver;
    EXPECT_FALSE(old({"late"}));
    begin();
    EXPECT_FALSE(old({"later"})) << "of the one before";
    EXPECT_EQ(text(), note);
    EXPECT_TRUE(late.receiver({"new"}));
    {
        const auto watch = session->_text.observe([&](const auto& text) {
            if (text == "newer") session->cancel();
        });
        const auto receiver = late.receiver;
        EXPECT_FALSE(receiver({"newer"}));
    }
    begin();
    session.reset();
    EXPECT_EQ(late.running, 0U);
    EXPECT_FALSE(late.receiver({"late"}));

    open(late, note);
    EXPECT_TRUE(session->start(FixTransform()));
    EXPECT_TRUE(isTransforming());
    session->cancel(); // before it was asked
    actor.runPosted();
    EXPECT_EQ(late.running, 0U);
    EXPECT_FALSE(isTransforming());
}

TEST_F(NoteEditSessionTest, observersMayEndWhatTheyObserve) {
    const FakeTransformProvider::Answer answer{Outcome{"whole", false}, {{"a"}, {"ab"}}};
    NestedProvider nested(actor, provider);
    for (TransformProvider* const of :
        {static_cast<TransformProvider*>(&provider), static_cast<TransformProvider*>(&nested)}) {
        for (const auto* const at : {"a", "ab", "whole"}) {
            SCOPED_TRACE(at);
            open(*of, "note");
            provider.answers.push_back(answer);
            auto watch = session->_text.observe([&](const auto& text) {
                if (text == at) session->cancel();
            });
            begin();
            EXPECT_EQ(text(), "note");
            EXPECT_EQ(notice(), "");
            EXPECT_FALSE(isTransforming());

            provider.answers.push_back(answer);
            watch = session->_text.observe([&](const auto& text) {
                if (text == at) session.reset();
            });
            begin();
            EXPECT_EQ(session, nullptr);
            EXPECT_EQ(actor.pendingTimers(), 0U);
        }
    }
    open(provider, "note");
    const auto watch = session->_isTransforming.observe([&](bool isOn) {
        if (isOn) session->cancel();
    });
    begin();
    EXPECT_FALSE(isTransforming());
    EXPECT_EQ(provider.given.size(), 12U) << "it is not even asked";
}

TEST_F(NoteEditSessionTest, theNextMayBeginWhenTheLastIsOver) {
    provider.answers.push_back({Outcome{"first"}});
    provider.answers.push_back({Outcome{"second"}});
    bool hasRefused = false;
    bool hasBegun = false;
    const auto texts = session->_text.observe([&](const auto& text) {
        if (text == "first") hasRefused = !session->start(FixTransform());
    });
    const auto states = session->_isTransforming.observe([&](bool isOn) {
        if (!isOn && !hasBegun) hasBegun = session->start(FixTransform());
    });
    begin();
    EXPECT_TRUE(hasRefused);
    EXPECT_TRUE(hasBegun);
    EXPECT_EQ(text(), "second");
    EXPECT_EQ(session->storedText(), "first");
    EXPECT_FALSE(isTransforming());
}

TEST_F(NoteEditSessionTest, aProviderThatThrowsHasFailed) {
    ThrowingProvider throwing;
    open(throwing, "note");
    begin();
    EXPECT_EQ(text(), "note");
    EXPECT_EQ(notice(), failed);
    EXPECT_FALSE(isTransforming());
    open(provider, "note");
}

TEST_F(NoteEditSessionTest, whoWaitsLearnsOfEveryEnd) {
    std::optional<bool> answer;
    provider.answers.push_back({Outcome{"whole"}});
    auto waiting = startTask(actor, wait(session, answer));
    actor.runPosted();
    EXPECT_EQ(answer, true);
    EXPECT_EQ(text(), "whole");

    open(late, "note");
    for (const bool isDestroyed : {false, true}) {
        answer.reset();
        waiting = startTask(actor, wait(session, answer));
        actor.runPosted();
        EXPECT_EQ(answer, std::nullopt);
        EXPECT_EQ(late.running, 1U);
        std::optional<bool> second;
        const auto refused = startTask(actor, wait(session, second));
        actor.runPosted();
        EXPECT_EQ(second, false);
        if (isDestroyed)
            session.reset();
        else
            session->cancel();
        actor.runPosted();
        EXPECT_EQ(answer, true);
        EXPECT_EQ(late.running, 0U);
    }
    waiting = startTask(actor, wait(session, answer));
    actor.runPosted();
    EXPECT_EQ(answer, false) << "there is no session";
}

TEST_F(NoteEditSessionTest, whoStopsWaitingCancels) {
    open(late, "note");
    std::optional<bool> answer;
    auto waiting = startTask(actor, wait(session, answer));
    actor.runPosted();
    EXPECT_TRUE(late.receiver({"half"}));
    waiting.reset();
    EXPECT_EQ(text(), "note");
    EXPECT_FALSE(isTransforming());
    EXPECT_EQ(late.running, 0U);
}

} // namespace nimbe
