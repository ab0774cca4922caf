#include <sstream>

#include <gtest/gtest.h>

#include "Foundation/Text.h"
#include "NimbeShell/ProgressBar.h"

namespace nimbe {

// A line that breaks is not drawn over, but again and again below.
TEST(ProgressBar, aBarStaysOnItsLine) {
    struct Case {
        const char* name;
        int columns;
        const char* expected; // at half of it
    };
    const Case cases[] = {
        {"tiny", 80, "tiny [####################                    ] 50 %, 1:00:00 of 2:00:00"},
        {"a name of 20 letters", 80,
            "a name of 20 letters [###############               ] 50 %, 1:00:00 of 2:00:00"},
        {"tiny", 45, "tiny [#####      ] 50 %, 1:00:00 of 2:00:00"},
        {"tiny", 40, "tiny 50 %, 1:00:00 of 2:00:00"},
        {"a name of 20 letters", 40, "a name of 20… 50 %, 1:00:00 of 2:00:00"},
        {"tiny", 20, "50 %, 1:00:00 of 2…"},
    };
    for (const auto& c : cases) {
        std::ostringstream output;
        ProgressBar bar(output, c.name, ProgressBar::Form::bar, c.columns);
        bar.show(0.5, "1:00:00 of 2:00:00");
        EXPECT_EQ(output.str(), "\r" + std::string(c.expected) + "\x1B[K\n") << c.columns;
        EXPECT_LT(text::characterCount(c.expected), static_cast<std::size_t>(c.columns));
    }
}

} // namespace nimbe
