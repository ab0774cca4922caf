#include <fstream>

#include <gtest/gtest.h>

#include "PlatformSpeech/SpeechVocabulary.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

SpeechVocabulary vocabulary(const std::string& content) {
    const TemporaryFolder folder;
    const auto file = folder.path / "tokens.txt";
    std::ofstream(file, std::ios::binary) << content;
    return SpeechVocabulary(file);
}

} // namespace

TEST(SpeechVocabulary, tokensAreJoinedAsBytes) {
    // "", "▁a", "b", the two bytes of "é", "▁"
    const auto words = vocabulary("\ne2968161\n62\nc3\na9\ne29681\n");
    struct Case {
        const char* why;
        SpeechTokens tokens;
        const char* expected;
    };
    const Case cases[] = {
        {"nothing", {}, ""},
        {"no space at the ends", {5, 1, 2, 1, 5}, "ab a"},
        {"a character of two tokens", {1, 3, 4}, "aé"},
        {"half a character", {1, 3, 2}, "a\uFFFDb"},
        {"a token without text", {2, 0, 2}, "bb"},
        {"unknown tokens", {2, 6, -1, 40000, 2}, "bb"},
    };
    for (const auto& c : cases) EXPECT_EQ(words.text(c.tokens), c.expected) << c.why;
}

TEST(SpeechVocabulary, damagedFilesAreRefused) {
    for (const char* content : {"", "6", "6x\n", "zz\n", "61\n6 1\n", "61\r\n"})
        EXPECT_THROW((void)vocabulary(content), std::runtime_error) << content;
    EXPECT_THROW(SpeechVocabulary("/no/such/file"), std::runtime_error);
}

} // namespace nimbe
