#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>

#include "Fakes/FakeAudioInput.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/RunLoop.h"
#include "NimbeEngine/Audio/AudioCapture.h"
#include "NimbeEngine/Audio/SampleQueue.h"
#include "NimbeEngine/Speech/LocalSpeechEngine.h"
#include "PlatformAudio/SampleRateConverters.h"
#include "PlatformSpeech/OnnxSpeechRuntime.h"
#include "Support/Process.h"
#include "Support/RecordedSpeech.h"
#include "Support/TemporaryFolder.h"
#include "Support/WordErrors.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

constexpr AudioFormat heardFormat{16000, 1};
constexpr std::size_t rate = 16000;

Seconds now() {
    using namespace std::chrono;
    return duration<Seconds>(steady_clock::now().time_since_epoch()).count();
}

/// Of all threads of this process.
Seconds processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<Seconds>(time.tv_sec) + static_cast<Seconds>(time.tv_nsec) * 1e-9;
}

double at(std::vector<double> values, double part) {
    if (values.empty()) throw std::runtime_error("nothing was measured");
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(part * last + 0.5)];
}

std::string percent(double part) {
    return figure(part * 100) + " %";
}

std::string milliseconds(Seconds seconds) {
    return figure(seconds * 1000) + " ms";
}

/// Recordings from 1 to 16 s: alone, and several with pauses of 0.6 s between them.
std::vector<std::vector<float>> dictations() {
    std::vector<std::vector<float>> all;
    const auto sentences = RecordedSpeech::sentences();
    for (const auto& sentence : sentences) all.push_back(sentence.samples());
    for (const auto& phrase : RecordedSpeech::phrases()) all.push_back(phrase.samples());
    const auto joined = [&](std::initializer_list<std::size_t> parts) {
        std::vector<float> samples;
        for (const auto part : parts) {
            const auto next = sentences[part].samples();
            samples.insert(samples.end(), next.begin(), next.end());
            samples.insert(samples.end(), rate * 6 / 10, 0.0F);
        }
        all.push_back(samples);
    };
    joined({0, 1});
    joined({2, 3});
    joined({4, 1});
    joined({3, 4, 2});
    return all;
}

/// Without what follows the last word.
void endWithSpeech(std::vector<float>& samples, VoiceDetector& detector) {
    constexpr auto window = VoiceDetector::windowSize;
    detector.reset();
    std::size_t end = 0;
    for (std::size_t i = 0; i + window <= samples.size(); i += window)
        if (detector.probability(std::span<const float, window>(samples.data() + i, window)) > 0.5)
            end = i + window;
    samples.resize(end);
}

const auto goOn = [] {
    return true;
};

struct Undisturbed {
    std::string text;
    SampleRange last; // utterance
};

Undisturbed undisturbed(SpeechRuntime::Recognizer& models, const std::vector<float>& samples) {
    Undisturbed result;
    UtteranceRecognizer recognizer(*models.detector, *models.decoder,
        UtteranceRecognizer::Volatile::unwanted, [&](const TranscriptionResult& utterance) {
            result.text += utterance.text;
            result.last = {static_cast<std::size_t>(utterance.begin * rate + 0.5),
                static_cast<std::size_t>(utterance.end * rate + 0.5)};
        });
    recognizer.hear(samples);
    recognizer.finish();
    (void)recognizer.work(goOn);
    return result;
}

/// One dictation, fed in real time in pieces of 20 ms as a microphone would.
class LiveDictation {
public:
    std::string text;
    Seconds firstPartial = 0; // from the first sample on
    Seconds release = 0;      // from the end of the sound to the end of the results

    LiveDictation(RunLoop& loop, LocalSpeechEngine& engine, const std::vector<float>& samples)
        : loop(loop), engine(engine) {
        auto results = engine.start("en-US", heardFormat);
        began = now();
        std::thread microphone([&] { feed(samples); });
        loop.runUntilDone(take(*results));
        microphone.join();
    }

private:
    RunLoop& loop;
    LocalSpeechEngine& engine;
    Seconds began = 0;
    Seconds released = 0;

    void feed(const std::vector<float>& samples) {
        constexpr std::size_t piece = rate / 50;
        PCMBuffer buffer(heardFormat, piece);
        auto next = std::chrono::steady_clock::now();
        for (std::size_t at = 0; at < samples.size(); at += piece) {
            buffer.frameLength = std::min(piece, samples.size() - at);
            std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(at), buffer.frameLength,
                buffer.samples.begin());
            next += std::chrono::milliseconds(20);
            std::this_thread::sleep_until(next);
            engine.input().yield({buffer});
        }
        loop.post([this] {
            released = now();
            engine.finish();
        });
    }

    Task<void> take(TranscriptionResults results) {
        for (;;) {
            auto waiting = results.next();
            const auto next = co_await waiting;
            if (!next) break;
            if (!*next) continue;
            if ((*next)->isFinal)
                text += (*next)->text;
            else if (firstPartial == 0)
                firstPartial = now() - began;
        }
        release = now() - released;
    }
};

