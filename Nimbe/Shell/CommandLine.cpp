#include "NimbeShell/CommandLine.h"

#include <optional>
#include <ostream>
#include <span>

#include <CLI/CLI.hpp>

#include "NimbeShell/FormatCommand.h"
#include "NimbeShell/HistoryCommand.h"
#include "NimbeShell/LanguageVerbs.h"
#include "NimbeShell/MCPVerbs.h"
#include "NimbeShell/ModelsCommand.h"
#include "NimbeShell/RemoteVerbs.h"
#include "NimbeShell/SettingsVerbs.h"
#include "NimbeShell/ShellServices.h"
#include "NimbeShell/SpeechVerbs.h"

namespace nimbe {
namespace {

void addFormat(CLI::App& app, FormatOptions& options) {
    auto* keep = app.add_flag_callback(
        "--preserve-case", [&] { options.preserveCase = true; },
        "Leave the first letter's case as it is (the default)");
    auto* change = app.add_flag_callback(
        "--no-preserve-case", [&] { options.preserveCase = false; },
        "Begin with a capital after a filler word");
    change->excludes(keep);
    auto* step = app.add_option("--step", options.step, "Run this step alone")
                     ->option_text("NAME")
                     ->check(CLI::IsMember(formatStepNames()));
    auto* polish = app.add_flag("--ai", options.isPolished, "As with AI cleanup on")
                       ->excludes(step)
                       ->excludes(keep)
                       ->excludes(change);
    app.add_option("--mode", options.mode, "With --ai: what the text is for")
        ->type_name("MODE")
        ->needs(polish)
        ->check(CLI::IsMember({"messaging", "email", "notes", "coding"}));
    app.add_flag("--json", options.isJson, "Read a JSON string a line, write a JSON value a line");
    app.footer("Steps: spoken-commands, fillers, reflow, dollar-ranges, enumerations,\n"
               "structure, email-body, classify.\n"
               "Without --json the whole input is one text; a newline at its end is left off\n"
               "and the result ends with one. The step \"classify\" writes \"empty\" or\n"
               "{\"present\": TEXT}. With --ai a language model polishes the text, but not for\n"
               "coding; where none answers in time the rules alone make it.");
}

using HistoryVerb = HistoryOptions::Verb;

/// One verb of the history, with the options that it takes.
class HistoryVerbs {
public:
    HistoryVerbs(CLI::App& history, HistoryOptions& options) : history(history), options(options) {}

    void addAll() {
        auto* list = add("list", HistoryVerb::list, "List the dictations, newest first");
        addLimit(list);
        auto* search =
            add("search", HistoryVerb::search, "List the dictations that hold QUERY as it stands");
        search->add_option("QUERY", options.query, "Upper and lower case are the same")->required();
        addLimit(search);
        auto* show = add("show", HistoryVerb::show, "Print the text of a dictation");
        show->add_option("ID", options.ids)->required()->expected(1);
        show->add_flag("--original", options.wantsOriginal, "The text before any edits");
        auto* save = add("export", HistoryVerb::exportTo, "Write all as Markdown files");
        save->add_option("FOLDER", options.folder, "Made when only its last part is missing")
            ->required();
        auto* keep = add("add", HistoryVerb::add, "Keep the text on standard input");
        keep->add_option("--mode", options.mode, "What it is for (notes)")
            ->type_name("MODE")
            ->check(CLI::IsMember({"messaging", "email", "notes", "coding"}));
        auto* remove = add("delete", HistoryVerb::deleteIds, "Move dictations to Recently Deleted");
        addIds(remove);
        remove->add_flag("--yes", options.isConfirmed, "More than it holds, too");
        addIds(add("restore", HistoryVerb::restore, "Bring deleted dictations back"));
        add("trash", HistoryVerb::trash, "List Recently Deleted, last deleted first");
        addIds(add("erase", HistoryVerb::erase, "Delete for good what is in Recently Deleted"));
        add("empty-trash", HistoryVerb::empty, "Delete for good all that is there")
            ->add_flag("--yes", options.isConfirmed, "Yes, all of it");
    }

private:
    CLI::App& history;
    HistoryOptions& options;

    CLI::App* add(const char* name, HistoryVerb verb, const char* text) {
        auto* app = history.add_subcommand(name, text);
        app->add_flag("--json", options.isJson, "Write JSON");
        app->callback([this, verb] { options.verb = verb; });
        return app;
    }
    void addIds(CLI::App* verb) {
        verb->add_option("ID", options.ids, "Whole, or its first digits, at least four")
            ->required();
    }
    void addLimit(CLI::App* verb) {
        verb->add_option("--limit", options.limit, "At most so many")
            ->type_name("NUMBER")
            ->check(CLI::Range(0, 1'000'000));
    }
};

constexpr const char* historyFooter =
    "An ID is what list shows, or more of it. Deleted dictations stay in Recently\n"
    "Deleted for 30 days. With --json times are ISO 8601 in UTC.\n"
    "The last hundred dictations are kept, or all of them where the setting\n"
    "historyEnabled is on.\n"
    "Exit codes: 0 done, 1 not done (no such dictation, locked keyring, full disk),\n"
    "2 wrong usage.";

using ModelsVerb = ModelsOptions::Verb;

/// One verb of the speech models, with the options that it takes.
class ModelsVerbs {
public:
    ModelsVerbs(CLI::App& models, ModelsOptions& options) : models(models), options(options) {}

