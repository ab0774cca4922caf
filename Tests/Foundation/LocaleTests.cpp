#include <cstdlib>

#include <gtest/gtest.h>

#include "Foundation/Locale.h"

namespace nimbe {

TEST(Locale, isTheFirstThatTheEnvironmentNames) {
    struct Case {
        const char* all;
        const char* time;
        const char* language;
        const char* forTime;
        const char* forText;
    };
    const Case cases[] = {
        {nullptr, "de_DE.UTF-8", "en_GB.UTF-8", "de_DE", "en_GB"},
        {"fr_FR@euro", "de_DE", "en_GB", "fr_FR", "fr_FR"},
        {"", "", "en_GB", "en_GB", "en_GB"},
        {nullptr, nullptr, nullptr, "en_US_POSIX", "en_US_POSIX"},
        {"C.UTF-8", "de_DE", "en_GB", "en_US_POSIX", "en_US_POSIX"},
        {nullptr, "POSIX", "de_DE", "en_US_POSIX", "de_DE"},
    };
    const auto set = [](const char* name, const char* value) {
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    };
    ::unsetenv("LC_CTYPE");
    for (const auto& c : cases) {
        set("LC_ALL", c.all);
        set("LC_TIME", c.time);
        set("LANG", c.language);
        EXPECT_EQ(Locale::forTime().identifier, c.forTime);
        EXPECT_EQ(Locale::forText().identifier, c.forText);
    }
}

} // namespace nimbe
