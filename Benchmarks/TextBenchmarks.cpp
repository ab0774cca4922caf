#include <cstdio>
#include <memory>

#include <benchmark/benchmark.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include "Foundation/Text.h"
#include "NimbeEngine/Text/BulletReflow.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeEngine/Text/EmailBodyFormatter.h"
#include "NimbeEngine/Text/Fillers.h"
#include "NimbeEngine/Text/SpokenCommands.h"
#include "NimbeEngine/Text/SpokenStructure.h"
#include "NimbeEngine/Text/TranscriptOutcome.h"
#include "Support/PlainIcu.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

constexpr std::string_view prose =
    "We met the builders on Tuesday morning and went through the whole house with them, room by "
    "room. The kitchen can stay where it is, but the pipes under the floor have to go, and so does "
    "the old boiler. They think that it takes six weeks, seven if the windows come late, and they "
    "want half of the money before they begin. I said that we would talk about it and call them "
    "back by Friday. ";

/// What people say: a filler or two to the sentence, a command now and then.
constexpr std::string_view dictation =
    "um so we met the builders on Tuesday morning and, uh, went through the whole house with them "
    "room by room new line the kitchen can stay where it is, but the pipes under the floor have to "
    "go, and so does the old boiler. uh, they think that it takes six weeks, open parentheses "
    "seven "
    "if the windows come late close parentheses, and they want half of the money before they begin "
    "new paragraph I said that we would, hmm, talk about it and call them back by Friday. ";

/// Nothing but words that some pattern looks for.
constexpr std::string_view commands =
    "new line um, new paragraph, uh , open parentheses a new line close parentheses between "
    "$0.25,000 one, er, and two, hm. 1) ah - a ( b ) thanks\nHi ";

// Each unit, repeated, is the worst for one pattern or more.
constexpr std::string_view worstUnits[] = {" ", "\t", "\n", ",", ", ", " ,\n", "(", "( ", ") ",
    " )", "new ", "new\n", "a new line ", ", new line ", "parenthesis ", "parenthesis a ",
    "parenthesis a\n", "parenthesis close parenthesisx ", "parenthesis close parenthesis ",
    "open parenthesis a close ", "um", "um ", "u", "h", "hm", "- ", "-\n", ". - ", "1) ", "1",
    "\n1", ". ", "one, ", "x one, ", "x one, a, and ", "x. one, a, and two, ", "between $1.",
    "between ", "\nthanks", "\nthanks\na ", "\nbest ", "hi ", "e\xCC\x81", "\xCC\x81", "\xCD\x85",
    "\xE2\x80\xA8", "um ok ", "so um I was, uh, going  to say . ",
    // Every opening of a line reads on to a close that is none.
    "parenthesis parenthesis parenthesis parenthesis close parenthesis\xC3\xA9\n"};

std::string repeated(std::string_view unit, std::size_t bytes) {
    std::string text;
    while (text.size() < bytes) text += unit;
    text.resize(bytes);
    return text;
}

using StepFunction = std::string (*)(std::string_view);
struct StepUnderTest {
    const char* name;
    StepFunction run;
};
const StepUnderTest steps[] = {
    {"whole path",
        [](std::string_view t) {
            return finishedWithoutCleanup(t, false);
        }},
    {"spoken-commands",
        [](std::string_view t) {
            return formatSpokenCommands(t);
        }},
    {"fillers",
        [](std::string_view t) {
            return stripFillers(t, false);
        }},
    {"reflow",
        [](std::string_view t) {
            return BulletReflow::reflow(t);
        }},
    {"dollar-ranges",
        [](std::string_view t) {
            return fixDollarRanges(t);
        }},
    {"enumerations",
        [](std::string_view t) {
            return formatEnumerations(t);
        }},
    {"email-body",
        [](std::string_view t) {
            return EmailBodyFormatter::stripGreetingAndSignOff(t);
        }},
    {"classify",
        [](std::string_view t) {
            return std::string(TranscriptOutcome::classify(t).isEmpty() ? "" : "x");
        }},
};

/// The least that a step by ICU's patterns costs: to UTF-16, one pass of one
/// compiled pattern that looks for a word that is not there, and back.
std::string barePass(const icu::RegexPattern& pattern, std::string_view text) {
    const auto input = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(input, status));
    benchmark::DoNotOptimize(matcher->find(status));
    std::string output;
    input.toUTF8String(output);
    return output;
}

