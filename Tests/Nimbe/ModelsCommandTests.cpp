#include <sstream>

#include <gtest/gtest.h>

#include "Fakes/FakeSpeechModels.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Fakes/NoShellServices.h"
#include "Foundation/Json.h"
#include "NimbeShell/ModelsCommand.h"

namespace nimbe {
namespace {

using Kind = SpeechModelError::Kind;
using Outcome = Result<void, SpeechModelError>;

class OnlyModels final : public NoShellServices {
public:
    explicit OnlyModels(const ModelServices& services) : services(services) {}
    const ModelServices* models(std::ostream& /*error*/) override { return &services; }

private:
    const ModelServices& services;
};

class ModelsCommandTest : public testing::Test {
protected:
    struct Run {
        int exitCode;
        std::string output;
        std::string error;
    };
    FakeSpeechModels models;
    MemoryUserDefaults defaults;
    RunLoop loop;
    ModelServices modelServices{models, defaults, loop};
    OnlyModels services{modelServices};

    Run run(std::vector<const char*> words) {
        words.insert(words.begin(), {"nimbe", "models"});
        std::istringstream input;
        std::ostringstream output;
        std::ostringstream error;
        const int code = runCommandLine(
            static_cast<int>(words.size()), words.data(), services, {input, output, error});
        return {code, output.str(), error.str()};
    }
    Json json(std::vector<const char*> words) {
        words.push_back("--json");
        const auto result = run(std::move(words));
        EXPECT_EQ(result.exitCode, 0) << result.error;
        EXPECT_EQ(result.error, "");
        return Json::parse(result.output).value();
    }
    void fail(Kind kind, const char* file = "") {
        models.installations.emplace_back(tl::unexpect, SpeechModelError{kind, "detail", file});
    }
};

} // namespace

TEST_F(ModelsCommandTest, whatIsThereIsListed) {
    models.places["base"] = {"/usr/share/nimbe/models/base", true};
    models.partial["tiny"] = 12'345'678;
    EXPECT_EQ(run({"list"}).output,
        "base  Moonshine base, English   66 MB  part of Nimbe (default)\n"
        "tiny  Moonshine tiny, English   31 MB  not installed, 12 MB downloaded\n");
    const auto status = run({"status", "base"}).output;
    EXPECT_NE(status.find("Folder: /usr/share/nimbe/models/base\n"), status.npos) << status;
    EXPECT_EQ(status.find("tiny"), status.npos) << status;
    const auto list = json({"list"});
    const auto& all = *list.asArray();
    EXPECT_EQ(*all.at(0).member("state")->asString(), "packaged");
    EXPECT_EQ(*all.at(0).member("isDefault")->asBool(), true);
    EXPECT_EQ(*all.at(1).member("state")->asString(), "notInstalled");
    EXPECT_EQ(all.at(1).member("downloadedBytes")->asInteger(), 12'345'678);
    EXPECT_EQ(json({"status", "tiny"}), all.at(1));
    EXPECT_EQ(json({"status"}), list);
}

TEST_F(ModelsCommandTest, anAddressThatBroughtAModelIsKept) {
    fail(Kind::noAddress);
    auto result = run({"install", "tiny"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.error.find("--from ADDRESS"), result.error.npos) << result.error;

    fail(Kind::brokenOff);
    EXPECT_EQ(run({"install", "tiny", "--from", "https://a.example"}).exitCode, 1);
    EXPECT_EQ(defaults.keys().size(), 0U) << "only one that has proved right";
    models.installations.emplace_back();
    result = run({"install", "tiny", "--from", "https://b.example"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "Installed: tiny\n");
    EXPECT_EQ(defaults.get(Setting<std::string>{"speechModelBaseAddress"}), "https://b.example");

    models.installations.emplace_back();
    EXPECT_EQ(*json({"install", "base"}).member("state")->asString(), "installed");
    EXPECT_EQ(models.asked.back(), "install base https://b.example");
    defaults.refusesWrites = true;
    models.places.clear();
    models.installations.emplace_back();
    result = run({"install", "tiny", "--from", "https://c.example"});
    EXPECT_EQ(result.exitCode, 0) << "the model is there all the same";
    EXPECT_NE(result.error.find("could not be kept"), result.error.npos) << result.error;
}

TEST_F(ModelsCommandTest, whatIsThereIsNotInstalledAgain) {
    models.places["base"] = {"/packaged", true};
    models.places["tiny"] = {"/own", false};
    EXPECT_EQ(run({"install", "base"}).output, "base is there already: part of Nimbe.\n");
    EXPECT_EQ(run({"install", "tiny", "--from", "https://a.example"}).output,
        "tiny is there already: installed.\n");
    EXPECT_TRUE(models.asked.empty());
    EXPECT_TRUE(defaults.keys().empty());
    models.installations.emplace_back();
    EXPECT_EQ(
        run({"install", "base", "--from", "https://me:pw@a.example"}).output, "Installed: base\n")
        << "a copy of one's own of what is packaged";
    EXPECT_TRUE(defaults.keys().empty()) << "a password was stored";
}

TEST_F(ModelsCommandTest, progressIsALineForEachTenthOrABar) {
    const std::uint64_t total = 31'045'913;
    models.progress = {0, total / 100, total / 10 + 1, total / 5, total / 5 + 1, total};
    models.installations.emplace_back();
    EXPECT_EQ(run({"install", "tiny"}).error, "tiny: 0 %, 0 bytes of 31 MB\n"
                                              "tiny: 10 %, 3 MB of 31 MB\n"
                                              "tiny: 20 %, 6 MB of 31 MB\n"
                                              "tiny: 100 %, 31 MB of 31 MB\n");
    models.places.clear();
    models.installations.emplace_back();
    modelServices.progress = ProgressBar::Form::bar;
    models.progress = {total / 2 + 1};
    const auto bar = run({"install", "tiny"}).error;
    EXPECT_NE(bar.find(" [####################                    ] 50 %"), bar.npos) << bar;
    models.places.clear();
    models.installations.emplace_back();
    EXPECT_EQ(json({"install", "tiny"}).member("id")->asString()->c_str(), std::string("tiny"));
}

TEST_F(ModelsCommandTest, eachEndHasItsCodeAndItsSentence) {
    models.places["base"] = {"/packaged", true};
    struct Case {
        std::vector<const char*> words;
        std::optional<Kind> installation;
        int exitCode;
        const char* message;
    };
    const Case cases[] = {
        {{}, {}, 2, "A verb is needed.\nUsage: nimbe models VERB"},
        {{"burn"}, {}, 2, "There is no verb \"burn\"."},
        {{"install"}, {}, 2, "MODEL is required"},
        {{"install", "tiny", "base"}, {}, 2, "MODEL: At Most 1"},
        {{"install", "large"}, {}, 2, "There is no speech model \"large\". There are: base tiny."},
        {{"verify", "base", "large"}, {}, 2, "There is no speech model \"large\"."},
        {{"status", "base", "tiny"}, {}, 2, "MODEL: At Most 1"},
        {{"remove"}, {}, 2, "MODEL is required"},
        {{"remove", "base"}, {}, 1, "base: This speech model is a part of Nimbe"},
        {{"remove", "tiny"}, {}, 1, "tiny: This speech model is not installed."},
        {{"verify", "tiny"}, {}, 1, "tiny: This speech model is not installed."},
        {{"install", "tiny", "--from", "x"}, Kind::badAddress, 2, "is not valid."},
        {{"install", "tiny"}, Kind::badAddress, 1, "is not valid."},
        {{"install", "tiny"}, Kind::noSpace, 1, "There is not enough space"},
        {{"install", "tiny"}, Kind::busy, 1, "Another process is working on"},
        {{"install", "tiny"}, Kind::wrongContent, 1, "what it should be. It is tokens.txt."},
    };
    for (const auto& c : cases) {
        models.installations.clear();
        if (c.installation) fail(*c.installation, "tokens.txt");
        const auto result = run(c.words);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.message << result.error;
        EXPECT_NE(result.error.find(c.message), result.error.npos) << c.message << result.error;
        EXPECT_EQ(result.output, "") << c.message;
    }
}

TEST_F(ModelsCommandTest, verificationGoesThroughAllAndNamesTheDamaged) {
    const auto nothing = run({"verify"});
    EXPECT_EQ(nothing.exitCode, 1) << "the default is missing";
    EXPECT_EQ(nothing.error, "nimbe models: base: This speech model is not installed.\n");
    models.places["base"] = {"/packaged", true};
    models.places["tiny"] = {"/own", false};
    models.verifications.emplace_back(
        tl::unexpect, SpeechModelError{Kind::wrongContent, "detail", "tokens.txt"});
    const auto result = run({"verify"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.error.find("base: A file of the speech model"), result.error.npos);
    EXPECT_EQ(result.output, "tiny: all files are as they should be.\n");
    models.verifications.emplace_back(
        tl::unexpect, SpeechModelError{Kind::wrongContent, "detail", "tokens.txt"});
    EXPECT_EQ(Json::parse(run({"verify", "tiny", "base", "--json"}).output)->text(),
        R"([{"id":"tiny","isRight":false,"file":"tokens.txt"},{"id":"base","isRight":true}])");
    EXPECT_EQ(run({"remove", "tiny"}).output, "Removed: tiny\n");
    EXPECT_FALSE(models.places.contains("tiny"));
}

} // namespace nimbe