    void addAll() {
        add("list", ModelsVerb::list, "List the models that this version knows");
        add("status", ModelsVerb::status, "Tell where a model is and how much of it")
            ->add_option("MODEL", options.models, "One that list shows; all if none is named")
            ->expected(0, 1);
        auto* install = add("install", ModelsVerb::install, "Download a model, or the rest of it");
        install->add_option("MODEL", options.models, "One that list shows")
            ->required()
            ->expected(1);
        install
            ->add_option("--from", options.address,
                "Where the models' folders are on the web; kept\n"
                "once it has brought a model")
            ->type_name("ADDRESS");
        add("remove", ModelsVerb::remove, "Delete a model that was downloaded, or its rest")
            ->add_option("MODEL", options.models, "One that list shows")
            ->required()
            ->expected(1);
        add("verify", ModelsVerb::verify, "Compare all files of models with their digests")
            ->add_option("MODEL", options.models, "All that are installed if none is named");
    }

private:
    CLI::App& models;
    ModelsOptions& options;

    CLI::App* add(const char* name, ModelsVerb verb, const char* text) {
        auto* app = models.add_subcommand(name, text);
        app->add_flag("--json", options.isJson, "Write JSON");
        app->callback([this, verb] { options.verb = verb; });
        return app;
    }
};

constexpr const char* modelsFooter =
    "A download that broke off, or was ended with Ctrl+C, goes on where it was when\n"
    "install is run again. A model is there whole or not at all.\n"
    "Exit codes: 0 done, 1 not done (no network, full disk, a damaged file),\n"
    "2 wrong usage.";

/// Before the library is asked, which says only that a verb is missing.
std::optional<std::string> missingVerb(const CLI::App& app, const char* const* words, int count) {
    if (count < 1) return "A verb is needed.";
    const auto isNamed = [&](const CLI::App* verb) {
        return verb->check_name(words[0]);
    };
    if (words[0][0] == '-' || !app.get_subcommands(isNamed).empty()) return std::nullopt;
    return "There is no verb \"" + std::string(words[0]) + "\".";
}

/// The verb with verbs of its own that the first word names.
const CLI::App* groupOf(
    int argc, const char* const* argv, std::span<const CLI::App* const> groups) {
    for (const auto* group : groups)
        if (argc > 1 && group->check_name(argv[1])) return group;
    return nullptr;
}

} // namespace

int runCommandLine(int argc, const char* const* argv, ShellServices& services, Streams streams) {
    CLI::App app("Dictation on your own machine", "nimbe");
    app.set_version_flag("--version", "nimbe " NIMBE_VERSION);
    app.require_subcommand(1);
    app.get_formatter()->column_width(24); // lines of at most 80
    app.footer("Without a verb the application starts; with --hidden it shows no window.\n"
               "Exit codes: 0 done, 1 not done, 2 wrong usage. Each verb's --help says more.");

    FormatOptions format;
    auto* formatVerb = app.add_subcommand("format", "Turn a raw transcript into finished text");
    addFormat(*formatVerb, format);
    HistoryOptions history;
    auto* historyVerb = app.add_subcommand("history", "List, find, export and delete dictations");
    historyVerb->require_subcommand(1);
    historyVerb->footer(historyFooter);
    HistoryVerbs historyVerbs(*historyVerb, history);
    historyVerbs.addAll();
    SpeechVerbs speech(app);
    LanguageVerbs language(app);

    ModelsOptions models;
    auto* modelsVerb = app.add_subcommand("models", "Install and check speech models");
    modelsVerb->require_subcommand(1);
    modelsVerb->footer(modelsFooter);
    ModelsVerbs modelsVerbs(*modelsVerb, models);
    modelsVerbs.addAll();
    SettingsVerbs settings(app);
    MCPVerbs mcp(app);
    RemoteVerbs remote(app);

    const CLI::App* const groups[] = {
        historyVerb, modelsVerb, settings.app(), language.group(), mcp.app()};
    const auto refuse = [&](const std::string& message) {
        streams.error << "nimbe: " << message << "\n";
        if (formatVerb->parsed())
            streams.error
                << "Usage: nimbe format [--step NAME] [--ai] [--no-preserve-case] [--json] < TEXT\n"
                   "nimbe format --help tells more.\n";
        else if (const auto* group = groupOf(argc, argv, groups))
            streams.error << "Usage: nimbe " << group->get_name() << " VERB [OPTIONS]\nnimbe "
                          << group->get_name() << " --help lists the verbs.\n";
        else if (speech.isParsed())
            streams.error << speech.usage();
        else if (language.isParsed())
            streams.error << language.usage();
        else if (remote.isParsed())
            streams.error << remote.usage();
        else
            streams.error << "Usage: nimbe VERB [OPTIONS]\nnimbe --help lists the verbs.\n";
        return ExitCode::usage;
    };
    if (const auto message = missingVerb(app, argv + 1, argc - 1)) return refuse(*message);
    if (const auto* group = groupOf(argc, argv, groups))
        if (const auto message = missingVerb(*group, argv + 2, argc - 2)) return refuse(*message);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != ExitCode::success) return refuse(error.what());
        app.exit(error, streams.output, streams.error); // help or version
        return streams.output.flush() ? ExitCode::success : ExitCode::failure;
    }
    if (formatVerb->parsed()) return runFormat(format, services, streams);
    if (modelsVerb->parsed()) {
        const auto* modelServices = services.models(streams.error);
        return modelServices ? runModels(models, *modelServices, streams) : ExitCode::failure;
    }
    if (speech.isParsed()) return speech.run(services, streams);
    if (language.isParsed()) return language.run(services, streams);
    if (settings.isParsed()) return settings.run(services, streams);
    if (mcp.isParsed()) return mcp.run(services, streams);
    if (remote.isParsed()) return remote.run(services, streams);
    const auto* historyServices = services.history(streams.error);
    return historyServices ? runHistory(history, *historyServices, streams) : ExitCode::failure;
}

} // namespace nimbe
