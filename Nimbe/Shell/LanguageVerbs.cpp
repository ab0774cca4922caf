#include "NimbeShell/LanguageVerbs.h"

#include <CLI/CLI.hpp>

#include "NimbeShell/ModelCommand.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {

struct LanguageVerbs::Verbs {
    CLI::App* model = nullptr;
    ModelOptions modelOptions;
};

namespace {

constexpr const char* modelFooter =
    "Speech models, which turn sound into text, have the verb models.\n"
    "Exit codes: 0 a model can be used, 1 none can, 2 wrong usage.";

} // namespace

LanguageVerbs::LanguageVerbs(CLI::App& app) : verbs(std::make_unique<Verbs>()) {
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
    return verbs->model->parsed();
}

int LanguageVerbs::run(ShellServices& services, Streams streams) const {
    const auto* language = services.language(streams.error);
    return language ? runModel(verbs->modelOptions, *language, streams) : ExitCode::failure;
}

} // namespace nimbe
