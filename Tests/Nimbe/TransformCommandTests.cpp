#include "Foundation/Json.h"
#include "LanguageShell.h"
#include "NimbeShell/GrowingText.h"

namespace nimbe {
namespace {

using Partials = std::vector<TransformProvider::Partial>;

class TransformCommandTest : public LanguageShell {
protected:
    void answer(std::string text, Partials partials = {}, bool isWhole = true) {
        transforms.answers.push_back(
            {TransformProvider::Outcome{std::move(text), isWhole}, std::move(partials)});
    }
    void fail(LanguageModelError::Kind kind, Partials partials = {}) {
        transforms.answers.push_back({failure(LanguageModelError{kind}), std::move(partials)});
    }
    std::string add(const std::string& text) {
        return notes.append(text, DictationMode::notes, Date::now()).id.text();
    }
    static void expectMessage(const Run& run, std::string_view message) {
        EXPECT_NE(run.error.find(message), run.error.npos) << message << "\n" << run.error;
    }
};

} // namespace

TEST_F(TransformCommandTest, aNameIsAPresetAndAllElseAnInstruction) {
    struct Case {
        std::vector<const char*> words;
        NoteTransform transform;
    };
    const Case cases[] = {
        {{"shorter"}, TransformPreset::shorter},
        {{"bullets"}, TransformPreset::bullets},
        {{"Email"}, TransformPreset::email},
        {{"FIX"}, FixTransform()},
        {{" fix "}, FixTransform()},
        {{"fix it"}, CustomTransform{"fix it"}},
        {{"make", "it", "formal"}, CustomTransform{"make it formal"}},
        {{"translate"}, CustomTransform{"translate"}},
        {{"bull"}, CustomTransform{"bull"}}, // three letters from a name
        {{"box"}, CustomTransform{"box"}},   // two from a short one
        {{"auf Fran\xC3\xB6sisch\n"}, CustomTransform{"auf Fran\xC3\xB6sisch"}},
        {{"--instruction", "bullets"}, CustomTransform{"bullets"}},
        {{"--instruction", " bulets "}, CustomTransform{"bulets"}},
    };
    for (const auto& c : cases) {
        auto words = c.words;
        words.insert(words.begin(), "transform");
        answer("new");
        const auto result = run(words, "a\r\n");
        EXPECT_EQ(result.exitCode, 0) << c.words[0] << result.error;
        EXPECT_EQ(result.output, "new\n");
        EXPECT_EQ(result.error, "");
        ASSERT_FALSE(transforms.given.empty()) << c.words[0];
        EXPECT_EQ(transforms.given.back().first, c.transform) << c.words[0];
        EXPECT_EQ(transforms.given.back().second, "a");
    }
}

TEST_F(TransformCommandTest, wrongUsageAsksNobody) {
    struct Case {
        std::vector<const char*> words;
        const char* message;
    };
    const Case cases[] = {
        {{}, "What is to be made of the text?\nUsage: nimbe transform shorter|"},
        {{"bulets"}, "Did you mean \"bullets\"? If the word is your instruction: --instruction"},
        {{"Emial"}, "Did you mean \"email\"?"},
        {{"fic"}, "Did you mean \"fix\"?"},
        {{"short"}, "Did you mean \"shorter\"?"},
        {{""}, "The instruction is empty."},
        {{" \n\t"}, "The instruction is empty."},
        {{"--instruction", " "}, "The instruction is empty."},
        {{"--instruction", "\xFF"}, "The instruction is not UTF-8."},
        {{"fix", "--instruction", "x"}, "excludes"},
        {{"fix", "--id", "12"}, "\"12\" is no id, nor at least four digits of one."},
        {{"fix", "--id", "12G4"}, "is no id"},
        {{"fix", "--id", ""}, "\"\" is no id"}, // an unset variable; the input is another text
        {{"fix", "--bogus"}, "Usage: nimbe transform"},
    };
    for (const auto& c : cases) {
        auto words = c.words;
        words.insert(words.begin(), "transform");
        const auto result = run(words, "a");
        EXPECT_EQ(result.exitCode, 2) << c.message;
        EXPECT_EQ(result.output, "") << c.message;
        expectMessage(result, c.message);
    }
    EXPECT_TRUE(transforms.given.empty());
}

TEST_F(TransformCommandTest, whateverGoesWrongAFilterGetsItsBytesBack) {
    using Error = LanguageModelError::Kind;
    using Availability = LanguageModel::Availability;
    const std::string text = "one\xC3\xA9\r\n\n two\xFF\n";
    const Partials half{{"On", true}};

    fail(Error::brokenOff, half);
    auto result = run({"transform", "shorter"}, text);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, text);
    expectMessage(result, "not UTF-8 in 1 place");
    expectMessage(result, "Transform failed. Kept your text. The language model's server broke");

