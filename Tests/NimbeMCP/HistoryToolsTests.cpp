#include <gtest/gtest.h>

#include "Fakes/FakeMemoryRecordSource.h"
#include "NimbeMCP/HistoryTools.h"
#include "NimbeMCP/LocalHistoryBackend.h"

namespace nimbe {
namespace {

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += piece;
    return text;
}

/// 794003200 is 2026-02-28T20:26:40Z.
MemoryRecords manyRecords() {
    MemoryRecords many;
    for (int i = 0; i < 45; ++i)
        many.push_back({"ID" + std::to_string(i), "say \"word\"\n\x01 é", Date{794003200.75 - i},
            i == 3 ? "email" : "notes"});
    return many;
}

struct HistoryToolsTest : testing::Test {
    FakeMemoryRecordSource source{manyRecords()};
    LocalHistoryBackend backend{source};
    HistoryTools tools{backend};

    /// The text of the answer, behind "error: " when it is one.
    std::string text(std::string_view name, std::string_view arguments) {
        const auto json = Json::parse(tools.call(name, Json::parse(arguments).value())).value();
        const auto& members = *json.asObject();
        EXPECT_EQ(members.size(), 2U);
        EXPECT_EQ(members[0].key, "content");
        EXPECT_EQ(members[1].key, "isError");
        const auto& content = members[0].value.asArray()->at(0);
        EXPECT_EQ(members[0].value.asArray()->size(), 1U);
        EXPECT_EQ(content.asObject()->size(), 2U);
        EXPECT_EQ(*content.member("type")->asString(), "text");
        const auto& answer = *content.member("text")->asString();
        return members[1].value.asBool().value() ? "error: " + answer : answer;
    }
    std::size_t count(std::string_view name, std::string_view arguments) {
        const auto payload = Json::parse(text(name, arguments)).value();
        return payload.asObject()->front().value.asArray()->size();
    }
};

} // namespace

TEST_F(HistoryToolsTest, answersHaveTheseMembersInThisOrder) {
    EXPECT_EQ(text("search_dictations", R"({"query":"WORD","limit":1})"),
        R"({"results":[{"id":"ID0","snippet":"say \"word\"\n\u0001 é","score":1.0,)"
        R"("createdAt":"2026-02-28T20:26:40Z","mode":"notes"}]})");
    EXPECT_EQ(text("search_dictations", R"({"query":"none"})"), R"({"results":[]})");
    EXPECT_EQ(text("get_dictation", R"({"id":"ID3"})"),
        R"({"id":"ID3","text":"say \"word\"\n\u0001 é","createdAt":"2026-02-28T20:26:37Z",)"
        R"("mode":"email"})");
    EXPECT_EQ(text("list_dictations", R"({"limit":2,"cursor":"43"})"),
        R"({"items":[{"id":"ID43","preview":"say \"word\"\n\u0001 é",)"
        R"("createdAt":"2026-02-28T20:25:57Z","mode":"notes"},)"
        R"({"id":"ID44","preview":"say \"word\"\n\u0001 é",)"
        R"("createdAt":"2026-02-28T20:25:56Z","mode":"notes"}]})");
    const auto page = text("list_dictations", R"({"limit":0})");
    EXPECT_EQ(page, R"({"items":[],"nextCursor":"0"})");
}

TEST_F(HistoryToolsTest, previewsHave120Characters) {
    for (const std::string_view piece : {"a", "é", "👨‍👩‍👧‍👦"}) {
        source.set({{"A", repeated(piece, 120), Date{2}, "notes"},
            {"B", repeated(piece, 121), Date{1}, "notes"}});
        const auto payload = Json::parse(text("list_dictations", "{}")).value();
        const auto& items = *payload.member("items")->asArray();
        EXPECT_EQ(*items[0].member("preview")->asString(), repeated(piece, 120));
        EXPECT_EQ(*items[1].member("preview")->asString(), repeated(piece, 120) + "…");
    }
}

