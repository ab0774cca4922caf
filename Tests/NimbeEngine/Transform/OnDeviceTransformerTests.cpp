#include <gtest/gtest.h>

#include "Fakes/FakeLanguageModel.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeEngine/Transform/OnDeviceTransformer.h"

namespace nimbe {
namespace {

using Kind = LanguageModel::Availability::Kind;
using Answer = Result<TransformProvider::Outcome, LanguageModelError>;

Task<void> keep(Task<Answer> transforming, std::optional<Answer>& answer) {
    answer = co_await transforming;
}

Json json(std::string_view text) {
    return Json::parse(text).value();
}

struct OnDeviceTransformerTest : testing::Test {
    ManualMainActor actor;
    FakeLanguageModel model;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    PromptRegistry prompts{defaults, log};
    OnDeviceTransformer transformer{model, prompts, defaults};
    std::vector<std::string> partials; // "~" in front of those that are not shown
    bool wantsMore = true;

    Answer run(NoteTransform transform, std::string text = "note") {
        std::optional<Answer> answer;
        partials.clear();
        const auto running = startTask(
            actor, keep(transformer.transform(std::move(transform), std::move(text),
                            [this](const TransformProvider::Partial& partial) {
                                partials.push_back((partial.isShown ? "" : "~") + partial.text);
                                return wantsMore;
                            }),
                       answer));
        actor.runPosted();
        return answer.value_or(failure(LanguageModelError{LanguageModelError::Kind::timedOut}));
    }
    /// The outcome's text for this answer of the model.
    std::string answer(NoteTransform transform, std::string_view content) {
        model.answers.push_back({LanguageModel::Response{json(content)}});
        const auto outcome = run(std::move(transform));
        return outcome ? outcome->text : "failed";
    }
};

} // namespace

TEST_F(OnDeviceTransformerTest, eachTransformAsksInItsForm) {
    struct Case {
        NoteTransform transform;
        std::string form;
    };
    const Case cases[] = {
        {TransformPreset::email, "EmailDraft recipientName body"},
        {TransformPreset::bullets, "BulletDraft points[]"},
        {TransformPreset::shorter, "Transformed text"},
        {FixTransform(), "Transformed text"},
        {CustomTransform{"Rhyme {instruction}."}, "Transformed text"},
    };
    EXPECT_TRUE(prompts.accept(R"({"version":1,"prompts":{"shorter":"Halve it."}})"));
    for (const auto& c : cases) {
        model.asked.clear();
        (void)run(c.transform, " my \n note ");
        ASSERT_EQ(model.asked.size(), 1U) << c.form;
        const auto& asked = model.asked[0];
        auto form = asked.type.name;
        for (const auto& field : asked.type.fields)
            form +=
                " " + field.name + (field.kind == GeneratedType::Field::Kind::texts ? "[]" : "");
        EXPECT_EQ(form, c.form);
        EXPECT_EQ(asked.instructions, prompts.instructions(c.transform)) << c.form;
        EXPECT_EQ(asked.prompt, " my \n note ") << c.form;
        EXPECT_EQ(asked.deadline, 600) << c.form;
        EXPECT_EQ(asked.stallDeadline, 60) << c.form;
    }
}

TEST_F(OnDeviceTransformerTest, whatComesIsPassedOnAsItComes) {
    struct Case {
        const char* why;
        NoteTransform transform;
        std::vector<std::string> contents;
        std::vector<std::string> partials;
        std::string expected;
    };
    const Case cases[] = {
        {"a text", FixTransform(),
            {"{}", R"({"text":""})", R"({"text":"a "})", R"({"text":"a b"})"}, {"a ", "a b"},
            "a b"},
        {"points, the last under way", TransformPreset::bullets,
            {R"({"points":[]})", R"({"points":["-"]})", R"({"points":["- on"]})",
                R"({"points":["- one","2"]})"},
            {"- on", "- one\n- 2"}, "- one\n- 2"},
        {"an e-mail is only measured", TransformPreset::email,
            {R"({"recipientName":"Al"})", R"({"recipientName":"Alex","body":"Come"})",
                R"({"recipientName":"Alex","body":"Come soon."})"},
            {"~Come", "~Come soon."}, "Hi Alex,\n\nCome soon.\n\nThanks,"},
    };
    for (const auto& c : cases) {
        for (const bool isWhole : {true, false}) {
            std::vector<Json> contents;
            for (const auto& content : c.contents) contents.push_back(json(content));
            model.answers.push_back({LanguageModel::Response{contents.back(), isWhole}, contents});
            const auto outcome = run(c.transform);
            ASSERT_TRUE(outcome) << c.why;
            EXPECT_EQ(partials, c.partials) << c.why;
            EXPECT_EQ(outcome->text, c.expected) << c.why;
            EXPECT_EQ(outcome->isWhole, isWhole) << c.why;
        }
    }
}

TEST_F(OnDeviceTransformerTest, pointsBecomeOneLineEach) {
    struct Case {
        const char* why;
        std::string points;
        std::string expected;
    };
    const Case cases[] = {
        {"as asked", R"("One.","Two.")", "- One.\n- Two."},
        {"blank ones are left out", R"(""," \n","-","\u2022","Two")", "- Two"},
        {"none", "", ""},
        {"only blank ones", R"("","- - ")", ""},
        {"markers", R"("- a","* b","\u2022c","\u2022 d","+ e","- - f","\u2013 g")",
            "- a\n- b\n- \u2022c\n- d\n- e\n- f\n- g"},
        {"no markers", R"("-5 degrees","*new*","+49 30","-")", "- -5 degrees\n- *new*\n- +49 30"},
        {"its own number", R"("1. a","2) b","4. c")", "- a\n- b\n- 4. c"},
        {"a date", R"("10. Mai","2.5 percent","3.")", "- 10. Mai\n- 2.5 percent"},
        {"line breaks", R"(" a\n\n b ","c \r\n d","e\u2028f  g")", "- a b\n- c d\n- e f  g"},
        {"not only ASCII", R"("\u00e4 \ud83d\ude00")", "- \u00E4 \U0001F600"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(answer(TransformPreset::bullets, "{\"points\":[" + c.points + "]}"), c.expected)
            << c.why;
    for (const auto* const content : {"{}", R"({"points":"a"})", "[]"})
        EXPECT_EQ(answer(TransformPreset::bullets, content), "") << content;
}

TEST_F(OnDeviceTransformerTest, anEmailIsComposedAroundWhatThereIs) {
    struct Case {
        const char* why;
        std::string signature;
        std::string content;
        std::string expected;
    };
    const Case cases[] = {
        {"signed", " Kim ", R"({"recipientName":"","body":"Come."})",
            "Hi,\n\nCome.\n\nThanks,\nKim"},
        {"the model's own frame is dropped", "",
            R"({"recipientName":"Alex","body":"Hi Alex,\n\nCome.\n\nThanks,\nKim"})",
            "Hi Alex,\n\nCome.\n\nThanks,"},
        {"no body", "Kim", R"({"recipientName":"Alex"})", ""},
        {"a blank body", "Kim", R"({"recipientName":"Alex","body":" \n"})", ""},
        {"only a greeting", "Kim", R"({"recipientName":"Alex","body":"Hi Alex,\n"})", ""},
        {"few words", "", R"({"recipientName":"Alex","body":"Thanks!"})",
            "Hi Alex,\n\nThanks!\n\nThanks,"},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(defaults.set(OnDeviceTransformer::emailSignatureName, c.signature));
        EXPECT_EQ(answer(TransformPreset::email, c.content), c.expected) << c.why;
    }
}

TEST_F(OnDeviceTransformerTest, errorsPass) {
    model.answers.push_back({LanguageModel::Response{json(R"({"text":"ab"})")},
        {json(R"({"text":"a"})"), json(R"({"text":"ab"})")}});
    wantsMore = false;
    const auto stopped = run(FixTransform());
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.error().kind, LanguageModelError::Kind::stopped);
    EXPECT_EQ(partials.size(), 1U);

    model.fail(LanguageModelError::Kind::tooLong);
    const auto tooLong = run(FixTransform());
    ASSERT_FALSE(tooLong);
    EXPECT_EQ(tooLong.error().kind, LanguageModelError::Kind::tooLong);
}

TEST_F(OnDeviceTransformerTest, aModelThatIsNotKnownIsLookedForFirst) {
    struct Case {
        const char* why;
        Kind known;
        Kind found;
        int checks;
        bool isAsked;
    };
    const Case cases[] = {
        {"known", Kind::available, Kind::noServer, 0, true},
        {"found", Kind::unknown, Kind::available, 1, true},
        {"back", Kind::noServer, Kind::available, 1, true},
        {"gone", Kind::noServer, Kind::noServer, 1, false},
        {"loading", Kind::unknown, Kind::loading, 1, false},
    };
    for (const auto& c : cases) {
        model.published.set({.kind = c.known});
        model.found = LanguageModel::Availability{.kind = c.found, .address = "http://[::1]:1"};
        model.refreshed = 0;
        model.asked.clear();
        model.answers.clear();
        model.answer("text", "whole");
        const auto outcome = run(FixTransform());
        EXPECT_EQ(model.refreshed, c.checks) << c.why;
        EXPECT_EQ(model.asked.size(), c.isAsked ? 1U : 0U) << c.why;
        ASSERT_EQ(outcome.has_value(), c.isAsked) << c.why;
        if (c.isAsked) continue;
        EXPECT_EQ(outcome.error().kind, LanguageModelError::Kind::unavailable) << c.why;
        EXPECT_EQ(outcome.error().detail, model.found->message()) << c.why;
    }
}

} // namespace nimbe