struct Live {
    std::vector<double> releases;
    std::vector<double> firstPartials;
    std::vector<double> limits; // an undisturbed decode of the last utterance
    std::size_t equal = 0;
    std::size_t count = 0;
    double processor = 0; // seconds of processor time a second of sound
};

Live dictate(LocalSpeechEngine& engine, RunLoop& loop, SpeechRuntime::Recognizer& models,
    Seconds pauseBeforeRelease) {
    Live live;
    Seconds heard = 0;
    Seconds used = 0;
    for (auto samples : dictations()) {
        endWithSpeech(samples, *models.detector);
        samples.resize(samples.size() + static_cast<std::size_t>(pauseBeforeRelease * rate), 0.0F);
        const auto before = processorTime();
        const LiveDictation dictation(loop, engine, samples);
        used += processorTime() - before;
        heard += static_cast<Seconds>(samples.size()) / rate;

        const auto alone = undisturbed(models, samples);
        const std::span utterance(
            samples.begin() + static_cast<std::ptrdiff_t>(alone.last.begin), alone.last.size());
        const auto began = now();
        (void)models.decoder->decode(utterance, {}, goOn);
        live.limits.push_back(now() - began);
        live.releases.push_back(dictation.release);
        if (dictation.firstPartial > 0) live.firstPartials.push_back(dictation.firstPartial);
        if (dictation.text == alone.text)
            ++live.equal;
        else
            std::fprintf(stderr, "live:        %s\nundisturbed: %s\n", dictation.text.c_str(),
                alone.text.c_str());
        ++live.count;
    }
    live.processor = used / heard;
    return live;
}

struct Files {
    WordErrors sentences;
    WordErrors phrases;
    Seconds sound = 0;
    Seconds time = 0;
};

Files transcribe(SpeechRuntime::Recognizer& models) {
    Files files;
    const auto add = [&](const std::vector<RecordedSpeech>& recordings, WordErrors& errors) {
        for (const auto& recording : recordings) {
            const auto samples = recording.samples();
            const auto began = now();
            const auto text = undisturbed(models, samples).text;
            files.time += now() - began;
            files.sound += static_cast<Seconds>(samples.size()) / rate;
            const auto wrong = WordErrors::between(recording.said, text);
            errors.wrong += wrong.wrong;
            errors.words += wrong.words;
        }
    };
    add(RecordedSpeech::sentences(), files.sentences);
    add(RecordedSpeech::phrases(), files.phrases);
    return files;
}

/// The most memory that a child of this process held, in MB, of those that ended so
/// far: grows only, so the smallest comes first.
double largestChild() {
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1000;
}

std::string errorsText(const WordErrors& errors) {
    return std::to_string(errors.wrong) + " of " + std::to_string(errors.words);
}

struct Peer {
    Files files;
    double memory = 0;
};

Peer pocketSphinx() {
    Peer peer;
    const auto add = [&](const std::vector<RecordedSpeech>& recordings, WordErrors& errors) {
        for (const auto& recording : recordings) {
            const auto began = now();
            const auto run = Process::run({"/usr/bin/pocketsphinx_continuous", "-infile",
                                              recording.file.string(), "-logfn", "/dev/null"},
                "");
            peer.files.time += now() - began;
            peer.files.sound += static_cast<Seconds>(recording.samples().size()) / rate;
            const auto wrong = WordErrors::between(recording.said, run.output);
            errors.wrong += wrong.wrong;
            errors.words += wrong.words;
        }
    };
    add(RecordedSpeech::sentences(), peer.files.sentences);
    add(RecordedSpeech::phrases(), peer.files.phrases);
    peer.memory = largestChild();
    return peer;
}

/// Of `nimbe transcribe` with that model, over the sentences.
double memoryOf(const std::string& model) {
    const TemporaryFolder home;
    std::vector<std::string> words{"/usr/bin/env", "NIMBE_HOME=" + home.path.string(),
        NIMBE_EXECUTABLE, "transcribe", "--model", model};
    for (const auto& recording : RecordedSpeech::sentences())
        words.push_back(recording.file.string());
    const auto run = Process::run(words, "");
    if (run.exitCode != 0) throw std::runtime_error(run.error);
    return largestChild();
}

