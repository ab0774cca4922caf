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
    SpeechModelAssets assets(actor, models, model, "https://models.example");
    for (const char* locale : {"en", "en-US", "en-GB", "EN_au", "en-Latn-IN"})
        EXPECT_EQ(assets.supportedLocale(locale), "en-US") << locale;
    for (const char* locale : {"", "de-DE", "eng", "e", "-en"})
        EXPECT_EQ(assets.supportedLocale(locale), std::nullopt) << locale;

    EXPECT_EQ(assets.status("en-US"), Status::supported);
    EXPECT_EQ(assets.status("fr"), Status::unsupported);
    EXPECT_EQ(SpeechModelAssets(actor, models, model, "").status("en-US"), Status::unknown)
        << "it can be had from nowhere";
    EXPECT_TRUE(assets.installedLocales().empty());
    models.places["base"] = {"/models/base", false};
    EXPECT_EQ(assets.status("en-US"), Status::installed);
    EXPECT_EQ(assets.installedLocales(), std::vector<std::string>{"en-US"});
    EXPECT_EQ(assets.folder(), "/models/base");

    EXPECT_TRUE(assets.reserve("en-US"));
    EXPECT_FALSE(assets.reserve("en-GB"));
}

namespace {

Task<void> download(SpeechModelAssets& assets, std::vector<double>& parts,
    std::optional<Result<void, std::string>>& outcome) {
    auto downloading =
        assets.downloadAndInstall("en-US", [&](double part) { parts.push_back(part); });
    outcome = co_await downloading;
}

} // namespace

TEST(SpeechModelAssets, whoAsksDuringADownloadWaitsForItsEnd) {
    ManualMainActor actor;
    FakeSpeechModels models;
    SpeechModelAssets assets(actor, models, *SpeechModel::named("base"), "https://models.example");
    struct Asker {
        std::vector<double> parts;
        std::optional<Result<void, std::string>> outcome;
        TaskHandle task;
    } first, second;
    const auto ask = [&](Asker& asker) {
        asker.task = startTask(actor, download(assets, asker.parts, asker.outcome));
        actor.runPosted();
    };
    ask(first); // hangs
    ask(second);
    EXPECT_EQ(assets.status("en-US"), Status::downloading);
    EXPECT_EQ(models.asked.size(), 1U) << "it was begun twice";
    first.task.reset();
    actor.runPosted();
    ASSERT_TRUE(second.outcome) << "the download that it waited for was given up";
    EXPECT_FALSE(*second.outcome);
    EXPECT_EQ(assets.status("en-US"), Status::supported);

    models.progress = {SpeechModel::named("base")->bytes() / 2};
    models.installations.emplace_back();
    ask(first);
    ASSERT_TRUE(first.outcome && *first.outcome);
    EXPECT_NEAR(first.parts.at(0), 0.5, 1e-6);
    EXPECT_EQ(assets.status("en-US"), Status::installed);
}

} // namespace nimbe