void benchmarkDictations() {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexPattern> word(
        icu::RegexPattern::compile(u"\\bxylophone\\b", UREGEX_CASE_INSENSITIVE, status));
    const std::pair<const char*, std::string_view> texts[] = {
        {"prose", prose}, {"dictation", dictation}};
    constexpr std::size_t sizes[] = {50, 300, 2000};

    Timings timings;
    const auto name = [](const char* what, const char* text, std::size_t size) {
        return std::string(what) + " " + text + " " + std::to_string(size);
    };
    for (const auto& [textName, unit] : texts) {
        for (const std::size_t size : sizes) {
            const auto text = repeated(unit, size);
            const auto add = [&](const char* what, auto work) {
                timings.add(
                    name(what, textName, size),
                    [work, text] {
                        return [work, text] {
                            benchmark::DoNotOptimize(work(text));
                        };
                    },
                    Timings::Effort::careful);
            };
            add("ours", [](const std::string& t) { return finishedWithoutCleanup(t); });
            add("fresh", [](const std::string& t) { return plainlyFinished(t, true); });
            add("bare", [&word](const std::string& t) { return barePass(*word, t); });
        }
    }
    timings.run();

    std::printf("Text path for AI cleanup off, microseconds per dictation\n\n");
    Table table({"text", "characters", "Nimbe", "bare ICU pass", "Nimbe / bare",
        "patterns compiled afresh", "afresh / Nimbe"});
    constexpr double micro = 1e6;
    for (const auto& [textName, unit] : texts) {
        for (const std::size_t size : sizes) {
            const double ours = timings.seconds(name("ours", textName, size)) * micro;
            const double bare = timings.seconds(name("bare", textName, size)) * micro;
            const double fresh = timings.seconds(name("fresh", textName, size)) * micro;
            table.add({textName, std::to_string(size), figure(ours), figure(bare),
                figure(ours / bare), figure(fresh), figure(fresh / ours)});
        }
    }
    table.print();
}

std::string printable(std::string_view unit) {
    std::string text = "`";
    for (const char c : unit) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            text += "\\n";
        else if (c == '\t')
            text += "\\t";
        else if (byte >= 0x80) {
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "\\x%02X", byte);
            text += buffer;
        } else
            text += c;
    }
    return text + "`";
}

void benchmarkGrowth() {
    constexpr std::size_t sizes[] = {1'000, 10'000, 100'000, 1'000'000, 10'000'000};
    constexpr const char* sizeNames[] = {"1 KB", "10 KB", "100 KB", "1 MB", "10 MB"};
    constexpr std::size_t timedOnceFrom = 100'000;

    Timings timings;
    const auto name = [](const StepUnderTest& step, std::string_view unit, std::size_t size) {
        return std::string(step.name) + "|" + std::string(unit.substr(0, 30)) + "|" +
               std::to_string(size);
    };
    const auto add = [&](const StepUnderTest& step, std::string_view unit, std::size_t size) {
        timings.add(
            name(step, unit, size),
            [unit, size, run = step.run]() -> Timings::Work {
                auto text = repeated(unit, size);
                // A small run first: patterns are compiled on their first use.
                benchmark::DoNotOptimize(run(text.substr(0, 1000)));
                return [text = std::move(text), run] {
                    benchmark::DoNotOptimize(run(text));
                };
            },
            size >= timedOnceFrom ? Timings::Effort::once : Timings::Effort::quick);
    };
    for (const auto& step : steps) {
        for (const std::size_t size : sizes) {
            for (const auto unit : {prose, commands}) add(step, unit, size);
            for (const auto unit : worstUnits) add(step, unit, size);
        }
    }
    timings.run();

    std::printf(
        "Growth of each step, milliseconds; \"worst\" is the slowest of %zu hostile texts\n\n",
        std::size(worstUnits));
    Table table({"step, text", sizeNames[0], sizeNames[1], sizeNames[2], sizeNames[3], sizeNames[4],
        "worst at 1 MB"});
    constexpr double milli = 1e3;
    for (const auto& step : steps) {
        for (const auto& [kind, unit] :
            {std::pair{"prose", prose}, std::pair{"commands", commands}}) {
            std::vector<std::string> row{std::string(step.name) + ", " + kind};
            for (const std::size_t size : sizes)
                row.push_back(figure(timings.seconds(name(step, unit, size)) * milli));
            row.emplace_back();
            table.add(std::move(row));
        }
        std::vector<std::string> row{std::string(step.name) + ", worst"};
        std::string slowestUnit;
        for (const std::size_t size : sizes) {
            double slowest = 0;
            for (const auto unit : worstUnits) {
                const double seconds = timings.seconds(name(step, unit, size));
                if (seconds > slowest && size == 1'000'000) slowestUnit = printable(unit);
                slowest = std::max(slowest, seconds);
            }
            row.push_back(figure(slowest * milli));
        }
        row.push_back(slowestUnit);
        table.add(std::move(row));
    }
    table.print();
}

} // namespace

void benchmarkText() {
    benchmarkDictations();
    benchmarkGrowth();
}

} // namespace nimbe
