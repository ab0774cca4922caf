#include <set>

#include <gtest/gtest.h>

#include "Foundation/UUID.h"

namespace nimbe {

TEST(UUID, textIsUpperCaseAndEitherCaseIsRead) {
    const auto lower = UUID::parse("4f1c09ab-0123-4567-89ab-cdef01234567");
    ASSERT_TRUE(lower);
    EXPECT_EQ(lower->text(), "4F1C09AB-0123-4567-89AB-CDEF01234567");
    EXPECT_EQ(UUID::parse(lower->text()), lower);
}

TEST(UUID, refusesOtherForms) {
    const std::string_view cases[] = {"", "4F1C09AB-0123-4567-89AB-CDEF0123456",
        "4F1C09AB-0123-4567-89AB-CDEF012345678", "4F1C09AB0123-4567-89AB-CDEF012345678",
        "4F1C09AG-0123-4567-89AB-CDEF01234567", "{F1C09AB-0123-4567-89AB-CDEF0123456}",
        "4F1C09AB-0123-4567-89AB_CDEF01234567", " F1C09AB-0123-4567-89AB-CDEF01234567"};
    for (const auto text : cases) EXPECT_FALSE(UUID::parse(text)) << text;
}

TEST(UUID, randomOnesAreOfVersionFourAndDiffer) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const auto text = UUID::random().text();
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 1000U);
}

} // namespace nimbe
