#include "Foundation/Json.h"
#include "LanguageShell.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"

namespace nimbe {
namespace {

using Availability = LanguageModel::Availability;
using Settings = LanguageModelSettings;

/// The verbs model and format --ai.
class ModelCommandTest : public LanguageShell {
protected:
    void set(const Setting<std::string>& setting, const char* value) {
        EXPECT_TRUE(defaults.set(setting, std::string(value)));
    }
};

} // namespace

TEST_F(ModelCommandTest, whatStandsInTheWayIsToldWithWhatToDo) {
    const std::string here = "http://127.0.0.1:11434";
    const Availability refused{
        .kind = Kind::refused, .address = here, .server = "llama.cpp", .detail = "HTTP 401\x1B"};
    struct Case {
        Availability found;
        const char* address; // as set
        int exitCode;
        std::vector<const char*> lines;
    };
    const Case cases[] = {
        {{Kind::available, here, "Ollama", "tiny", {"big", "tiny"}}, nullptr, 0,
            {"Ready: tiny on Ollama at http://127.0.0.1:11434.\n",
                "Address:        http://127.0.0.1:11434 (found)\n",
                "Model:          tiny (the server's)\n", "Its models:     big, tiny\n",
                "AI cleanup:     off; turn it on with: nimbe settings set macAICleanupEnabled on\n",
                "Deadline:       8 s", "Other machines: never asked\n"}},
        {{.kind = Kind::noServer}, nullptr, 1,
            {"No language model server runs on this machine.\n",
                "set languageModelAddress http://127.0.0.1:PORT\n", "the usual ports"}},
        {{.kind = Kind::noServer, .address = here}, here.c_str(), 1,
            {"Nobody answers at http://127.0.0.1:11434.\n", "reset languageModelAddress\n",
                "11434 (languageModelAddress)\n"}},
        {{.kind = Kind::notAllowed, .address = "http://10.0.0.7"}, "http://10.0.0.7", 1,
            {"not on this machine", "set languageModelAllowsOtherHosts on\n"}},
        {{.kind = Kind::notAServer, .address = here}, here.c_str(), 1, {"is no language model"}},
        {{Kind::noModel, here, "Ollama", "huge", {"tiny"}}, nullptr, 1,
            {"has no model named huge.\nIt has: tiny\n", "set languageModelName NAME\n"}},
        {{Kind::noModel, here, "Ollama"}, nullptr, 1, {"Have the server get one first.\n"}},
        {{Kind::loading, here}, nullptr, 1, {"Ask again in a while.\n"}},
        {{Kind::unresponsive, here}, nullptr, 1, {"set languageModelDeadline SECONDS\n"}},
        {refused, nullptr, 1,
            {"refuses to answer.\nThe server's own log", "Detail:         HTTP 401 \n"}},
    };
    for (const auto& c : cases) {
        model.published.set(c.found);
        if (c.address) set(Settings::address, c.address);
        const auto status = run({"model", "status"});
        EXPECT_EQ(status.exitCode, c.exitCode) << c.lines[0];
        EXPECT_EQ(status.error, "");
        for (const auto* line : c.lines)
            EXPECT_NE(status.output.find(line), status.output.npos) << line << "\n"
                                                                    << status.output;
        EXPECT_EQ(status.output.find('\x1B'), status.output.npos);
        EXPECT_TRUE(defaults.remove(Settings::address));
    }
    EXPECT_TRUE(model.asked.empty()) << "a text was sent";
}

TEST_F(ModelCommandTest, whatIsSetIsToldApartFromWhatIsFound) {
    model.published.set(Availability{
        Kind::noModel, "http://127.0.0.1:1/v1", "LM Studio", "huge", {"a", "\xC3\xA9"}});
    set(Settings::address, "http://127.0.0.1:1/v1");
    set(Settings::name, "huge");
    set(Settings::deadline, "20");
    EXPECT_TRUE(defaults.set(MacCleanupPolicy::aiCleanupEnabled, true));
    EXPECT_EQ(Json::parse(run({"model", "status", "--json"}).output)->text(),
        R"({"state":"noModel","isAvailable":false,)"
        R"("message":"LM Studio at http://127.0.0.1:1/v1 has no model named huge.",)"
        R"("address":"http://127.0.0.1:1/v1","isAddressSet":true,"server":"LM Studio",)"
        R"("model":"huge","isModelSet":true,"models":["a","é"],"detail":null,)"
        R"("isCleanupOn":true,"deadline":20,"allowsOtherHosts":false})");
    const auto list = run({"model", "list"});
    EXPECT_EQ(list.exitCode, 1);
    EXPECT_EQ(list.output, "  a\n  \xC3\xA9\n") << "a model that is not there was marked";
    EXPECT_NE(list.error.find("has no model named huge."), list.error.npos);

    model.published.set(Availability{Kind::available, "http://a", "", "b", {"a", "b"}});
    EXPECT_EQ(run({"model", "list"}).output, "  a\n* b\n");
    EXPECT_EQ(Json::parse(run({"model", "list", "--json"}).output)->text(), R"(["a","b"])");
    model.published.set(Availability{Kind::loading, "http://a", "", "b", {"a", "b"}});
    EXPECT_EQ(run({"model", "list"}).output, "  a\n  b\n") << "it cannot be used yet";
    EXPECT_EQ(run({"model"}).exitCode, 2);
    EXPECT_EQ(run({"model", "burn"}).exitCode, 2);
    hasLanguage = false;
    EXPECT_EQ(run({"model", "status"}).exitCode, 1);
}

TEST_F(ModelCommandTest, formatTakesTheWayOfADictation) {
    model.found = Availability{.kind = Kind::available, .model = "tiny"};
    model.published.set(Availability()); // nobody has looked for it yet
    model.answer("text", "We meet at nine.");
    auto result = run({"format", "--ai", "--mode", "email"}, "um we meet at nine\n");
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.output, "We meet at nine.\n");
    EXPECT_EQ(result.error, "");

