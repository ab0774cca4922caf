#include <gtest/gtest.h>

#include "NimbeKitCore/UpdateManifest.h"

namespace nimbe {

TEST(UpdateManifest, whatIsPublishedIsRead) {
    struct Case {
        const char* why;
        std::string json;
        std::optional<UpdateManifest> expected;
    };
    const Case cases[] = {
        {"the least", R"({"version":"1.2","build":"7"})", {{"1.2", "7"}}},
        {"all, and more", R"( {"notes":"né","x":[1],"uploadedAt":"t","build":"","version":""} )",
            {{"", "", "t", "né"}}},
        {"null is absent", R"({"version":"1","build":"7","notes":null,"uploadedAt":null})",
            {{"1", "7"}}},
        {"the last one counts", R"({"version":"1","build":"7","build":"8"})", {{"1", "8"}}},
        {"no version", R"({"build":"7"})", {}},
        {"no build", R"({"version":"1.2"})", {}},
        {"a null build", R"({"version":"1.2","build":null})", {}},
        {"a build that is a number", R"({"version":"1.2","build":7})", {}},
        {"notes that are a list", R"({"version":"1","build":"7","notes":[]})", {}},
        {"a moment that is a number", R"({"version":"1","build":"7","uploadedAt":1})", {}},
        {"an array", R"([{"version":"1","build":"7"}])", {}},
        {"cut off", R"({"version":"1","build":"7")", {}},
        {"something behind it", R"({"version":"1","build":"7"}{})", {}},
        {"not UTF-8", "{\"version\":\"\xFF\",\"build\":\"7\"}", {}},
        {"a page", "<html>", {}},
        {"nothing", "", {}},
    };
    for (const auto& c : cases) {
        const auto manifest = UpdateManifest::decode(c.json);
        EXPECT_EQ(manifest, c.expected) << c.why;
        if (!manifest) continue;
        EXPECT_EQ(UpdateManifest::decode(manifest->encode()), manifest) << c.why;
    }
    EXPECT_EQ((UpdateManifest{"1", "7"}.encode()), R"({"version":"1","build":"7"})");
}

TEST(UpdateManifest, onlyAGreaterBuildNumberIsNewer) {
    struct Case {
        const char* build;
        const char* running;
        bool isNewer;
    };
    const Case cases[] = {
        {"8", "7", true}, {"7", "7", false}, {"7", "8", false}, {"10", "9", true},
        {"010", "9", true}, {"+8", "7", true}, {"8", "+7", true}, {"0", "-1", true},
        {"-0", "0", false}, {"-1", "-2", true},
        {"9223372036854775807", "9223372036854775806", true},
        {"9223372036854775807", "-9223372036854775808", true}, {"9223372036854775808", "1", false},
        {"1", "-9223372036854775809", false}, {"8", "", false}, {"", "7", false}, {"8", "?", false},
        {"8.1", "7", false}, {" 8", "7", false}, {"8 ", "7", false}, {"8\n", "7", false},
        {"0x8", "7", false}, {"8e1", "7", false}, {"+-8", "-9", false}, {"++8", "7", false},
        {"+", "-1", false}, {"-", "-1", false}, {"\xD9\xA8", "7", false}, // an Arabic digit
    };
    for (const auto& c : cases)
        EXPECT_EQ((UpdateManifest{"1", c.build}.isNewer(c.running)), c.isNewer)
            << c.build << " against " << c.running;
}

TEST(UpdateManifest, aBuildIsShownWithWhatIsKnownOfIt) {
    EXPECT_EQ((BuildStamp{"1.2", "120"}.displayText()), "Nimbe 1.2 (120)");
    EXPECT_EQ((BuildStamp{"1.2", {}}.displayText()), "Nimbe 1.2 (?)");
    EXPECT_EQ((BuildStamp{{}, "120"}.displayText()), "Nimbe ? (120)");
}

} // namespace nimbe
