#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "Foundation/Json.h"

namespace nimbe {
namespace {

std::string rewritten(std::string_view text) {
    const auto json = Json::parse(text);
    return json ? json->text() : "error";
}

} // namespace

TEST(Json, whatIsReadAndWrittenAgainIsUnchanged) {
    const std::string_view cases[] = {"null", "true", "\"\"", "[]", "{}",
        "[1.0,-0,1e400,12345678901234567890123456789,0.10,1E+2]", R"({"b":1,"a":{"b":[{}]},"b":2})",
        R"("\u0000\n\"\\é😀")", "\"\xE2\x80\xA8\""};
    for (const auto text : cases) EXPECT_EQ(rewritten(text), text);
    EXPECT_EQ(rewritten(" [ 1 , \"\\u00e9\\/\\ud83d\\ude00\" ]\n"), "[1,\"é/😀\"]");
}

TEST(Json, refusesWhatIsNotJson) {
    const std::string_view cases[] = {"", " ", "nul", "[1,]", "{\"a\":1,}", "{a:1}", "[1] 2", "\"a",
        "'a'", "01", "1.", ".5", "+1", "-", "1e", "NaN", "\"\t\"", "\"\\x\"", "\"\\ud800\"",
        "\"\\ud800x\"", "\"\\udc00\"", "\"\\u12\"", "[", "]", "\"\x80\"", "\"\xED\xA0\x80\"",
        "\xFF", "[1]//", std::string_view("1\0", 2), std::string_view("\0", 1),
        std::string_view("\"a\0\"", 4)};
    for (const auto text : cases) EXPECT_EQ(rewritten(text), "error") << text;
}

TEST(Json, anIntegerIsOneByItsText) {
    struct Case {
        std::string_view text;
        std::optional<std::int64_t> integer;
    };
    const Case cases[] = {{"7", 7}, {"-9223372036854775808", INT64_MIN},
        {"9223372036854775807", INT64_MAX}, {"9223372036854775808", std::nullopt},
        {"1.0", std::nullopt}, {"1e2", std::nullopt}, {"\"1\"", std::nullopt},
        {"true", std::nullopt}};
    for (const auto& c : cases) EXPECT_EQ(Json::parse(c.text)->asInteger(), c.integer) << c.text;
    EXPECT_EQ(Json::parse("1e400")->asDouble(), std::nullopt);
    EXPECT_EQ(Json::parse("-2.5e-1")->asDouble(), -0.25);
}

TEST(Json, numbersReadBackAsTheSameDouble) {
    for (const double number : {0.1, 1.0 / 3, 1e-310, 1.7976931348623157e308, 794000000.1234567}) {
        const auto text = Json::number(number).text();
        EXPECT_EQ(Json::parse(text)->asDouble(), number) << text;
    }
    EXPECT_TRUE(Json::number(std::numeric_limits<double>::infinity()).isNull());
    EXPECT_TRUE(Json::number(std::nan("")).isNull());
}

TEST(Json, theLastOfTwoMembersCountsAndIsTheOneReplaced) {
    auto json = *Json::parse(R"({"a":1,"b":2,"a":3})");
    EXPECT_EQ(json.member("a")->asInteger(), 3);
    json.set("a", Json("x"));
    json.set("c", Json(true));
    EXPECT_EQ(json.text(), R"({"a":1,"b":2,"a":"x","c":true})");
    EXPECT_EQ(json.member("d"), nullptr);
    EXPECT_EQ(Json("no object").member("a"), nullptr);
}

TEST(Json, aChildMayReplaceItsParent) {
    auto json = *Json::parse(R"({"a":{"b":[1,2]}})");
    json = std::move(*json.member("a"));
    json = *json.member("b");
    EXPECT_EQ(json.text(), "[1,2]");
}

TEST(Json, nestingOfAnyDepthIsReadCopiedComparedWrittenAndDropped) {
    constexpr std::size_t depth = 1'000'000;
    std::string text(depth, '[');
    text.append(depth, ']');
    const auto json = Json::parse(text);
    ASSERT_TRUE(json);
    Json copy;
    copy = *json;
    EXPECT_TRUE(copy == *json);
    EXPECT_EQ(copy.text(), text);

    std::string objects;
    for (std::size_t i = 0; i < depth / 4; ++i) objects += R"({"a":)";
    EXPECT_FALSE(Json::parse(objects)) << "cut off";
    objects += "1" + std::string(depth / 4, '}');
    const auto nested = Json::parse(objects);
    ASSERT_TRUE(nested);
    EXPECT_FALSE(*nested == *json);
    EXPECT_EQ(nested->text(), objects);
}

TEST(Json, membersAreSortedAtEveryLevelAndTheOneThatCountsStays) {
    struct Case {
        std::string_view text;
        std::string_view sorted;
    };
    const Case cases[] = {
        {R"({"b":1,"a":[{"d":1.0,"c":1e400}],"":0})", R"({"":0,"a":[{"c":1e400,"d":1.0}],"b":1})"},
        {R"({"a":{"x":1},"b":2,"a":{"z":3,"y":4,"z":5}})", R"({"a":{"y":4,"z":5},"b":2})"},
        // By bytes: capitals first, and U+FF5E before U+1F600, which UTF-16 would turn around.
        {R"({"é":0,"a":0,"Z":0,"😀":0,"～":0})", R"({"Z":0,"a":0,"é":0,"～":0,"😀":0})"},
        {R"([3,1,2])", "[3,1,2]"},
        {"7", "7"},
    };
    for (const auto& c : cases) {
        auto json = *Json::parse(c.text);
        json.sortMembers();
        EXPECT_EQ(json.text(), c.sorted);
    }
}

TEST(Json, allMembersOfANameAreRemoved) {
    auto json = *Json::parse(R"({"a":1,"b":{"a":2},"a":3})");
    json.remove("a");
    json.remove("c");
    EXPECT_EQ(json.text(), R"({"b":{"a":2}})");
}

TEST(Json, prettyTextOfDeepNestingStaysShort) {
    constexpr std::size_t depth = 500'000;
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += R"([{"a":)";
    text += "1";
    for (std::size_t i = 0; i < depth; ++i) text += "}]";
    auto json = *Json::parse(text);
    json.sortMembers();
    const auto pretty = json.text(Json::Layout::pretty);
    EXPECT_LT(pretty.size(), 4 * text.size());
    EXPECT_TRUE(*Json::parse(pretty) == json);
}

TEST(Json, prettyTextReadsBackAsTheSame) {
    const auto json = *Json::parse(R"({"a":[1,{"b":null}],"c":{}})");
    const auto pretty = json.text(Json::Layout::pretty);
    EXPECT_NE(pretty.find("\n  \"a\": ["), std::string::npos) << pretty;
    EXPECT_TRUE(*Json::parse(pretty) == json);
}

} // namespace nimbe