    model.answer("text", "One.");
    model.fail(LanguageModelError::Kind::timedOut);
    result = run({"format", "--ai", "--json"}, "\"one\"\n\"um two\"\n");
    EXPECT_EQ(result.output, "\"One.\"\n\"Two\"\n");
    const std::string late =
        "nimbe format: The language model did not answer in time. The text is not polished.\n";
    EXPECT_EQ(result.error, late);
    model.fail(LanguageModelError::Kind::timedOut);
    model.fail(LanguageModelError::Kind::timedOut);
    EXPECT_EQ(run({"format", "--ai", "--json"}, "\"one\"\n\"two\"\n").error, late) << "once";
    const auto asked = model.asked.size();
    result = run({"format", "--ai", "--mode", "coding"}, " um new line x ");
    EXPECT_EQ(result.output, " um new line x \n");
    set(AppSettings::dictationMode, "coding");
    EXPECT_EQ(run({"format", "--ai"}, " um x ").output, " um x \n");
    EXPECT_EQ(model.asked.size(), asked) << "code was sent to the model";
}

TEST_F(ModelCommandTest, withoutAModelTheRulesMakeTheTextAndTheReasonIsToldOnce) {
    model.published.set(Availability{.kind = Kind::noServer, .address = "http://127.0.0.1:1"});
    const auto result = run({"format", "--ai", "--json"}, "\"um one\"\n\"two\"\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "\"One\"\n\"two\"\n");
    EXPECT_EQ(result.error,
        "nimbe format: Nobody answers at http://127.0.0.1:1. The text is not polished.\n");
    hasLanguage = false;
    const auto without = run({"format", "--ai"}, "um one\n");
    EXPECT_EQ(without.exitCode, 0);
    EXPECT_EQ(without.output, "One\n");
    for (const auto& words : std::vector<std::vector<const char*>>{
             {"format", "--ai", "--step", "fillers"}, {"format", "--ai", "--no-preserve-case"},
             {"format", "--mode", "notes"}, {"format", "--ai", "--mode", "poem"}})
        EXPECT_EQ(run(words, "x").exitCode, 2) << words.back();
    EXPECT_TRUE(model.asked.empty());
}

} // namespace nimbe
