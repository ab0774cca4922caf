#include <gtest/gtest.h>

#include "NimbeEngine/Text/TranscriptOutcome.h"

namespace nimbe {

TEST(TranscriptOutcome, twoLettersOrDigitsAreSomething) {
    struct Case {
        std::string_view text;
        std::string_view present; // empty: nothing said
    };
    const Case cases[] = {{"", ""}, {"  .  ", ""}, {"a", ""}, {"?", ""}, {"1", ""}, {".a!", ""},
        {"ok", "ok"}, {" a b \n", "a b"}, {"漢字", "漢字"}, {"1½", "1½"}, {"e\u0301", "e\u0301"},
        {"😀😀", ""}, {"\U0001D7D8\U0001D7D9", "\U0001D7D8\U0001D7D9"}, {"_-", ""},
        {"\u2028مرحبا\u00A0", "مرحبا"}};
    for (const auto& c : cases) {
        const auto outcome = TranscriptOutcome::classify(c.text);
        ASSERT_EQ(outcome.isEmpty(), c.present.empty()) << c.text;
        EXPECT_EQ(outcome.isEmpty() ? "" : *outcome.presentText(), c.present);
    }
}

} // namespace nimbe
