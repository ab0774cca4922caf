#include "NimbeShell/SpeechVerbs.h"

#include <CLI/CLI.hpp>

#include "NimbeShell/ShellServices.h"

namespace nimbe {

struct SpeechVerbs::Verbs {
    CLI::App* transcribe = nullptr;
    CLI::App* listen = nullptr;
    CLI::App* devices = nullptr;
    TranscribeOptions transcribeOptions;
    ListenOptions listenOptions;
    DevicesOptions devicesOptions;
};

namespace {

std::vector<std::string> modelIDs() {
    std::vector<std::string> ids;
    for (const auto& model : SpeechModel::all()) ids.emplace_back(model.id);
    return ids;
}

/// What both verbs take that turn speech into text.
template <typename Options>
void addOptions(CLI::App& verb, Options& options) {
    verb.add_option("--model", options.model, "The speech model (base)")
        ->type_name("MODEL")
        ->check(CLI::IsMember(modelIDs()));
    auto* raw = verb.add_flag("--raw", options.isRaw, "The text as it was recognised");
    verb.add_flag("--json", options.isJson, "Both texts, and the utterances with their times")
        ->excludes(raw);
    verb.add_flag("--save", options.isSaved, "Keep the finished text in the history");
    verb.add_option("--mode", options.mode, "What a kept text is for (notes)")
        ->type_name("MODE")
        ->check(CLI::IsMember({"messaging", "email", "notes", "coding"}));
}

} // namespace

SpeechVerbs::SpeechVerbs(CLI::App& app) : verbs(std::make_unique<Verbs>()) {
    verbs->transcribe = app.add_subcommand("transcribe", "Turn recordings into text");
    verbs->transcribe->add_option("FILE", verbs->transcribeOptions.files, "WAV, FLAC, Ogg or MP3")
        ->required();
    addOptions(*verbs->transcribe, verbs->transcribeOptions);
    verbs->transcribe->footer(
        "The finished text goes to standard output, as a dictation would be inserted;\n"
        "the texts of several recordings stand apart by a blank line. With --json each\n"
        "is one object on a line of its own; what went wrong is its \"error\". Standard\n"
        "input is not read. On a terminal a bar shows how far it is; Ctrl+C ends it with\n"
        "what was recognised. A name that begins with a dash goes after --.\n"
        "Exit codes: 0 done, 1 a recording could not be read to its end, or a text not\n"
        "be kept, 2 wrong usage.");

    verbs->listen = app.add_subcommand("listen", "Turn what is said into text, until Enter");
    addOptions(*verbs->listen, verbs->listenOptions);
    verbs->listen->footer(
        "Listens until Enter, the end of standard input or Ctrl+C, then writes the\n"
        "finished text to standard output. On a terminal the text is shown as it grows.\n"
        "Exit codes: 0 done, 1 the microphone failed, the end of the text may be\n"
        "missing, or the text was not kept, 2 wrong usage.");

    verbs->devices = app.add_subcommand("devices", "List the microphones");
    verbs->devices
        ->add_option("--use", verbs->devicesOptions.chosen,
            "Use this one from now on; \"default\": the system's")
        ->type_name("ID");
    verbs->devices->add_flag("--json", verbs->devicesOptions.isJson, "Write JSON");
    verbs->devices->footer(
        "The chosen one is marked with *; the ID is in parentheses.\n"
        "Exit codes: 0 done, 1 no sound server or no such microphone, 2 wrong usage.");
}

SpeechVerbs::~SpeechVerbs() = default;

bool SpeechVerbs::isParsed() const {
    return verbs->transcribe->parsed() || verbs->listen->parsed() || verbs->devices->parsed();
}

std::string SpeechVerbs::usage() const {
    if (verbs->transcribe->parsed())
        return "Usage: nimbe transcribe FILE... [OPTIONS]\nnimbe transcribe --help tells more.\n";
    const std::string name = verbs->listen->parsed() ? "listen" : "devices";
    return "Usage: nimbe " + name + " [OPTIONS]\nnimbe " + name + " --help tells more.\n";
}

int SpeechVerbs::run(ShellServices& services, Streams streams) const {
    if (verbs->transcribe->parsed()) {
        const auto* transcription = services.transcription(streams.error);
        if (!transcription) return ExitCode::failure;
        return runTranscribe(verbs->transcribeOptions, *transcription, services, streams);
    }
    if (verbs->listen->parsed()) {
        const auto* listening = services.listening(verbs->listenOptions.model, streams.error);
        if (!listening) return ExitCode::failure;
        return runListen(verbs->listenOptions, *listening, services, streams);
    }
    const auto* devices = services.devices(streams.error);
    return devices ? runDevices(verbs->devicesOptions, *devices, streams) : ExitCode::failure;
}

} // namespace nimbe