TEST_F(HistoryToolsTest, callsThatCannotBeServedSayWhy) {
    struct Case {
        std::string_view name;
        std::string_view arguments;
        std::string_view error;
    };
    const Case cases[] = {
        {"search_dictations", "{}", "Missing 'query'"},
        {"search_dictations", R"({"query":7})", "Missing 'query'"},
        {"search_dictations", R"({"query":null})", "Missing 'query'"},
        {"search_dictations", R"({"query":["a"]})", "Missing 'query'"},
        {"search_dictations", R"({"Query":"a"})", "Missing 'query'"},
        {"get_dictation", "{}", "Missing 'id'"},
        {"get_dictation", R"({"id":3})", "Missing 'id'"},
        {"get_dictation", R"({"id":""})", "No dictation with id "},
        {"get_dictation", R"({"id":"id3"})", "No dictation with id id3"},
        {"get_dictation", R"({"id":"a\"b\u0000é"})", {"No dictation with id a\"b\0é", 27}},
        {"", "{}", "Unknown tool: "},
        {"Search_dictations", "{}", "Unknown tool: Search_dictations"},
        {"delete \"all\"", "{}", "Unknown tool: delete \"all\""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(text(c.name, c.arguments), "error: " + std::string(c.error)) << c.arguments;
}

TEST_F(HistoryToolsTest, optionalArgumentsOfAnotherTypeCountAsAbsent) {
    const std::string_view noIntegers[] = {"\"7\"", "7.5", "7e-1", "true", "null", "[7]", "{}",
        "9223372036854775808", "-9223372036854775809", "1e400", "1e-400"};
    for (const auto value : noIntegers) {
        const auto limit = R"("limit":)" + std::string(value) + "}";
        EXPECT_EQ(count("search_dictations", R"({"query":"",)" + limit), 10U) << value;
        EXPECT_EQ(count("list_dictations", "{" + limit), 20U) << value;
    }
    for (const std::string limit : {"7", "7.0", "7e0", "0.7E+1", "70e-1"})
        EXPECT_EQ(count("list_dictations", R"({"limit":)" + limit + "}"), 7U) << limit;
    EXPECT_EQ(count("list_dictations", R"({"limit":1e18})"), 45U);
    EXPECT_EQ(count("list_dictations", R"({"limit":-0.0})"), 0U);
    const std::string_view noStrings[] = {"7", "true", "null", R"(["2026-02-28T20:26:30Z"])", "{}"};
    for (const auto value : noStrings)
        for (const std::string name : {"since", "until", "mode", "cursor"}) {
            const auto arguments =
                R"({"query":"","limit":99,")" + name + "\":" + std::string(value) + "}";
            EXPECT_EQ(count("search_dictations", arguments), 45U) << arguments;
            EXPECT_EQ(count("list_dictations", arguments), 45U) << arguments;
        }
    EXPECT_EQ(count("list_dictations", R"({"limit":99,"mode":"email"})"), 45U)
        << "a list is not narrowed by mode";
    EXPECT_EQ(count("search_dictations", R"({"query":"","limit":7,"limit":3})"), 3U)
        << "of one given twice the last one counts";
    EXPECT_EQ(count("search_dictations", R"({"query":"","limit":-9223372036854775808})"), 0U);
}

TEST_F(HistoryToolsTest, timesAreInternetDateTimes) {
    struct Case {
        std::string_view since;
        std::size_t found;
    };
    // The newest is of 20:26:40.75, and 10 of 45 are of the last ten seconds.
    const Case cases[] = {
        {"2026-02-28T20:26:40Z", 1},
        {"2026-02-28T20:26:41Z", 0},
        {"2026-02-28T20:26:31Z", 10},
        {"2026-02-28T22:26:31+02:00", 10},
        {"2026-02-28T20:26:31-00:00", 10},
        {"2026-02-28T20:26:31.000Z", 45},
        {"2026-02-28T20:26:31", 45},
        {"2026-02-28", 45},
        {"2026-02-30T20:26:31Z", 45},
        {" 2026-02-28T20:26:31Z", 45},
        {"", 45},
    };
    for (const auto& c : cases) {
        const auto arguments = R"({"query":"","limit":99,"since":")" + std::string(c.since) + "\"}";
        EXPECT_EQ(count("search_dictations", arguments), c.found) << c.since;
        EXPECT_EQ(count("list_dictations", arguments), c.found) << c.since;
    }
    EXPECT_EQ(count("search_dictations", R"({"query":"","until":"2026-02-28T20:25:57Z"})"), 1U)
        << "a fraction of a second later is later";
}

} // namespace nimbe
