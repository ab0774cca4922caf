#include <gtest/gtest.h>

#include "Fakes/MemoryUserDefaults.h"
#include "NimbeSync/HistorySyncPrompt.h"
#include "NimbeSync/PrivacySettings.h"

namespace nimbe {
namespace {

/// A disk that is full when it comes to one of the values.
struct FullAt final : UserDefaults {
    MemoryUserDefaults real;
    std::string refused;

    [[nodiscard]] Result<std::optional<Value>, DefaultsError> value(std::string_view key) override {
        return real.value(key);
    }
    [[nodiscard]] bool setValue(std::string_view key, Value value) override {
        return key != refused && real.setValue(key, std::move(value));
    }
    [[nodiscard]] bool removeValue(std::string_view key) override { return real.removeValue(key); }
    [[nodiscard]] bool moveValue(std::string_view key, std::string_view newKey) override {
        return real.moveValue(key, newKey);
    }
    [[nodiscard]] bool transaction(const std::function<bool()>& body) override {
        return real.transaction(body);
    }
};

std::string text(UserDefaults& defaults, const char* key) {
    return defaults.get(Setting<std::string>{key, "absent"});
}
bool flag(UserDefaults& defaults, const char* key) {
    return defaults.get(Setting<bool>{key, false});
}

} // namespace

TEST(PrivacySettings, onlyLocalOnlyItselfIsThat) {
    MemoryUserDefaults defaults;
    PrivacySettings settings(defaults);
    EXPECT_EQ(settings.mode(), PrivacyMode::privateICloudSync) << "absent";
    EXPECT_TRUE(settings.setMode(PrivacyMode::localOnly));
    EXPECT_EQ(text(defaults, "privacyMode"), "localOnly");
    EXPECT_EQ(settings.mode(), PrivacyMode::localOnly);
    for (const UserDefaults::Value& odd :
        {UserDefaults::Value(std::string("LocalOnly")), UserDefaults::Value(true)}) {
        EXPECT_TRUE(defaults.setValue("privacyMode", odd));
        EXPECT_EQ(settings.mode(), PrivacyMode::privateICloudSync);
    }
}

TEST(HistorySyncPrompt, isPutOnceAndAcceptedAsAWhole) {
    FullAt defaults;
    HistorySyncPrompt prompt(defaults);
    EXPECT_TRUE(defaults.setValue("privacyMode", std::string("localOnly")));

    for (const char* refused : {"privacyMode", "historyEnabled", "historySyncPrompted"}) {
        defaults.refused = refused;
        EXPECT_FALSE(prompt.accept()) << refused;
        EXPECT_TRUE(prompt.isOffered()) << refused;
        EXPECT_FALSE(flag(defaults, "historyEnabled")) << refused;
        EXPECT_EQ(text(defaults, "privacyMode"), "localOnly") << refused;
    }

    defaults.refused.clear();
    EXPECT_TRUE(prompt.dismiss());
    EXPECT_FALSE(prompt.isOffered());
    EXPECT_EQ(text(defaults, "privacyMode"), "localOnly");
    EXPECT_FALSE(flag(defaults, "historyEnabled"));

    EXPECT_TRUE(defaults.removeValue("historySyncPrompted"));
    EXPECT_TRUE(prompt.accept());
    EXPECT_FALSE(prompt.isOffered());
    EXPECT_EQ(text(defaults, "privacyMode"), "privateICloudSync");
    EXPECT_TRUE(flag(defaults, "historyEnabled"));
    EXPECT_TRUE(flag(defaults, "historySyncPrompted"));
}

} // namespace nimbe
