#include <gtest/gtest.h>

#include "Fakes/FakeSpeechModels.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeEngine/Speech/SpeechModelAssets.h"
#include "NimbeEngine/Speech/SpeechModelProbe.h"

namespace nimbe {

using Status = SpeechAssets::Status;

TEST(SpeechModelProbe, messageOfEachState) {
    const std::string notInstalled =
        "The on-device speech model isn't installed yet and can't be prepared right now.";
    const std::string notSupported = "On-device dictation needs an iPhone with Apple Intelligence. "
                                     "It isn't available in this environment.";
    struct Case {
        SpeechModelProbe probe;
        std::string expected; // empty: none
    };
    const Case cases[] = {
        {{.supported = false, .installed = true, .installable = false}, ""},
        {{.supported = true, .installed = false, .installable = true}, ""},
        {{.supported = true, .installed = false, .installable = false}, notInstalled},
        {{.supported = false, .installed = false, .installable = true}, notSupported},
        {{}, notSupported},
    };
    for (const auto& c : cases) EXPECT_EQ(c.probe.message().value_or(""), c.expected);

    using Readiness = ModelReadiness;
    struct StatusCase {
        Status status;
        Readiness::Value expected;
    };
    const StatusCase statusCases[] = {
        {Status::installed, Readiness::Proceed{}},
        {Status::supported, Readiness::AwaitInstall{}},
        {Status::downloading, Readiness::AwaitInstall{}},
        {Status::unsupported, Readiness::Unavailable{notSupported}},
        {Status::unknown, Readiness::Unavailable{notInstalled}},
    };
    for (const auto& c : statusCases) {
        EXPECT_EQ(Readiness::of(c.status), c.expected);
        EXPECT_EQ(Readiness::of(c.status, true), Readiness::Value(Readiness::Proceed{}));
    }
}

TEST(SpeechModelAssets, aModelIsItsLanguageInEveryRegion) {
    ManualMainActor actor;
    FakeSpeechModels models;
    const auto& model = *SpeechModel::named("base");
    SpeechModelAssets assets(models, model, "https://models.example");
    for (const char* locale : {"en", "en-US", "en-GB", "EN_au", "en-Latn-IN"})
        EXPECT_EQ(assets.supportedLocale(locale), "en-US") << locale;
    for (const char* locale : {"", "de-DE", "eng", "e", "-en"})
        EXPECT_EQ(assets.supportedLocale(locale), std::nullopt) << locale;

    EXPECT_EQ(assets.status("en-US"), Status::supported);
    EXPECT_EQ(assets.status("fr"), Status::unsupported);
    EXPECT_EQ(SpeechModelAssets(models, model, "").status("en-US"), Status::unknown)
        << "it can be had from nowhere";
    EXPECT_TRUE(assets.installedLocales().empty());
    models.places["base"] = {"/models/base", false};
    EXPECT_EQ(assets.status("en-US"), Status::installed);
    EXPECT_EQ(assets.installedLocales(), std::vector<std::string>{"en-US"});
    EXPECT_EQ(assets.folder(), "/models/base");

    EXPECT_TRUE(assets.reserve("en-US"));
    EXPECT_FALSE(assets.reserve("en-GB"));
}

} // namespace nimbe
