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

} // namespace nimbe
