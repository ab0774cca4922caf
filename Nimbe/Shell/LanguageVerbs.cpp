#include "NimbeShell/LanguageVerbs.h"

#include <CLI/CLI.hpp>

#include "NimbeShell/ModelCommand.h"
#include "NimbeShell/ShellServices.h"
#include "NimbeShell/TransformCommand.h"

namespace nimbe {

struct LanguageVerbs::Verbs {
    CLI::App* transform = nullptr;
    CLI::App* model = nullptr;
    TransformOptions transformOptions;
    ModelOptions modelOptions;
};

namespace {

constexpr const char* transformFooter =
    "Reads a text from standard input, or takes the dictation ID, and writes it anew:\n"
    "  shorter        about half as long\n"
    "  bullets        as a list\n"
    "  email          as an e-mail, signed with the setting emailSignatureName\n"
    "  fix            spelling, grammar and punctuation mended, nothing else\n"
    "  anything else  is an instruction of your own: nimbe transform \"in French\"\n"
    "The new text of a dictation is saved; history show --original has the first.\n"
    "Whatever goes wrong, the text as it was goes to standard output, unless that is\n"
    "a terminal. nimbe model status tells which language model is asked.\n"
    "Exit codes: 0 done, 1 not transformed or not saved, 2 wrong usage, 130 Ctrl+C.";

constexpr const char* modelFooter =
    "Speech models, which turn sound into text, have the verb models.\n"
    "Exit codes: 0 a model can be used, 1 none can, 2 wrong usage.";

} // namespace

LanguageVerbs::LanguageVerbs(CLI::App& app) : verbs(std::make_unique<Verbs>()) {
    auto& transform = verbs->transformOptions;
    verbs->transform = app.add_subcommand("transform", "Reshape a text or a kept dictation");
    auto* words = verbs->transform->add_option(
        "WHAT", transform.what.words, "shorter, bullets, email, fix, or an instruction");
    auto* own = verbs->transform->add_option(
        "--instruction", transform.what.instruction, "Your instruction, also where it is a name");
    own->type_name("TEXT")->excludes(words);
    verbs->transform
        ->add_option("--id", transform.id, "Take this dictation, and save what becomes of it")
        ->type_name("ID");
    verbs->transform->add_flag("--json", transform.isJson, "Write JSON");
    verbs->transform->footer(transformFooter);

    verbs->model = app.add_subcommand("model", "Show the language model that polishes texts");
    verbs->model->require_subcommand(1);
    verbs->model->footer(modelFooter);
    const auto add = [this](const char* name, ModelOptions::Verb verb, const char* text) {
        auto* sub = verbs->model->add_subcommand(name, text);
        sub->add_flag("--json", verbs->modelOptions.isJson, "Write JSON");
        sub->callback([this, verb] { verbs->modelOptions.verb = verb; });
    };
    add("status", ModelOptions::Verb::status, "Tell which model would be used, or why none");
    add("list", ModelOptions::Verb::list, "List the server's models; * marks the used one");
}

LanguageVerbs::~LanguageVerbs() = default;

const CLI::App* LanguageVerbs::group() const {
    return verbs->model;
}

bool LanguageVerbs::isParsed() const {
    return verbs->transform->parsed() || verbs->model->parsed();
}

std::string LanguageVerbs::usage() const {
    if (!verbs->transform->parsed()) return {};
    return "Usage: nimbe transform shorter|bullets|email|fix|INSTRUCTION [--id ID] < TEXT\n"
           "nimbe transform --help tells more.\n";
}

int LanguageVerbs::run(ShellServices& services, Streams streams) const {
    if (verbs->transform->parsed()) {
        const auto& what = verbs->transformOptions.what;
        if (what.words.empty() && !what.instruction) {
            streams.error << "nimbe: What is to be made of the text?\n" << usage();
            return ExitCode::usage;
        }
        return runTransform(verbs->transformOptions, services, streams);
    }
    const auto* language = services.language(streams.error);
    return language ? runModel(verbs->modelOptions, *language, streams) : ExitCode::failure;
}

} // namespace nimbe
