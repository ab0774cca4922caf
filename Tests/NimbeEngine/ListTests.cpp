#include <gtest/gtest.h>

#include "NimbeEngine/Text/BulletReflow.h"
#include "NimbeEngine/Text/SpokenStructure.h"

namespace nimbe {

TEST(BulletReflow, putsMarkersOnLinesOfTheirOwn) {
    struct Case {
        std::string_view text;
        std::string_view reflowed;
    };
    const Case cases[] = {
        {"- a. - b", "- a.\n- b"},
        {" - - a; - b: - - c \n", "- a;\n- b:\n- c"},
        {"- a - b", "- a - b"}, // no punctuation before the second
        {"- a.\n\n  - b", "- a.\n- b"},
        {"1) a. 2) b", "1. a.\n2. b"},
        {"3. a! 4. b? 12) c", "3. a!\n4. b?\n12. c"},
        {"1. a\n 2) b", "1. a\n2. b"},
        {"1. at 3.50 p.m. 2. b", "1. at 3.50 p.m.\n2. b"},
        {"Intro text - a - b", "Intro text - a - b"},
        {" Intro. - a \n", " Intro. - a \n"}, // as given, untrimmed
        {"-a. -b", "-a. -b"},
        {"1.5 is a number. 2. b", "1.5 is a number. 2. b"},
        {"", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(BulletReflow::reflow(c.text), c.reflowed) << c.text;
}

TEST(SpokenStructure, mendsDollarRangesBehindBetweenOnly) {
    struct Case {
        std::string_view text;
        std::string_view fixed;
    };
    const Case cases[] = {
        {"between $0.25,000", "between $0 and $25,000"},
        {"Between  $10.1,250,000 now", "Between  $10 and $1,250,000 now"},
        {"between $3.50", "between $3.50"},
        {"between $0.25,00", "between $0.25,00"},
        {"for $0.25,000", "for $0.25,000"},
        {"inbetween $0.25,000", "inbetween $0.25,000"},
        {"between $1.2,000 and between $3.4,000",
            "between $1 and $2,000 and between $3 and $4,000"},
    };
    for (const auto& c : cases) EXPECT_EQ(fixDollarRanges(c.text), c.fixed) << c.text;
}

TEST(SpokenStructure, listsTheFirstSpokenEnumeration) {
    struct Case {
        std::string_view text;
        std::string_view listed;
    };
    const Case cases[] = {
        {"We need three things, one, the budget, and two, a venue, and three, catering. Thanks.",
            "We need three things:\n\n1. The budget.\n2. A venue.\n3. Catering.\n\nThanks."},
        {"Hello. Two points: one, a, and two, b?", "Hello.\n\nTwo points:\n\n1. A.\n2. B."},
        {"I say one, it costs 3.50, and two, it works.",
            "I say:\n\n1. It costs 3.50.\n2. It works."},
        {"so one, élan, and two, 2 ßs.", "so:\n\n1. Élan.\n2. 2 SSs."},
        {"so one, why?, and two, Go.", "so:\n\n1. Why?\n2. Go."},
        {"a one, b, and two, c. d one, e, and two, f.",
            "a:\n\n1. B.\n2. C.\n\nd one, e, and two, f."}, // the first only
        {"  a\n\n\n\nb.\n\n\nc one, d, and two, e.  ", "a\n\nb.\n\nc:\n\n1. D.\n2. E."},
        {"One, a, and two, b.", "One, a, and two, b."},
        {"x, One, a, and two, b.", "x, One, a, and two, b."},
        {"x, one, a, two, b.", "x, one, a, two, b."},
        {"x, one, a, and two, b", "x, one, a, and two, b"},
        {"x, one, a\n, and two, b.", "x, one, a\n, and two, b."},
    };
    for (const auto& c : cases) EXPECT_EQ(formatEnumerations(c.text), c.listed) << c.text;
}

TEST(SpokenStructure, mendsBeforeItLists) {
    EXPECT_EQ(formatSpokenStructure("x, one, between $0.25,000, and two, b."),
        "x:\n\n1. Between $0 and $25,000.\n2. B.");
}

} // namespace nimbe
