#include <map>

#include <gtest/gtest.h>

#include "PlatformStorage/DataFolders.h"

namespace nimbe {

TEST(DataFolders, followTheEnvironment) {
    using Environment = std::map<std::string, std::string>;
    struct Case {
        const char* why;
        Environment environment;
        const char* data;
        const char* cache;
        const char* config;
        const char* commonConfig;
    };
    const Case cases[] = {
        {"defaults below the home", {{"HOME", "/h"}}, "/h/.local/share/nimbe", "/h/.cache/nimbe",
            "/h/.config", "/h/.config"},
        {"the XDG folders beat the home",
            {{"HOME", "/h"}, {"XDG_DATA_HOME", "/d"}, {"XDG_CACHE_HOME", "/c"}}, "/d/nimbe",
            "/c/nimbe", "/h/.config", "/h/.config"},
        {"relative and empty ones are unset",
            {{"HOME", "/h"}, {"XDG_DATA_HOME", "d"}, {"XDG_CACHE_HOME", ""}},
            "/h/.local/share/nimbe", "/h/.cache/nimbe", "/h/.config", "/h/.config"},
        {"the portable folder beats all",
            {{"HOME", "/h"}, {"XDG_DATA_HOME", "/d"}, {"NIMBE_HOME", "/n"}}, "/n/data", "/n/cache",
            "/n/config", "/h/.config"},
        {"a home is not needed when all is set",
            {{"XDG_DATA_HOME", "/d"}, {"XDG_CACHE_HOME", "/c"}, {"XDG_CONFIG_HOME", "/x"}},
            "/d/nimbe", "/c/nimbe", "/x", "/x"},
    };
    const auto lookUp = [](const Environment& environment) {
        return [&environment](const char* name) -> std::optional<std::string> {
            const auto found = environment.find(name);
            return found == environment.end() ? std::nullopt : std::optional(found->second);
        };
    };
    for (const auto& c : cases) {
        const auto folders = DataFolders::find(lookUp(c.environment));
        ASSERT_TRUE(folders) << c.why;
        EXPECT_EQ(folders->data, c.data) << c.why;
        EXPECT_EQ(folders->cache, c.cache) << c.why;
        EXPECT_EQ(folders->config, c.config) << c.why;
        EXPECT_EQ(DataFolders::commonConfig(lookUp(c.environment)), c.commonConfig) << c.why;
    }
    EXPECT_FALSE(DataFolders::find(lookUp({{"XDG_DATA_HOME", "/d"}})));
    EXPECT_FALSE(DataFolders::commonConfig(lookUp({{"NIMBE_HOME", "/n"}})));
}

} // namespace nimbe
