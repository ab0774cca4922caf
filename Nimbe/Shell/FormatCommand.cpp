#include "NimbeShell/FormatCommand.h"

#include <array>
#include <functional>
#include <istream>
#include <iterator>
#include <ostream>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Text/BulletReflow.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeEngine/Text/EmailBodyFormatter.h"
#include "NimbeEngine/Text/Fillers.h"
#include "NimbeEngine/Text/SpokenCommands.h"
#include "NimbeEngine/Text/SpokenStructure.h"
#include "NimbeEngine/Text/TranscriptOutcome.h"
#include "NimbeShell/Input.h"
#include "NimbeShell/ModelCleanup.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {
namespace {

std::string classified(const std::string& text) {
    const auto outcome = TranscriptOutcome::classify(text);
    if (outcome.isEmpty()) return R"("empty")";
    return R"({"present": )" + Json(*outcome.presentText()).text() + "}";
}

/// A step's result is a text, or what is to be written as it is.
struct Step {
    enum class Result { text, json };
    const char* name;
    std::string (*run)(const std::string& text, bool preserveCase);
    Result result = Result::text;
};

constexpr std::array steps{
    Step{"spoken-commands",
        [](const std::string& text, bool) {
            return formatSpokenCommands(text);
        }},
    Step{"fillers",
        [](const std::string& text, bool keep) {
            return stripFillers(text, keep);
        }},
    Step{"reflow",
        [](const std::string& text, bool) {
            return BulletReflow::reflow(text);
        }},
    Step{"dollar-ranges",
        [](const std::string& text, bool) {
            return fixDollarRanges(text);
        }},
    Step{"enumerations",
        [](const std::string& text, bool) {
            return formatEnumerations(text);
        }},
    Step{"structure",
        [](const std::string& text, bool) {
            return formatSpokenStructure(text);
        }},
    Step{"email-body",
        [](const std::string& text, bool) {
            return EmailBodyFormatter::stripGreetingAndSignOff(text);
        }},
    Step{"classify", [](const std::string& text, bool) { return classified(text); },
        Step::Result::json},
};

constexpr Step wholePath{"", [](const std::string& text, bool keep) {
                             return finishedWithoutCleanup(text, keep);
                         }};

const Step& stepNamed(const std::string& name) {
    for (const auto& step : steps)
        if (name == step.name) return step;
    return wholePath;
}

int fail(Streams streams, const std::string& message) {
    streams.error << "nimbe format: " << message << "\n";
    return ExitCode::failure;
}

int outputEnded(Streams streams) {
    streams.output.flush();
    if (streams.output) return ExitCode::success;
    return fail(streams, "The output cannot be written.");
}

enum class Read { text, end, tooLong, failed };

/// The next line, without its end; in pieces, so that one without an end is
/// refused before it fills the memory.
Read readLine(std::istream& input, std::string& line) {
    line.clear();
    std::array<char, 65536> buffer{};
    for (;;) {
        input.getline(buffer.data(), buffer.size());
        const auto count = static_cast<std::size_t>(input.gcount());
        if (input.bad()) return Read::failed;
        const bool isEnded = !input.fail() && !input.eof();
        line.append(buffer.data(), isEnded ? count - 1 : count); // the line end is counted
        if (line.size() > largestInput) return Read::tooLong;
        if (isEnded) return Read::text;
        if (input.eof()) return line.empty() ? Read::end : Read::text;
        input.clear(); // the buffer was full
    }
}

/// What becomes of each text.
struct Formatting {
    std::function<std::string(const std::string&)> run;
    Step::Result result = Step::Result::text;
};

DictationMode modeOf(const FormatOptions& options, ShellServices& shell, Streams streams) {
    auto mode = dictationMode(options.mode);
    if (mode) return *mode;
    auto* const defaults = shell.settings(streams.error);
    if (defaults) mode = dictationMode(defaults->get(AppSettings::dictationMode));
    return mode.value_or(DictationMode::messaging);
}

int formatText(const Formatting& formatting, Streams streams) {
    const auto text = readText(streams.input, "nimbe format", streams.error);
    if (!text) return ExitCode::failure;
    const auto result = formatting.run(*text);
    streams.output << result;
    if (!result.empty()) streams.output << "\n";
    return outputEnded(streams);
}

int formatJsonLines(const Formatting& formatting, Streams streams) {
    std::string line;
    for (std::size_t number = 1;; ++number) {
        const auto here = "Line " + std::to_string(number);
        const auto read = readLine(streams.input, line);
        if (read == Read::end) break;
        if (read == Read::tooLong) return fail(streams, here + " is longer than 256 MiB.");
        if (read == Read::failed) return fail(streams, here + " cannot be read.");
        const auto json = Json::parse(line);
        if (!json || !json->asString()) return fail(streams, here + " is not a JSON string.");
        const auto result = formatting.run(*json->asString());
        const bool isJson = formatting.result == Step::Result::json;
        streams.output << (isJson ? result : Json(result).text()) << "\n";
        // A program at the other end may wait for this answer before it asks on.
        if (!streams.output.flush()) break;
    }
    return outputEnded(streams);
}

} // namespace

std::vector<std::string> formatStepNames() {
    std::vector<std::string> names;
    names.reserve(steps.size());
    for (const auto& step : steps) names.emplace_back(step.name);
    return names;
}

int runFormat(const FormatOptions& options, ShellServices& shell, Streams streams) {
    const auto run = [&](const Formatting& formatting) {
        return options.isJson ? formatJsonLines(formatting, streams)
                              : formatText(formatting, streams);
    };
    if (options.isPolished) {
        ModelCleanup cleanup(modeOf(options, shell, streams), shell, "nimbe format", streams.error);
        return run({[&](const std::string& text) {
            return cleanup.finished(text);
        }});
    }
    const Step& step = stepNamed(options.step);
    return run({[&](const std::string& text) { return step.run(text, options.preserveCase); },
        step.result});
}

} // namespace nimbe