    model.published.set(Availability{.kind = Kind::noServer, .address = "http://127.0.0.1:1"});
    fail(Error::unavailable);
    result = run({"transform", "shorter"}, text);
    EXPECT_EQ(result.output, text);
    expectMessage(result, "Nobody answers at http://127.0.0.1:1. nimbe model status tells more.");

    answer(" \n", half);
    result = run({"transform", "shorter"}, text);
    EXPECT_EQ(result.output, text);
    expectMessage(result, "The transform came back empty. Kept your text.\n");

    answer(std::string(1201, 'x'));
    EXPECT_EQ(run({"transform", "shorter"}, text).output, text);

    isInterrupted = true;
    transforms.answers.push_back({TransformProvider::Outcome{}, half, true});
    result = run({"transform", "shorter"}, text);
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(result.output, text);
    expectMessage(result, "Interrupted. Kept your text.");
    isInterrupted = false;

    hasLanguage = false;
    result = run({"transform", "shorter"}, text);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, text);

    for (const char* blank : {"", "\n", " \t\n\xE2\x80\xA8"}) {
        result = run({"transform", "shorter"}, blank);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.output, blank);
        expectMessage(result, "There is no text to transform.");
    }
}

TEST_F(TransformCommandTest, fourMebibytesAreTakenAndNoByteMore) {
    const std::size_t most = 4'194'304;
    for (const std::size_t size : {most, most + 1, most + 200'000}) {
        transforms.answers.clear();
        answer("short");
        const auto result = run({"transform", "shorter"}, std::string(size, 'x'));
        EXPECT_EQ(result.exitCode, size == most ? 0 : 1) << size;
        EXPECT_EQ(result.output, size == most ? "short\n" : std::string(size, 'x'))
            << "a filter's text was cut";
        if (size > most) expectMessage(result, "The input is longer than 4 MiB.");
    }
    EXPECT_EQ(transforms.given.size(), 1U);
}

TEST_F(TransformCommandTest, whatArrivedOfAnUnfinishedAnswerIsWritten) {
    const auto id = add("as it was");
    answer("half a", {}, false);
    auto result = run({"transform", "fix"}, "text");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "half a\n");
    expectMessage(result, "Transform stopped early. Edit or try again.");
    answer("half a", {}, false);
    result = run({"transform", "fix", "--id", id.c_str()});
    EXPECT_EQ(result.output, "half a\n");
    expectMessage(result, "The note is as it was.");
    EXPECT_EQ(notes.entries().at(0).text, "as it was");
}

TEST_F(TransformCommandTest, aNoteIsSavedAndItsFirstTextKept) {
    const auto other = add("another");
    const auto id = add("as it was");
    answer("new \xC3\xA9");
    const auto result = run({"transform", "fix", "--id", id.substr(0, 8).c_str()}, "not read");
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.output, "new \xC3\xA9\n");
    EXPECT_EQ(transforms.given.back().second, "as it was");
    const auto entries = notes.entries();
    EXPECT_EQ(entries.at(0).text, "new \xC3\xA9");
    EXPECT_EQ(entries.at(0).originalText, "as it was");
    EXPECT_EQ(entries.at(1).text, "another");
    const auto missing = other.substr(0, 4) == "0000" ? "1111" : "0000";
    expectMessage(run({"transform", "fix", "--id", missing}), "There is no dictation ");
}

TEST_F(TransformCommandTest, whatCannotBeSavedIsPrintedWithTheReason) {
    struct Case {
        const char* message;
        std::function<void(const UUID& id)> meanwhile;
        const char* textAfter; // null: it is gone
    };
    const Case cases[] = {
        {"The note was deleted meanwhile.",
            [&](const UUID& id) { notes.deleteEntry(id, Date::now()); }, nullptr},
        {"The note was changed meanwhile; that change stays.",
            [&](const UUID& id) { notes.update(id, "theirs"); }, "theirs"},
        {"The new text was not saved.", [&](const UUID&) { defaults.refusesWrites = true; },
            "as it was"},
    };
    for (const auto& c : cases) {
        const auto id = add("as it was");
        whenAsked = [&] {
            c.meanwhile(*UUID::parse(id));
        };
        answer("new");
        const auto result = run({"transform", "fix", "--id", id.c_str()});
        defaults.refusesWrites = false;
        EXPECT_EQ(result.exitCode, 1) << c.message;
        EXPECT_EQ(result.output, "new\n") << c.message;
        expectMessage(result, c.message);
        expectMessage(result, "The new text was not saved.");
        const auto entries = notes.entries();
        if (c.textAfter)
            EXPECT_EQ(entries.at(0).text, c.textAfter);
        else
            EXPECT_TRUE(entries.empty());
    }
}

