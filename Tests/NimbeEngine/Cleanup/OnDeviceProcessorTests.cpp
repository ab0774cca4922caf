#include <gtest/gtest.h>

#include "Fakes/FakeLanguageModel.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"
#include "NimbeEngine/Cleanup/TextCleaner.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"

namespace nimbe {
namespace {

using Kind = LanguageModelError::Kind;
using Availability = LanguageModel::Availability;

struct OnDeviceProcessorTest : testing::Test {
    ManualMainActor actor;
    MemoryUserDefaults defaults;
    FakeLanguageModel model;
    std::vector<std::string> kept; // why, of each time
    OnDeviceProcessor processor{actor, model, defaults, [this](std::string_view why) {
                                    kept.emplace_back(why);
                                }};
    std::optional<std::string> result;
    TaskHandle running;

    static Task<void> keep(Task<std::string> text, std::optional<std::string>& result) {
        result = co_await text;
    }
    void process(std::string text, DictationMode mode = DictationMode::email) {
        result.reset();
        running = startTask(actor, keep(processor.process(std::move(text), mode), result));
        actor.runPosted();
    }
};

constexpr const char* said = "um so I think, uh, we should go";
constexpr const char* byRules = "So I think, we should go";

} // namespace

TEST_F(OnDeviceProcessorTest, theModelIsAskedForTheTextOfTheRules) {
    model.answer("text", "I think we should go.");
    process(said);
    EXPECT_EQ(result, "I think we should go.");
    EXPECT_TRUE(kept.empty());
    ASSERT_EQ(model.asked.size(), 1U);
    const auto& request = model.asked[0];
    EXPECT_EQ(request.instructions, TextCleaner::instructions(DictationMode::email));
    EXPECT_EQ(request.prompt, byRules);
    EXPECT_EQ(request.type, TextCleaner::cleaned());
    EXPECT_EQ(request.deadline, 8);
    EXPECT_EQ(request.type.fields.size(), 1U);
    EXPECT_EQ(request.type.fields[0].guide,
        "Only the cleaned transcript text itself. No preamble, labels, commentary, or "
        "surrounding quotation marks.");
}

TEST_F(OnDeviceProcessorTest, nothingAndFillersAlone) {
    process("  \n ");
    EXPECT_EQ(result, "");
    EXPECT_TRUE(model.asked.empty());
    model.answer("text", "Um.");
    process("um");
    EXPECT_EQ(model.asked.at(0).prompt, "um");
    EXPECT_EQ(result, "Um.");
}

TEST_F(OnDeviceProcessorTest, onlyAnAvailableModelIsAsked) {
    for (const auto kind : {Availability::Kind::unknown, Availability::Kind::notAllowed,
             Availability::Kind::noServer, Availability::Kind::notAServer,
             Availability::Kind::noModel, Availability::Kind::loading,
             Availability::Kind::unresponsive, Availability::Kind::refused}) {
        model.published.set({.kind = kind});
        process(said);
        EXPECT_EQ(result, byRules);
    }
    EXPECT_TRUE(model.asked.empty());
    EXPECT_TRUE(kept.empty()) << "the availability tells it";
    EXPECT_EQ(model.refreshed, 0) << "a dictation asked for what it does not wait for";
}

TEST_F(OnDeviceProcessorTest, whateverTheModelDoesWrong) {
    using Response = LanguageModel::Response;
    struct Case {
        const char* why;
        FakeLanguageModel::Answer answer;
        std::string_view told;
    };
    const auto text = [](std::string answer) {
        return FakeLanguageModel::Answer{
            Response{FakeLanguageModel::object("text", std::move(answer))}};
    };
    Json number;
    number.set("text", Json::integer(7));
    const Case cases[] = {
        {"an error", {failure(LanguageModelError{Kind::refused})}, "refused the request."},
        {"too long to read", {failure(LanguageModelError{Kind::tooLong})}, "text is too long"},
        {"another field", {Response{FakeLanguageModel::object("answer", "Yes.")}},
            "could not be understood."},
        {"another kind", {Response{number}}, "could not be understood."},
        {"no object", {Response{Json("We should go.")}}, "could not be understood."},
        {"cut off", {Response{FakeLanguageModel::object("text", "We should"), false}},
            "ended too early."},
        {"empty", text(""), "no text to use."},
        {"blank", text(" \n"), "no text to use."},
        {"of its task", text("The response format is JSON."), "no text to use."},
        {"far too long", text(std::string(81, 'a')), "longer than what was said."},
    };
    for (const auto& c : cases) {
        kept.clear();
        model.answers.push_back(c.answer);
        process(said);
        EXPECT_EQ(result, byRules) << c.why;
        ASSERT_EQ(kept.size(), 1U) << c.why;
        EXPECT_NE(kept[0].find(c.told), std::string::npos) << kept[0];
    }
    kept.clear();
    model.answer("text", byRules);
    process(said);
    EXPECT_TRUE(kept.empty()) << "a model may find nothing to mend";
}

TEST_F(OnDeviceProcessorTest, aModelThatHangsCostsTheDeadline) {
    const std::pair<const char*, double> cases[] = {
        {nullptr, 8}, {"2", 2}, {"120", 120}, {"121", 8}, {"0", 8}, {"-1", 8}, {"2.5", 8}, {"", 8}};
    for (const auto& [setting, seconds] : cases) {
        const auto stored = std::string(setting ? setting : "8");
        ASSERT_TRUE(!setting || defaults.set(LanguageModelSettings::deadline, stored));
        process(said);
        actor.advance(seconds - 0.01);
        EXPECT_FALSE(result) << seconds;
        actor.advance(0.02);
        EXPECT_EQ(result, byRules) << (setting ? setting : "default");
        ASSERT_FALSE(kept.empty());
        EXPECT_EQ(kept.back(), "The language model did not answer in time.");
    }
    EXPECT_EQ(actor.pendingTimers(), 0U);
}

TEST_F(OnDeviceProcessorTest, callsMayOverlap) {
    process("um first");
    std::optional<std::string> second;
    model.answer("text", "Second.");
    const auto other =
        startTask(actor, keep(processor.process("second", DictationMode::notes), second));
    actor.runPosted();
    EXPECT_EQ(second, "Second.");
    EXPECT_FALSE(result);
    actor.advance(8);
    EXPECT_EQ(result, "First");
}

} // namespace nimbe
