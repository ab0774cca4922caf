#include <array>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "Support/TestModelServer.h"

namespace {

using nimbe::TestModelServer;
using Dialect = TestModelServer::Dialect;
using Thinking = TestModelServer::Options::Thinking;

std::string misbehaviours() {
    std::string all = "WORD is one of:\n";
    for (const auto& name : nimbe::testMisbehaviours()) {
        std::string word(name.word);
        word.resize(20, ' ');
        all += "  " + word + std::string(name.meaning) + "\n";
    }
    return all;
}

} // namespace

int main(int argc, char** argv) {
    TestModelServer::Options options;
    int port = 0;
    std::vector<std::string> models;
    std::vector<std::string> embeddings;
    std::string misbehaviour;
    CLI::App app("A language model's server to try things against. Its model is a plain text "
                 "worker that repeats the text, tidied.");
    app.add_option("--dialect", options.dialect, "llama.cpp, ollama or lm-studio")
        ->transform(CLI::CheckedTransformer(
            std::vector<std::pair<std::string, Dialect>>{{"llama.cpp", Dialect::llamaCpp},
                {"ollama", Dialect::ollama}, {"lm-studio", Dialect::lmStudio}}));
    app.add_option("--port", port, "0: any that is free")->check(CLI::Range(0, 65535));
    app.add_option("--misbehave", misbehaviour, "what it does wrong")->type_name("WORD");
    app.add_flag("--everywhere", options.misbehavesEverywhere,
        "misbehave also where no text is sent (hang, break-off-at-once, redirects, errors, html)");
    app.add_option("--model", models, "the models that it has");
    app.add_option("--embedding-model", embeddings, "models that write no text");
    app.add_option("--pause", options.pause, "seconds before each piece of a streamed answer");
    app.add_option("--head-pause", options.headPause, "seconds; of slow-head");
    app.add_option("--piece", options.pieceLength, "characters")->check(CLI::PositiveNumber);
    app.add_option("--context", options.contextLength, "tokens, here of four bytes");
    app.add_option("--key", options.key, "that requests must bring");
    app.add_option("--redirect-target", options.redirectTarget, "address without a path");
    app.add_flag("--old", options.isOld, "knows no JSON schema");
    app.add_flag("--refuses-effort-none", options.refusesEffortNone);
    app.add_flag("--loading", options.isLoading, "the model is never ready");
    bool thinks = false;
    bool thinksInline = false;
    app.add_flag("--thinking", thinks, "in a member of its own");
    app.add_flag("--thinking-inline", thinksInline, "in <think> before the text");
    app.footer(misbehaviours());
    CLI11_PARSE(app, argc, argv);

    if (!misbehaviour.empty()) {
        const auto kind = nimbe::testMisbehaviour(misbehaviour);
        if (!kind) {
            std::cerr << "test-model-server: no such misbehaviour: " << misbehaviour << "\n"
                      << misbehaviours();
            return 2;
        }
        options.misbehaviour = *kind;
    }
    if (thinks) options.thinking = Thinking::apart;
    if (thinksInline) options.thinking = Thinking::inlined;
    if (!models.empty() || !embeddings.empty()) options.models.clear();
    for (const auto& model : models) options.models.push_back({model});
    for (const auto& model : embeddings)
        options.models.push_back({.id = model, .isEmbedding = true});

    // Blocked before there are threads, which inherit it.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    try {
        const TestModelServer server(std::move(options), port);
        std::cout << server.address() << std::endl;
        int signal = 0;
        sigwait(&ends, &signal);
    } catch (const std::system_error& error) {
        std::cerr << "test-model-server: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
