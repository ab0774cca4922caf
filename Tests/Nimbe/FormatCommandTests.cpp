#include <gtest/gtest.h>

#include "Support/Process.h"

namespace nimbe {
namespace {

Process format(std::vector<std::string> options, std::string_view input) {
    options.insert(options.begin(), {NIMBE_EXECUTABLE, "format"});
    return Process::run(std::move(options), input);
}

} // namespace

TEST(FormatCommand, formatsAsTextOrAsJsonLines) {
    struct Case {
        std::vector<std::string> options;
        std::string_view input;
        std::string_view output;
    };
    const Case cases[] = {
        {{}, "um so I think, uh, we should go\n", "so I think, we should go\n"},
        {{}, "um we meet at nine, new line bring, uh, the plans\n", // the README's example
            "we meet at nine\nbring, the plans\n"},
        {{"--no-preserve-case"}, "um so I think\r\n", "So I think\n"},
        {{"--preserve-case"}, "um so", "so\n"},
        {{}, "uh um \n", ""},
        {{}, "", ""},
        {{}, "one new line two\n\n", "one\ntwo\n"},
        {{"--step", "fillers", "--no-preserve-case"}, "um new line", "New line\n"},
        {{"--step", "spoken-commands"}, "um new line x", "um\nx\n"},
        {{"--step", "reflow"}, "Intro - a\n", "Intro - a\n"},
        {{"--step", "dollar-ranges"}, "between $0.25,000\n", "between $0 and $25,000\n"},
        {{"--step", "enumerations"}, "Two, one, a, and two, b.\n", "Two:\n\n1. A.\n2. B.\n"},
        {{"--step", "structure"}, "x, one, between $1.2,000, and two, b.",
            "x:\n\n1. Between $1 and $2,000.\n2. B.\n"},
        {{"--step", "email-body"}, "hi team, done.\nThanks\n", "Done.\n"},
        {{"--step", "classify"}, " . \n", "\"empty\"\n"},
        {{"--step", "classify"}, "«ok»", "{\"present\": \"«ok»\"}\n"},
        {{"--json"}, "\"a new line b\"\n\"\"\n\"\\u0000\\u2028 x\"",
            "\"a new line b\"\n\"\"\n\"\\u0000\xE2\x80\xA8 x\"\n"},
        {{"--json", "--step", "classify"}, "\"a\"\n\"a\\nb\"\n",
            "\"empty\"\n{\"present\": \"a\\nb\"}\n"},
        {{"--json"}, "", ""},
    };
    for (const auto& c : cases) {
        const auto process = format(c.options, c.input);
        EXPECT_EQ(process.output, c.output) << c.input;
        EXPECT_EQ(process.exitCode, 0) << c.input;
        EXPECT_EQ(process.error, "") << c.input;
    }
}

TEST(FormatCommand, saysWhatIsWrongAndExitsWithTheDocumentedCode) {
    struct Case {
        std::vector<std::string> options;
        std::string_view input;
        int exitCode;
        std::string_view output;
        std::string_view message;
    };
    const Case cases[] = {
        {{"--bogus"}, "x", 2, "", "Usage: nimbe format"},
        {{"--step"}, "x", 2, "", "Usage: nimbe format"},
        {{"--step", "nothing"}, "x", 2, "", "Usage: nimbe format"},
        {{"--preserve-case", "--no-preserve-case"}, "x", 2, "", "Usage: nimbe format"},
        {{"extra"}, "x", 2, "", "Usage: nimbe format"},
        {{"--json"}, "\"um ok\"\n7\n\"never\"", 1, "\"ok\"\n", "Line 2 is not a JSON string."},
        {{"--json"}, "\n", 1, "", "Line 1 is not a JSON string."},
        {{"--json"}, "\"\x80\"", 1, "", "Line 1 is not a JSON string."},
        {{}, "a\xFF\xE2\x82z", 0, "a\xEF\xBF\xBD\xEF\xBF\xBDz\n", "not UTF-8 in 2 places"},
    };
    for (const auto& c : cases) {
        const auto process = format(c.options, c.input);
        EXPECT_EQ(process.exitCode, c.exitCode) << c.message;
        EXPECT_EQ(process.output, c.output) << c.message;
        EXPECT_NE(process.error.find(c.message), std::string::npos) << process.error;
    }
}

TEST(FormatCommand, linesOfAnyLengthPassAndUnreadableInputIsAnError) {
    for (const std::size_t size : {65'533U, 65'534U, 65'535U, 65'536U, 200'000U}) {
        const auto line = "\"" + std::string(size - 2, 'x') + "\"";
        const auto process = format({"--json"}, line + "\n" + line);
        EXPECT_EQ(process.exitCode, 0) << size;
        EXPECT_EQ(process.output, line + "\n" + line + "\n") << size;
    }
    for (const std::string input : {"</", "<&-"}) {
        for (const std::string options : {"", " --json"}) {
            const auto process =
                Process::run({"/bin/sh", "-c", NIMBE_EXECUTABLE " format" + options + input}, "");
            EXPECT_EQ(process.exitCode, 1) << options << input;
            EXPECT_NE(process.error.find("cannot be read."), std::string::npos) << process.error;
        }
    }
}

TEST(FormatCommand, aFullDiskIsAnError) {
    const auto process = Process::run(
        {"/bin/sh", "-c", "echo hello there | " NIMBE_EXECUTABLE " format >/dev/full"}, "");
    EXPECT_EQ(process.exitCode, 1);
    EXPECT_NE(process.error.find("The output cannot be written."), std::string::npos);
    const auto help = Process::run({"/bin/sh", "-c", NIMBE_EXECUTABLE " --help >/dev/full"}, "");
    EXPECT_EQ(help.exitCode, 1);
}

TEST(FormatCommand, withoutAVerbAndHelpIsNoError) {
    // The application, which says what it lacks.
    const auto none = Process::run({"/usr/bin/env", "-u", "DISPLAY", NIMBE_EXECUTABLE}, "");
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_NE(none.error.find("There is no X11 display here"), std::string::npos) << none.error;
    EXPECT_EQ(none.output, "");
    const auto misspelt = Process::run({NIMBE_EXECUTABLE, "formt"}, "");
    EXPECT_EQ(misspelt.exitCode, 2);
    EXPECT_NE(misspelt.error.find("There is no verb \"formt\"."), std::string::npos);
    const auto help = format({"--help"}, "");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.output.find("--step"), std::string::npos);
}

} // namespace nimbe