TEST_F(TransformCommandTest, aTerminalShowsTheTextAsItGrows) {
    services.outputColumns = 80;
    answer("One.\n\nTwo. ", {{"", true}, {"One.\n", true}, {"One.\n\nTw", true}});
    EXPECT_EQ(run({"transform", "fix"}, "text").output, "One.\n\nTwo. \n");

    // What was announced is taken back while it is one short line, and else stands.
    answer("One.", {{"Here is it:", true}, {"One", true}});
    EXPECT_EQ(run({"transform", "fix"}, "text").output, "Here is it:\r\x1B[KOne.\n");
    answer("One.", {{"Well.\nHere", true}, {"One", true}});
    EXPECT_EQ(run({"transform", "fix"}, "text").output, "Well.\nHere\n\nOne.\n");
    answer("One.", {{std::string(40, 'x'), true}, {"One", true}});
    EXPECT_EQ(run({"transform", "fix"}, "text").output, std::string(40, 'x') + "\n\nOne.\n")
        << "a line that may be wider than the terminal";

    // A failure leaves what came on a line of its own, without the input.
    fail(LanguageModelError::Kind::timedOut, {{"One", true}});
    auto result = run({"transform", "fix"}, "text");
    EXPECT_EQ(result.output, "One\n");
    expectMessage(result, "Kept your text.");
    fail(LanguageModelError::Kind::timedOut);
    EXPECT_EQ(run({"transform", "fix"}, "text").output, "");

    answer("\x1B[2Ja\r\nb\xC2\x9B", {{"\x1B", true}});
    EXPECT_EQ(run({"transform", "fix"}, "text").output, "\xEF\xBF\xBD[2Ja\nb\xEF\xBF\xBD\n")
        << "the terminal was given commands";
}

TEST_F(TransformCommandTest, aTerminalForMessagesShowsTheEndOfTheText) {
    services.errorColumns = 40;
    const std::string full(39, 'x'); // the last column stays free
    answer("One two.", {{"One", true}, {"hidden", false}, {full, true}, {full + "y", true},
                           {full + "\u4E00", true}});
    const auto result = run({"transform", "fix"}, "text");
    EXPECT_EQ(result.output, "One two.\n");
    EXPECT_EQ(result.error.find("hidden"), result.error.npos);
    expectMessage(result, "\rAsking the model. Ctrl+C gives up.\x1B[K\rOne\x1B[K");
    expectMessage(result, "\r" + full + "\x1B[K");
    expectMessage(result, "\r\u2026" + full.substr(2) + "y\x1B[K");
    expectMessage(result, "\r\u2026" + std::string(18, 'x') + "\u4E00\x1B[K");
    EXPECT_TRUE(result.error.ends_with("\r\x1B[K")) << "a line was left behind";
}

TEST_F(TransformCommandTest, jsonTellsWhetherTheTextIsTheNewOne) {
    services.outputColumns = 80; // nothing grows there
    answer("a\n\"b\"", {{"a", true}});
    EXPECT_EQ(run({"transform", "fix", "--json"}, "text").output,
        R"({"text":"a\n\"b\"","isWhole":true,"notice":null})"
        "\n");
    answer("a", {}, false);
    EXPECT_EQ(run({"transform", "fix", "--json"}, "text").output,
        R"({"text":"a","isWhole":false,"notice":"Transform stopped early. Edit or try again."})"
        "\n");
    fail(LanguageModelError::Kind::timedOut);
    const auto failed = Json::parse(run({"transform", "fix", "--json"}, "text\n").output).value();
    EXPECT_EQ(*failed.member("text")->asString(), "text");
    EXPECT_EQ(failed.member("isWhole")->asBool(), false);
    EXPECT_TRUE(failed.member("notice")->asString()->starts_with("Transform failed."));
}

} // namespace nimbe
