#include <random>
#include <span>

#include <gtest/gtest.h>

#include "Fakes/FakeMemoryRecordSource.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCP/SubstringSearch.h"

namespace nimbe {
namespace {

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += piece;
    return text;
}

/// A at 40, B at 30, … newest first.
const MemoryRecords four{
    {"A", "The Café opens at nine", Date{40}, "messaging"},
    {"B", "STRASSE, nine\tlives", Date{30}, "email"},
    {"C", "cafe\xCC\x81 au lait", Date{20}, "notes"}, // the accent apart
    {"D", "ΟΔΥΣΣΕΥΣ\nninety-nine cats", Date{10}, "coding"},
};

std::string idsOf(const std::vector<SearchHit>& hits) {
    std::string ids;
    for (const auto& hit : hits) ids += hit.id;
    return ids;
}

std::string idsOf(std::span<const MemoryRecord> records) {
    std::string ids;
    for (const auto& record : records) ids += record.id;
    return ids;
}

} // namespace

TEST(LocalHistoryBackend, everyWordOfTheQueryStandsInTheText) {
    struct Case {
        const char* why;
        std::string query;
        const char* found;
    };
    const Case cases[] = {
        {"no words: all", "", "ABCD"},
        {"white space alone is no word", " \t\n\u00A0\u2003 ", "ABCD"},
        {"upper case finds lower case", "NINE", "ABD"},
        {"lower case finds upper case", "strasse", "B"},
        {"sharp s is not spelled out", "straße", ""},
        {"part of a word", "ine", "ABD"},
        {"all words, in any order", "at nine cafés", ""},
        {"two words in one text", "nine at", "AD"},
        {"of two only one is there", "nine lait", ""},
        {"two blanks between", "  nine   lives ", "B"},
        {"split at a no-break space", "nine\u00A0lives", "B"},
        {"a word twice", "nine nine", "ABD"},
        {"a word within another", "nine ninety", "D"},
        {"an accent counts", "cafe", ""},
        {"however it is written", "café", "AC"},
        {"the last s of a Greek word", "οδυσσευς", "D"},
        {"and upper case", "ΟΔΥΣΣΕΥΣ", "D"},
        {"its first letters, which end in another s", "ΟΔΥΣ", "D"},
        {"a word does not reach into the next text", "nine strasse", "B"},
        {"no word spans a line break", "λαιτ", ""},
        {"a sign", "-", "D"},
        {"a NUL byte", std::string("ni\0ne", 5), ""},
        {"a million marks out of their order", "e" + repeated("\u0301\u0323", 500'000), ""},
        {"a very long word", repeated("nine", 100'000), ""},
        {"very many words", repeated("nine e ", 150'000), "ABD"},
    };
    FakeMemoryRecordSource source(four);
    LocalHistoryBackend backend(source);
    for (const auto& c : cases) EXPECT_EQ(idsOf(backend.search({c.query, 10})), c.found) << c.why;
}

TEST(LocalHistoryBackend, timesAndModeNarrowWhatIsFound) {
    struct Case {
        const char* why;
        MemoryQuery query;
        const char* found;
    };
    using Text = std::optional<std::string>;
    const auto none = std::nullopt;
    const Case cases[] = {
        {"since, inclusive", {"", 10, Date{30}, none, none}, "AB"},
        {"just after", {"", 10, Date{30.001}, none, none}, "A"},
        {"until, inclusive", {"", 10, none, Date{20}, none}, "CD"},
        {"just before", {"", 10, none, Date{19.999}, none}, "D"},
        {"both on one", {"", 10, Date{20}, Date{20}, none}, "C"},
        {"since later than until", {"", 10, Date{30}, Date{20}, none}, ""},
        {"between two", {"", 10, Date{21}, Date{29}, none}, ""},
        {"with words", {"nine", 10, none, Date{30}, none}, "BD"},
        {"words that are only in an older one", {"ninety", 10, Date{20}, none, none}, ""},
        {"words that are only in a newer one", {"opens", 10, none, Date{30}, none}, ""},
        {"mode", {"", 10, none, none, Text("notes")}, "C"},
        {"mode of another case", {"", 10, none, none, Text("Notes")}, ""},
        {"mode without a name", {"", 10, none, none, Text("")}, ""},
        {"mode that does not exist", {"nine", 10, none, none, Text("poems")}, ""},
        {"mode with words", {"nine", 10, none, none, Text("coding")}, "D"},
        {"the first one", {"nine", 1, none, none, none}, "A"},
        {"a limit counts what is found", {"nine", 1, none, none, Text("email")}, "B"},
        {"just all", {"", 4, none, none, none}, "ABCD"},
        {"limit 0", {"", 0, none, none, none}, ""},
        {"limit below 0", {"", -1, none, none, none}, ""},
        {"no cap", {"", INT64_MAX, none, none, none}, "ABCD"},
        {"the least limit", {"", INT64_MIN, none, none, none}, ""},
    };
    FakeMemoryRecordSource source(four);
    LocalHistoryBackend backend(source);
    for (const auto& c : cases) EXPECT_EQ(idsOf(backend.search(c.query)), c.found) << c.why;
}

TEST(LocalHistoryBackend, snippetsAreOfWholeCharacters) {
    // A family of four: seven scalars, 25 bytes, one character.
    const std::string family = "👨‍👩‍👧‍👦";
    struct Case {
        const char* why;
        std::string text;
        std::string snippet;
    };
    const Case cases[] = {
        {"199", repeated("a", 199), repeated("a", 199)},
        {"200", repeated("a", 200), repeated("a", 200)},
        {"201", repeated("a", 201), repeated("a", 200) + "…"},
        {"200 of two bytes", repeated("é", 200), repeated("é", 200)},
        {"201 of two bytes", repeated("é", 201), repeated("é", 200) + "…"},
        {"200 of 25 bytes", repeated(family, 200), repeated(family, 200)},
        {"201 of 25 bytes", repeated(family, 201), repeated(family, 200) + "…"},
        {"an accent behind the 200th", repeated("a", 200) + "\u0301",
            repeated("a", 200) + "\u0301"},
        {"and more", repeated("a", 200) + "\u0301b", repeated("a", 200) + "\u0301…"},
        {"a line break of two bytes", repeated("a", 199) + "\r\n", repeated("a", 199) + "\r\n"},
        {"and more", repeated("a", 199) + "\r\nb", repeated("a", 199) + "\r\n…"},
        {"no text", "", ""},
        {"one character of a million marks", "a" + repeated("\u0301", 1'000'000),
            "a" + repeated("\u0301", 1'000'000)},
    };
    for (const auto& c : cases) {
        FakeMemoryRecordSource source({{"A", c.text, Date{1}, "notes"}});
        LocalHistoryBackend backend(source);
        EXPECT_EQ(backend.search({"", 1}).at(0).snippet, c.snippet) << c.why;
    }
    for (const std::string character : {"é", "\r\n"})
        for (std::size_t place = 0; place < 200; ++place) {
            const auto snippet = repeated("a", place) + character + repeated("a", 199 - place);
            FakeMemoryRecordSource source({{"A", snippet + "b", Date{1}, "notes"}});
            LocalHistoryBackend backend(source);
            EXPECT_EQ(backend.search({"", 1}).at(0).snippet, snippet + "…") << place;
        }
}

TEST(LocalHistoryBackend, anIdIsOneInItsCase) {
    FakeMemoryRecordSource source(four);
    LocalHistoryBackend backend(source);
    EXPECT_EQ(backend.get("C"), four[2]);
    for (const auto* id : {"c", "", "AB", "C "}) EXPECT_EQ(backend.get(id), std::nullopt) << id;
    source.set({});
    EXPECT_EQ(backend.get("C"), std::nullopt) << "nothing there";
    MemoryRecords many;
    for (int i = 0; i < 1000; ++i) many.push_back({std::to_string(i), "", Date{1.0 - i}, "notes"});
    source.set(many);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(backend.get(std::to_string(i)), many[static_cast<std::size_t>(i)]);
        EXPECT_EQ(backend.get(std::to_string(i + 1000)), std::nullopt);
    }
    source.set({{"C", "first", Date{2}, "notes"}, {"C", "second", Date{1}, "notes"}});
    EXPECT_EQ(backend.get("C")->text, "first");
}

TEST(LocalHistoryBackend, pagesFollowEachOther) {
    MemoryRecords many;
    for (int i = 0; i < 45; ++i) many.push_back({std::to_string(i), "", Date{100.0 - i}, "notes"});
    FakeMemoryRecordSource source(many);
    LocalHistoryBackend backend(source);
    struct Case {
        const char* why;
        std::int64_t limit;
        std::optional<std::string_view> cursor;
        std::size_t begin;
        std::size_t end;
        std::optional<std::string> next;
    };
    const auto none = std::nullopt;
    const Case cases[] = {
        {"first", 20, none, 0, 20, "20"},
        {"second", 20, "20", 20, 40, "40"},
        {"last", 20, "40", 40, 45, none},
        {"just all", 45, none, 0, 45, none},
        {"all but one", 44, none, 0, 44, "44"},
        {"more than there are", 46, none, 0, 45, none},
        {"the largest limit from the largest cursor", INT64_MAX, "9223372036854775807", 45, 45,
            none},
        {"at the end", 20, "45", 45, 45, none},
        {"beyond", 20, "46", 45, 45, none},
        {"limit 0 stays where it is", 0, "3", 3, 3, "3"},
        {"limit 0 at the end", 0, "45", 45, 45, none},
        {"limit below 0", -5, none, 0, 0, "0"},
        {"with a sign", 1, "+7", 7, 8, "8"},
        {"below 0", 1, "-7", 0, 1, "1"},
        {"with zeros", 1, "007", 7, 8, "8"},
        {"too large for 64 bits", 1, "9223372036854775808", 0, 1, "1"},
        {"too small", 1, "-9223372036854775809", 0, 1, "1"},
        {"empty", 1, "", 0, 1, "1"},
        {"a sign alone", 1, "+", 0, 1, "1"},
        {"two signs", 1, "+-7", 0, 1, "1"},
        {"two plus signs", 1, "++7", 0, 1, "1"},
        {"a blank before", 1, " 7", 0, 1, "1"},
        {"a blank behind", 1, "7 ", 0, 1, "1"},
        {"a fraction", 1, "7.0", 0, 1, "1"},
        {"hexadecimal", 1, "0x7", 0, 1, "1"},
        {"digits of another script", 1, "٧", 0, 1, "1"},
    };
    for (const auto& c : cases) {
        const auto page = backend.list(c.limit, c.cursor, none, none);
        const MemoryRecords expected(many.begin() + static_cast<std::ptrdiff_t>(c.begin),
            many.begin() + static_cast<std::ptrdiff_t>(c.end));
        EXPECT_EQ(MemoryRecords(page.records.begin(), page.records.end()), expected) << c.why;
        EXPECT_EQ(page.nextCursor, c.next) << c.why;
    }
    // 10 to 14 are of these times: the cursor counts from the newest of them.
    const auto page = backend.list(3, "1", Date{86}, Date{90});
    EXPECT_EQ(idsOf(page.records), "111213");
    EXPECT_EQ(page.nextCursor, "4");
    EXPECT_EQ(backend.list(3, "1", Date{90}, Date{86}).nextCursor, none) << "none of that time";
}

TEST(LocalHistoryBackend, whatChangesIsSeenAtTheNextCall) {
    FakeMemoryRecordSource source(four);
    LocalHistoryBackend backend(source);
    EXPECT_EQ(idsOf(backend.search({"nine", 10})), "ABD");
    EXPECT_TRUE(backend.get("A"));
    const auto earlier = backend.list(9, std::nullopt, std::nullopt, std::nullopt);
    source.set({{"E", "nine again", Date{50}, "notes"}, four[1]});
    EXPECT_EQ(idsOf(backend.search({"nine", 10})), "EB");
    EXPECT_FALSE(backend.get("A"));
    EXPECT_TRUE(backend.get("E"));
    EXPECT_EQ(idsOf(earlier.records), "ABCD") << "a page stays as it was";
    EXPECT_EQ(idsOf(backend.list(9, std::nullopt, std::nullopt, std::nullopt).records), "EB");
}

TEST(SubstringSearch, findsWhatAPlainSearchFinds) {
    std::mt19937 random(7);
    const auto letters = [&](std::size_t size) {
        std::string text(size, ' ');
        for (char& c : text) c = static_cast<char>('a' + random() % 3);
        return text;
    };
    for (int round = 0; round < 20'000; ++round) {
        const auto text = letters(random() % 300);
        const auto needle = letters(1 + random() % (round % 2 == 0 ? 8 : 80));
        const std::size_t from = random() % (text.size() + 1);
        ASSERT_EQ(SubstringSearch(needle).find(text, from), text.find(needle, from))
            << text << " " << needle << " " << from;
    }
    // At every place around the ends of a block.
    for (std::size_t at = 0; at < 200; ++at) {
        std::string text(200, '-');
        text.insert(at, "needle");
        ASSERT_EQ(SubstringSearch("needle").find(text, 0), at);
    }
}

} // namespace nimbe
