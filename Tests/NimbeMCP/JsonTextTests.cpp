#include <random>

#include <gtest/gtest.h>

#include "Foundation/Json.h"
#include "NimbeMCP/JsonText.h"

namespace nimbe {

TEST(JsonText, whatIsQuotedReadsBackWhereverAnEscapeStands) {
    for (const char c : {'\x01', '\x1F', '\n', '"', '\\'})
        for (std::size_t place = 0; place < 38; ++place) {
            std::string text = "the pipes under the floor have to go, é 😀";
            text[place] = c;
            std::string quoted;
            jsonText::appendQuoted(quoted, text);
            const auto json = Json::parse(quoted);
            ASSERT_TRUE(json) << quoted;
            EXPECT_EQ(*json->asString(), text);
        }
}

TEST(JsonText, escapingTwiceAtOnceIsQuotingTwice) {
    const auto expectSame = [](const std::string& text) {
        std::string once;
        jsonText::appendQuoted(once, text);
        std::string twice;
        jsonText::appendQuoted(twice, once);
        std::string atOnce = R"("\")";
        jsonText::appendEscapedTwice(atOnce, text);
        EXPECT_EQ(atOnce + R"(\"")", twice);
    };
    const std::string around = "the pipes under the floor have to go";
    for (int byte = 0; byte < 256; ++byte)
        for (std::size_t size = 0; size <= around.size(); ++size) {
            const std::string text = around.substr(0, size) + static_cast<char>(byte);
            expectSame(text);
            expectSame(text + around);
        }
    std::mt19937 random(11);
    const std::string_view pieces[] = {"a", "room by room", "é", "\xE2\x80\xA8", "😀", "\"", "\\",
        "\\u0022", "\n", "\x01", {"\0", 1}, "\x7F"};
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (auto count = random() % 40; count > 0; --count)
            text += pieces[random() % std::size(pieces)];
        expectSame(text);
    }
}

} // namespace nimbe
