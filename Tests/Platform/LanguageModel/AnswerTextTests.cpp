#include <gtest/gtest.h>

#include "PlatformLanguageModel/AnswerText.h"

namespace nimbe {
namespace {

std::string answerIn(std::string_view text, std::size_t piece) {
    AnswerText answer;
    for (std::size_t at = 0; at < text.size(); at += piece) answer.add(text.substr(at, piece));
    if (!answer.isObject()) return std::string(answer.plain());
    return answer.isWholeObject() ? answer.object().value().text() : "damaged";
}

} // namespace

TEST(AnswerText, isWithoutThoughtsAndFences) {
    struct Case {
        std::string_view text;
        std::string_view answer;
    };
    const Case cases[] = {
        {R"({"a":"b"})", R"({"a":"b"})"},
        {" \n{\"a\":\"b\"}\n ", R"({"a":"b"})"},
        {R"({"a":"<think>no</think>"})", R"({"a":"<think>no</think>"})"},
        {R"(<think>{"a":"no"}</think>{"a":"b"})", R"({"a":"b"})"},
        {"<think>\n\n</think>\n\n{\"a\":\"b\"}", R"({"a":"b"})"},
        {R"(<thinking>{"a":"no"}</thinking>{"a":"b"})", R"({"a":"b"})"},
        {R"([THINK]no[/THINK]{"a":"b"})", R"({"a":"b"})"},
        {R"(No beginning </think> {"a":"b"})", R"({"a":"b"})"},
        {R"(<think>one</think><think>two</think>{"a":"b"})", R"({"a":"b"})"},
        {R"(<|channel|>analysis<|message|>no<|end|><|start|>assistant<|channel|>final<|message|>{"a":"b"}<|return|>)",
            R"({"a":"b"})"},
        {R"(<|channel|>final <|constrain|>json<|message|>{"a":"b"})", R"({"a":"b"})"},
        {"```json\n{\"a\":\"b\"}\n```", R"({"a":"b"})"},
        {"```\n{\"a\":\"b\"}```\n", R"({"a":"b"})"},
        {"<think>no</think>\n```json\n{\"a\":\"b\"}\n```", R"({"a":"b"})"},
        {"```\nPlain.\n```", "Plain."},
        {"Plain.", "Plain."},
        {"Plain, with ``` in it. ```", "Plain, with ``` in it. ```"},
        {"<think>no</think> Grüße, 漢字.\n", "Grüße, 漢字."},
        {"<think>it never ends", ""},
        {"<|channel|>analysis<|message|>it never ends", ""},
        {"no <|channel|>final and then nothing of the kind, however long one waits for it, nothing "
         "<|channel|>final<|message|>Plain.",
            "Plain."},
        {R"({"a":"b"} and more)", "damaged"},
        {R"({"a":"b"}{"a":"c"})", "damaged"},
        {R"({"a":"b)", "damaged"},
        {"{a:b}", "damaged"},
        {"", ""},
    };
    for (const auto& c : cases)
        for (std::size_t piece = 1; piece <= c.text.size() + 1; ++piece)
            EXPECT_EQ(answerIn(c.text, piece), c.answer) << c.text << ", cut at " << piece;
}

} // namespace nimbe
