#include <gtest/gtest.h>

#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

TEST(DictationMode, rawValuesAreTheStoredFormAndNothingElseIsRead) {
    std::string all;
    for (const auto mode : allDictationModes) {
        EXPECT_EQ(dictationMode(rawValue(mode)), mode);
        all.append(rawValue(mode)).append(" ");
    }
    EXPECT_EQ(all, "messaging email notes coding ");
    for (const auto* raw : {"", "Email", "email ", "note"}) EXPECT_FALSE(dictationMode(raw)) << raw;
}

} // namespace nimbe
