#include <cmath>
#include <map>

#include <gtest/gtest.h>

#include "NimbeKitCore/History/HistoryFilter.h"
#include "NimbeKitCore/History/SemanticIndex.h"

namespace nimbe {
namespace {

DictationEntry entryAt(Seconds time, std::string text) {
    return {UUID::random(), std::move(text), Date{time}, DictationMode::notes};
}

std::vector<std::string> texts(const std::vector<DictationEntry>& entries) {
    std::vector<std::string> result;
    for (const auto& entry : entries) result.push_back(entry.text);
    return result;
}

/// Vectors by text; none for any other.
class FakeTextEmbedder final : public TextEmbedder {
public:
    std::map<std::string, std::vector<double>, std::less<>> vectors;

    std::optional<std::vector<double>> vector(std::string_view text) override {
        const auto found = vectors.find(text);
        if (found == vectors.end()) return std::nullopt;
        return found->second;
    }
};

using Texts = std::vector<std::string>;

} // namespace

TEST(HistoryFilter, findsThePieceWhateverItsCase) {
    struct Case {
        const char* why;
        const char* query;
        const char* text;
        const char* locale;
        bool isFound;
    };
    const Case cases[] = {
        {"upper in lower", "HELLO", "well, hello there", "en_US", true},
        {"trimmed", " \n hello\xE2\x80\xA8", "hello", "en_US", true},
        {"one piece, not words", "hello there", "there, hello", "en_US", false},
        {"inner spaces count", "a  b", "a b", "en_US", false},
        {"blank is no query", " \n\t", "anything", "en_US", true},
        {"accents count", "cafe", "café", "en_US", false},
        {"and have two spellings", "CAFE\xCC\x81", "café", "en_US", true},
        {"folding changes the length", "STRASSE", "Straße", "de_DE", true},
        {"final sigma", "ΟΔΟΣ", "οδος", "el_GR", true},
        {"Cyrillic", "ПРИВЕТ", "привет, мир", "ru_RU", true},
        {"dotted i in Turkish", "istanbul", "İSTANBUL", "tr_TR", true},
        {"dotless i in Turkish", "ISPARTA", "ısparta", "tr_TR", true},
        {"and they are two letters", "ISPARTA", "isparta", "tr_TR", false},
        {"but one elsewhere", "ISPARTA", "isparta", "en_US", true},
        {"no pattern", "a.c", "abc", "en_US", false},
        {"emoji", "👩‍🚀", "to the moon 👩‍🚀!", "en_US", true},
        {"not UTF-8", "\xFF", "x\xFFy", "en_US", true},
    };
    for (const auto& c : cases) {
        const auto found = HistoryFilter::matching(c.query, {entryAt(0, c.text)}, {c.locale});
        EXPECT_EQ(found.size(), c.isFound ? 1U : 0U) << c.why;
    }
    const std::vector entries{entryAt(1, "one a"), entryAt(9, "two b"), entryAt(5, "three a")};
    EXPECT_EQ(texts(HistoryFilter::matching("A", entries, {"en_US"})), (Texts{"one a", "three a"}));
}

TEST(SemanticIndex, keywordsComeFirstThenWhatIsCloseEnough) {
    FakeTextEmbedder embedder;
    embedder.vectors = {
        {"car", {1, 0}},
        {"a far car", {-1, 0}},
        {"old car", {0.6, 0.8}},
        {"new car", {3, 4}}, // the same direction
        {"automobile", {2, 0.1}},
        {"at the threshold", {3, std::sqrt(91.0)}},
        {"below it", {0.29, std::sqrt(1 - 0.29 * 0.29)}},
        {"longer", {1, 0, 0}},
        {"nowhere", {0, 0}},
        {"empty", {}},
    };
    const std::vector entries{entryAt(1, "old car"), entryAt(3, "a far car"), entryAt(2, "new car"),
        entryAt(5, "at the threshold"), entryAt(4, "automobile"), entryAt(9, "below it"),
        entryAt(9, "longer"), entryAt(9, "nowhere"), entryAt(9, "empty"), entryAt(9, "unknown")};
    SemanticIndex index(embedder, {"en_US"});
    const Texts all{"new car", "old car", "a far car", "automobile", "at the threshold"};
    EXPECT_EQ(texts(index.ranked(" car\n", entries)), all);
    EXPECT_EQ(texts(index.ranked("car", entries, 2)), (Texts{"new car", "old car"}));
    EXPECT_EQ(index.ranked("car", entries, 0).size(), 0U);
    EXPECT_EQ(index.ranked("car", entries, 99).size(), 5U);

    EXPECT_EQ(index.ranked(" ", entries), entries);
    EXPECT_EQ(texts(index.ranked("", entries, 2)), (Texts{"old car", "a far car"}));
    EXPECT_EQ(texts(index.ranked("CAR", entries)), (Texts{"a far car", "new car", "old car"}))
        << "no vector for the query: by keyword alone, newest first";
}

} // namespace nimbe
