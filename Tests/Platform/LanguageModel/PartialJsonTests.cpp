#include <gtest/gtest.h>

#include "PlatformLanguageModel/PartialJson.h"

namespace nimbe {
namespace {

PartialJson of(std::string_view text) {
    PartialJson json;
    json.add(text);
    return json;
}

} // namespace

TEST(PartialJson, givesWhatIsThere) {
    struct Case {
        std::string text;
        std::string_view value;
    };
    const Case cases[] = {
        {"", "null"},
        {" ", "null"},
        {"{", "{}"},
        {R"({"te)", "{}"},
        {R"({"text")", "{}"},
        {R"({"text":)", "{}"},
        {R"({"text":")", R"({"text":""})"},
        {R"({"text":"a)", R"({"text":"a"})"},
        {R"({"text":"a\)", R"({"text":"a"})"},
        {R"({"text":"a\n)", R"({"text":"a\n"})"},
        {R"({"text":"a\u00)", R"({"text":"a"})"},
        {R"({"text":"a\u00e4)", R"({"text":"aä"})"},
        {R"({"text":"a\ud83d)", R"({"text":"a"})"},
        {R"({"text":"a\ud83d\u)", R"({"text":"a"})"},
        {R"({"text":"a\ud83d\ude00)", R"({"text":"a😀"})"},
        {"{\"text\":\"a\xF0\x9F\x98", R"({"text":"a"})"},
        {"{\"text\":\"a\xF0\x9F\x98\x80", R"({"text":"a😀"})"},
        {R"({"text":"a", )", R"({"text":"a"})"},
        {R"({"text":"a", "n": 1)", R"({"text":"a"})"},
        {R"({"text":"a", "n": 12 )", R"({"text":"a","n":12})"},
        {R"({"text":"a", "b": tru)", R"({"text":"a"})"},
        {R"({"text":"a", "b": true)", R"({"text":"a","b":true})"},
        {R"({"points":[)", R"({"points":[]})"},
        {R"({"points":["a","b)", R"({"points":["a","b"]})"},
        {R"({"points":["a",)", R"({"points":["a"]})"},
        {R"({"a":{"b":[{"c":"d)", R"({"a":{"b":[{"c":"d"}]}})"},
        {R"({"text":"}]"})", R"({"text":"}]"})"},
        {R"({"text":"a"} behind)", R"({"text":"a"})"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(of(c.text).value().text(), c.value) << c.text;
        EXPECT_FALSE(of(c.text).isDamaged()) << c.text;
    }
}

TEST(PartialJson, keepsWhatCameBeforeAFault) {
    struct Case {
        const char* why;
        std::string text;
        std::string_view value;
    };
    const Case cases[] = {
        {"no object", R"(["a"])", "null"},
        {"no quotes", "{text:1}", "{}"},
        {"a comma too many", R"({"a":"b",})", R"({"a":"b"})"},
        {"a comma in front", R"({,"a":"b"})", "{}"},
        {"no comma", R"({"a":"b" "c":"d"})", R"({"a":"b"})"},
        {"no colon", R"({"a" "b"})", "{}"},
        {"the wrong bracket", R"({"a":["b"}])", R"({"a":["b"]})"},
        {"a line break in a text", "{\"a\":\"b\nc\"}", R"({"a":"b"})"},
        {"an unknown escape", R"({"a":"b\x"})", R"({"a":"b"})"},
        {"no hexadecimal digit", R"({"a":"b\u00g0"})", R"({"a":"b"})"},
        {"a low surrogate alone", R"({"a":"b\ude00"})", R"({"a":"b"})"},
        {"a high surrogate alone", R"({"a":"b\ud83dc"})", R"({"a":"b"})"},
        {"two of them", R"({"a":"b\ud83d\ud83d"})", R"({"a":"b"})"},
        {"a high surrogate at the end", R"({"a":"b\ud83d"})", R"({"a":"b"})"},
        {"a NUL byte", std::string("{\"a\":\"b\0\"}", 10), R"({"a":"b"})"},
        {"an overlong character", "{\"a\":\"b\xE0\x80\x80\"}", R"({"a":"b"})"},
        {"a surrogate in UTF-8", "{\"a\":\"b\xED\xA0\x80\"}", R"({"a":"b"})"},
        {"a number with a zero in front", R"({"a":"b","c":01,)", R"({"a":"b"})"},
        {"a word", R"({"a":"b","c":nul,)", R"({"a":"b"})"},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(of(c.text).isDamaged()) << c.why;
        EXPECT_EQ(of(c.text).value().text(), c.value) << c.why;
        EXPECT_FALSE(of(c.text + "\"}").isWhole()) << c.why;
    }
}

TEST(PartialJson, tellsWhereTheObjectEnds) {
    PartialJson json;
    EXPECT_EQ(json.add(R"({"a":"b")"), 8U);
    EXPECT_FALSE(json.isWhole());
    EXPECT_EQ(json.add("}```"), 1U);
    EXPECT_TRUE(json.isWhole());
    EXPECT_EQ(json.add("}"), 0U);
    EXPECT_EQ(json.value().text(), R"({"a":"b"})");
}

TEST(PartialJson, isAsDeepAsItsText) {
    std::string text;
    for (int i = 0; i < 200'000; ++i) text += R"({"a":[)";
    const auto json = of(text);
    EXPECT_FALSE(json.isDamaged());
    EXPECT_EQ(json.value().text().size(), 200'000U * 8);
}

} // namespace nimbe