void benchmarkModels() {
    Table recordings({"Recordings", "Base", "Tiny", "PocketSphinx"});
    Table live({"Live", "Base", "Tiny"});
    const auto peer = pocketSphinx();
    const double tinyMemory = memoryOf("tiny");
    const double baseMemory = memoryOf("base");
    std::vector<std::vector<std::string>> fileRows;
    std::vector<std::vector<std::string>> liveRows;
    for (const char* name : {"base", "tiny"}) {
        const std::filesystem::path folder =
            std::filesystem::path(NIMBE_MODELS) / SpeechModel::named(name)->folder;
        OnnxSpeechRuntime runtime;
        const auto began = now();
        auto models = runtime.load(folder);
        const auto load = now() - began;
        if (!models) throw std::runtime_error(models.error().detail);
        const auto files = transcribe(*models);
        fileRows.push_back({errorsText(files.sentences), errorsText(files.phrases),
            figure(files.time / files.sound), figure(load) + " s",
            figure(name == std::string("base") ? baseMemory : tinyMemory) + " MB"});

        RunLoop loop;
        FakeLogSink log;
        LocalSpeechEngine engine(
            loop, runtime, [&] { return folder; }, log);
        (void)LiveDictation(loop, engine, std::vector<float>(rate, 0.0F)); // loads the model
        const auto paused = dictate(engine, loop, *models, 0.3);
        const auto sudden = dictate(engine, loop, *models, 0);
        const auto before = processorTime();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        const auto idle = (processorTime() - before) / 2;
        liveRows.push_back({milliseconds(at(paused.releases, 0.5)),
            milliseconds(at(paused.releases, 0.9)), milliseconds(at(paused.releases, 1)),
            milliseconds(at(sudden.releases, 0.5)), milliseconds(at(sudden.releases, 0.9)),
            milliseconds(at(paused.limits, 0.5)), milliseconds(at(paused.limits, 0.9)),
            figure(at(paused.firstPartials, 0.5)) + " s", figure(paused.processor), percent(idle),
            std::to_string(paused.equal + sudden.equal) + " of " +
                std::to_string(paused.count + sudden.count)});
    }
    const std::vector<std::string> fileNames{"Wrong words, sentences", "Wrong words, phrases",
        "Time per time of sound", "Model loaded in", "Most memory"};
    const std::vector<std::string> peerRow{errorsText(peer.files.sentences),
        errorsText(peer.files.phrases), figure(peer.files.time / peer.files.sound), "(in it)",
        figure(peer.memory) + " MB"};
    for (std::size_t i = 0; i < fileNames.size(); ++i)
        recordings.add({fileNames[i], fileRows[0][i], fileRows[1][i], peerRow[i]});
    const std::vector<std::string> liveNames{"Released 0.3 s after the speech, median",
        "the same, 90th percentile", "the same, longest", "Released with the last word, median",
        "the same, 90th percentile", "Last utterance decoded by itself, median",
        "the same, 90th percentile", "First partial text after", "Processor time per time of sound",
        "Processor when idle", "Final text equal to undisturbed decodes"};
    for (std::size_t i = 0; i < liveNames.size(); ++i)
        live.add({liveNames[i], liveRows[0][i], liveRows[1][i]});
    recordings.print();
    live.print();
}

/// Takes what a session would take.
class QueueSink final : public AudioSink {
public:
    void yield(CapturedAudio audio) noexcept override {
        (void)queue.push({audio.buffer.samples.data(), audio.buffer.frameLength});
        queue.clear();
    }

private:
    SampleQueue queue{rate};
};

Task<void> begin(AudioCapture& capture, AudioSink& sink) {
    auto starting = capture.start(heardFormat, sink, [](const auto&) {});
    (void)co_await starting;
}

void benchmarkCapture() {
    constexpr std::size_t frames = 4096;
    Table table({"Audio callback of 4096 frames", "Time", "of the time that they last"});
    struct Case {
        const char* name;
        AudioFormat format;
    };
    const Case cases[] = {{"16 kHz mono", {16000, 1}}, {"48 kHz mono", {48000, 1}},
        {"48 kHz stereo", {48000, 2}}, {"44.1 kHz stereo", {44100, 2}}};
    Timings timings;
    struct Recording {
        ManualMainActor actor;
        FakeAudioInput input;
        SampleRateConverters converters;
        MemoryUserDefaults defaults;
        FakeLogSink log;
        QueueSink sink;
        AudioCapture capture{input, converters, defaults, log};
        std::vector<float> samples;
        TaskHandle task;
    };
    for (const auto& c : cases)
        timings.add(
            c.name,
            [&c] {
                auto recording = std::make_shared<Recording>();
                recording->input.format = c.format;
                recording->samples.resize(frames * c.format.channels);
                for (std::size_t i = 0; i < recording->samples.size(); ++i)
                    recording->samples[i] = static_cast<float>(i % 100) / 100 - 0.5F;
                recording->task =
                    startTask(recording->actor, begin(recording->capture, recording->sink));
                recording->actor.runPosted();
                return [recording] {
                    recording->input.say(recording->samples);
                };
            },
            Timings::Effort::careful);
    timings.run();
    for (const auto& c : cases) {
        const auto seconds = timings.seconds(c.name);
        table.add({c.name, figure(seconds * 1e6) + " us",
            percent(seconds * c.format.sampleRate / frames)});
    }
    table.print();
}

} // namespace

void benchmarkSpeech() {
    benchmarkCapture();
    benchmarkModels();
}

} // namespace nimbe
