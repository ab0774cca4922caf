#include "NimbeShell/CommandLine.h"

#include <ostream>

#include <CLI/CLI.hpp>

#include "NimbeShell/FormatCommand.h"

namespace nimbe {
namespace {

void addFormat(CLI::App& app, FormatOptions& options) {
    auto* keep = app.add_flag_callback(
        "--preserve-case", [&] { options.preserveCase = true; },
        "Leave the first letter's case as it is (the default)");
    app.add_flag_callback(
           "--no-preserve-case", [&] { options.preserveCase = false; },
           "A text that began with a filler word begins with a capital")
        ->excludes(keep);
    app.add_option("--step", options.step, "Run this step alone")
        ->type_name("NAME")
        ->check(CLI::IsMember(formatStepNames()));
    app.add_flag(
        "--json", options.isJson, "Read one JSON string a line and write one JSON value a line");
    app.footer("Without --json the whole input is one text; a newline at its end is left off\n"
               "and the result ends with one. The step \"classify\" writes \"empty\" or\n"
               "{\"present\": TEXT}.");
}

} // namespace

int runCommandLine(int argc, const char* const* argv, Streams streams) {
    CLI::App app("Dictation on your own machine", "nimbe");
    app.set_version_flag("--version", "nimbe " NIMBE_VERSION);
    app.require_subcommand(1);
    app.footer("Exit codes: 0 done, 1 bad input or no place for the output, 2 wrong usage.");

    FormatOptions format;
    auto* formatVerb = app.add_subcommand(
        "format", "Turn a raw transcript from standard input into finished text");
    addFormat(*formatVerb, format);

    const auto refuse = [&](const std::string& message) {
        streams.error << "nimbe: " << message << "\n";
        if (formatVerb->parsed())
            streams.error
                << "Usage: nimbe format [--step NAME] [--no-preserve-case] [--json] < TEXT\n"
                   "nimbe format --help tells more.\n";
        else
            streams.error << "Usage: nimbe VERB [OPTIONS]\nnimbe --help lists the verbs.\n";
        return ExitCode::usage;
    };
    // Left to itself the library says only that a verb is missing.
    if (argc < 2) return refuse("A verb is needed.");
    const auto isNamed = [&](const CLI::App* verb) {
        return verb->check_name(argv[1]);
    };
    if (argv[1][0] != '-' && app.get_subcommands(isNamed).empty())
        return refuse("There is no verb \"" + std::string(argv[1]) + "\".");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != ExitCode::success) return refuse(error.what());
        app.exit(error, streams.output, streams.error); // help or version
        return streams.output.flush() ? ExitCode::success : ExitCode::failure;
    }
    return runFormat(format, streams);
}

} // namespace nimbe
