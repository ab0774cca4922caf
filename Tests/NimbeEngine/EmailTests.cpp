#include <gtest/gtest.h>

#include "NimbeEngine/Text/EmailBodyFormatter.h"
#include "NimbeEngine/Text/EmailComposer.h"

namespace nimbe {

TEST(EmailBodyFormatter, takesOffOneGreetingAndOneSignOff) {
    struct Case {
        std::string_view body;
        std::string_view stripped;
    };
    const Case cases[] = {
        {"Hi Alex, the report is late.", "The report is late."},
        {"hello: ok", "Ok"},
        {"Dear Dr. O'Neil-Müller , yes", "Yes"},
        {"hi one two three, no", "hi one two three, no"}, // three names
        {"hi abcdefghijklmnopqrstuvwxyzabcd, x", "X"},    // thirty letters
        {"hi abcdefghijklmnopqrstuvwxyzabcde, x", "hi abcdefghijklmnopqrstuvwxyzabcde, x"},
        {"high, low", "high, low"},
        {"hi there", "hi there"},
        {"Hi Agent7, x", "Hi Agent7, x"},
        {"Done.\nThanks,\nSam", "Done."},
        {"Done.\n\n  Best   regards.  \n Sam van Dyk ", "Done."},
        {"Done.\nthank you!", "Done."},
        {"Done.\nThanks,\nSam van der Dyk", "Done.\nThanks,\nSam van der Dyk"},
        {"Done.\nThanks for all", "Done.\nThanks for all"},
        {"Done. Thanks,", "Done. Thanks,"},
        {"Thanks,\nSam", "Thanks,\nSam"}, // nothing before it to sign
        {"Done.\nCheers\nMore text.", "Done.\nCheers\nMore text."},
        {" \n ", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(EmailBodyFormatter::stripGreetingAndSignOff(c.body), c.stripped) << c.body;
}

TEST(EmailComposer, nothingShowsTwice) {
    EXPECT_EQ(EmailComposer::compose("", "hi team, the report is late.\nThanks,\nSam", ""),
        "Hi,\n\nThe report is late.\n\nThanks,");
    EXPECT_EQ(EmailComposer::compose(" Zoë ", "Hi Zoë, x, one, a, and two, b.", "\nSam "),
        "Hi Zoë,\n\nX:\n\n1. A.\n2. B.\n\nThanks,\nSam");
}

} // namespace nimbe
