#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "Fakes/MemoryUserDefaults.h"
#include "Fakes/NoShellServices.h"
#include "Foundation/Json.h"
#include "NimbeShell/PublicSetting.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

struct OnlySettings final : NoShellServices {
    MemoryUserDefaults defaults;
    UserDefaults* settings(std::ostream& /*error*/) override { return &defaults; }
};

struct SettingsCommandTest : testing::Test {
    struct Run {
        int exitCode;
        std::string output;
        std::string error;
    };
    OnlySettings services;
    MemoryUserDefaults& defaults = services.defaults;

    Run run(std::vector<const char*> words) {
        words.insert(words.begin(), {"nimbe", "settings"});
        std::istringstream input;
        std::ostringstream output;
        std::ostringstream error;
        const int code = runCommandLine(
            static_cast<int>(words.size()), words.data(), services, {input, output, error});
        return {code, output.str(), error.str()};
    }
};

} // namespace

TEST_F(SettingsCommandTest, whatIsSetIsStoredAndToldUntilItIsReset) {
    struct Case {
        const char* key;
        std::vector<const char*> words;
        UserDefaults::Value value;
        const char* line;
        const char* raw;
    };
    const Case cases[] = {
        {"menuBarVisible", {"off"}, false, "off", "off\n"},
        {"menuBarVisible", {"YES"}, true, "on", "on\n"},
        {"reduceMotion", {"True"}, true, "on", "on\n"},
        {"macAutomaticUpdateChecksEnabled", {"no"}, false, "off", "off\n"},
        {"obsidianExportFolder", {"/a b/\"\xC3\xA9\"\n"}, std::string("/a b/\"\xC3\xA9\"\n"),
            R"("/a b/\"é\"\n")", "/a b/\"\xC3\xA9\"\n\n"},
        {"pasteRules", {"--", "-x", "a,b=insert"}, std::vector<std::string>{"-x", "a,b=insert"},
            R"(["-x","a,b=insert"])", "-x\na,b=insert\n"},
        {"updateServiceAddress", {"https://a.example/"}, std::string("https://a.example/"),
            R"("https://a.example/")", "https://a.example/\n"},
        {"languageModelAddress", {"http://10.0.0.7:8080/v1"},
            std::string("http://10.0.0.7:8080/v1"), R"("http://10.0.0.7:8080/v1")",
            "http://10.0.0.7:8080/v1\n"},
        {"dictationMode", {"coding"}, std::string("coding"), R"("coding")", "coding\n"},
        {"languageModelDeadline", {"1"}, std::string("1"), R"("1")", "1\n"},
        {"languageModelDeadline", {"120"}, std::string("120"), R"("120")", "120\n"},
        {"emailSignatureName", {"Zo\xC3\xAB"}, std::string("Zo\xC3\xAB"), "\"Zo\xC3\xAB\"",
            "Zo\xC3\xAB\n"},
    };
    for (const auto& c : cases) {
        std::vector<const char*> words{"set", c.key};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const auto set = run(words);
        EXPECT_EQ(set.exitCode, 0) << c.key << set.error;
        EXPECT_EQ(set.output, std::string(c.key) + " = " + c.line + "\n");
        EXPECT_EQ(defaults.value(c.key).value(), c.value) << c.key;
        EXPECT_EQ(run({"get", c.key}).output, c.raw) << c.key;
        const auto reset = run({"reset", c.key});
        EXPECT_EQ(reset.exitCode, 0) << c.key;
        EXPECT_NE(reset.output.find(" (default)\n"), std::string::npos) << reset.output;
        EXPECT_TRUE(defaults.keys().empty()) << c.key;
    }
}

TEST_F(SettingsCommandTest, whatASettingDoesNotTakeIsRefusedWithAReason) {
    struct Case {
        std::vector<const char*> words;
        const char* message;
    };
    const Case cases[] = {
        {{}, "A verb is needed.\nUsage: nimbe settings VERB"},
        {{"burn"}, "There is no verb \"burn\"."},
        {{"get"}, "KEY is required"},
        {{"set", "menuBarVisible"}, "VALUE is required"},
        {{"get", "menubarvisible"}, "There is no setting \"menubarvisible\"."},
        {{"set", "dictation.history.keyPlace", "x"}, "There is no setting"},
        {{"reset", "nothing"}, "There is no setting \"nothing\"."},
        {{"set", "menuBarVisible", "maybe"}, "menuBarVisible is on or off, not \"maybe\"."},
        {{"set", "menuBarVisible", "1"}, "menuBarVisible is on or off"},
        {{"set", "menuBarVisible", "on", "off"}, "menuBarVisible takes one value."},
        {{"set", "obsidianExportFolder", "/a", "/b"}, "takes one value."},
        {{"set", "obsidianExportFolder", "a"}, "must be a folder's whole path"},
        {{"set", "obsidianExportFolder", "/\xFF"}, "takes UTF-8 text only."},
        {{"set", "pasteRules", "A", "B=paste"}, "not \"B=paste\"."},
        {{"set", "updateServiceAddress", "http://a.example"}, "must be an https address"},
        {{"set", "speechModelBaseAddress", "https://me:pw@a.example"}, "or a password."},
        {{"set", "speechModelBaseAddress", "a.example"}, "must be an https or http address."},
        {{"set", "selectedInputDeviceUID", ""}, "cannot be empty"},
        {{"set", "dictationMode", "Email"}, "must be messaging, email, notes or coding."},
        {{"set", "languageModelAddress", "127.0.0.1:11434"}, "must be an http or https address"},
        {{"set", "languageModelAddress", "http://me:pw@127.0.0.1"}, "name, password"},
        {{"set", "languageModelName", " "}, "cannot be empty"},
        {{"set", "languageModelDeadline", "0"}, "a whole number of seconds, 1 to 120."},
        {{"set", "languageModelDeadline", "121"}, "1 to 120."},
        {{"set", "languageModelDeadline", "2.5"}, "1 to 120."},
        {{"set", "languageModelDeadline", "8 s"}, "1 to 120."},
        {{"set", "promptServiceAddress", "http://a.example"}, "must be an https address"},
    };
    for (const auto& c : cases) {
        const auto result = run(c.words);
        EXPECT_EQ(result.exitCode, 2) << c.message << result.error;
        EXPECT_NE(result.error.find(c.message), result.error.npos) << c.message << result.error;
        EXPECT_EQ(result.output, "") << c.message;
    }
    EXPECT_TRUE(defaults.keys().empty());
}

TEST_F(SettingsCommandTest, allAreListedWithWhatCounts) {
    EXPECT_TRUE(defaults.setValue("menuBarVisible", false));
    EXPECT_TRUE(defaults.setValue("reduceMotion", std::string("yes")));
    EXPECT_TRUE(defaults.setValue("obsidianExportFolder", std::string("/\x1B[31m\xC2\x9B")));
    const auto list = run({"list"}).output;
    EXPECT_TRUE(list.starts_with("menuBarVisible = off\n    bool: ")) << list;
    for (const char* line : {"\nmacAutomaticUpdateChecksEnabled = on (default)\n    bool: ",
             "\nreduceMotion = off (default: what is stored is damaged)\n",
             "\npasteRules = [] (default)\n    list: ", "\nobsidianAutoExport = off (default)\n",
             "\nselectedInputDeviceUID = \"__nimbe_system_default__\" (default)\n    string: "})
        EXPECT_NE(list.find(line), list.npos) << line << list;
    EXPECT_EQ(list.find('\x1B'), list.npos);
    EXPECT_EQ(list.find('\x9B'), list.npos);

    const auto json = Json::parse(run({"list", "--json"}).output).value();
    ASSERT_EQ(json.asArray()->size(), PublicSetting::all().size());
    EXPECT_EQ(json.asArray()->front().text(),
        R"({"key":"menuBarVisible","type":"bool","value":false,"default":true,)"
        R"("state":"stored","text":"Show Nimbe in the panel of the desktop"})");
    EXPECT_EQ(
        Json::parse(run({"get", "menuBarVisible", "--json"}).output), json.asArray()->front());
    const auto damaged = run({"get", "reduceMotion"});
    EXPECT_EQ(damaged.output, "off\n");
    EXPECT_NE(
        damaged.error.find("reduceMotion is damaged; its default counts."), std::string::npos);

    defaults.refusesWrites = true;
    EXPECT_EQ(run({"set", "menuBarVisible", "on"}).exitCode, 1);
    const auto reset = run({"reset", "menuBarVisible"});
    EXPECT_EQ(reset.exitCode, 1);
    EXPECT_EQ(reset.error, "nimbe settings: The setting could not be reset.\n");
}

/// docs/settings.md tells of each.
TEST_F(SettingsCommandTest, theDocumentHasAllKeys) {
    std::ifstream in(NIMBE_SETTINGS_DOCUMENT);
    const std::string document{std::istreambuf_iterator<char>(in), {}};
    for (const auto& setting : PublicSetting::all())
        EXPECT_NE(document.find("| `" + std::string(setting.key) + "` |"), document.npos)
            << setting.key;
}

TEST_F(SettingsCommandTest, programsShareThem) {
    const TemporaryFolder home;
    const auto program = [&](std::vector<std::string> words) {
        words.insert(words.begin(),
            {"/usr/bin/env", "NIMBE_HOME=" + home.path.string(), NIMBE_EXECUTABLE, "settings"});
        return Process::run(words, "");
    };
    EXPECT_EQ(program({"set", "pasteRules", "Emacs=insert", "Acme"}).exitCode, 0);
    EXPECT_EQ(program({"get", "pasteRules"}).output, "Emacs=insert\nAcme\n");
    EXPECT_EQ(program({"reset", "pasteRules"}).output, "pasteRules = [] (default)\n");
    EXPECT_EQ(program({"get", "pasteRules"}).output, "");
}

} // namespace nimbe
