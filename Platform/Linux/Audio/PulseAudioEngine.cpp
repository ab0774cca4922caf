#include "PlatformAudio/PulseAudioEngine.h"

#include <pulse/def.h>
#include <vector>

#include "Foundation/TaskScope.h"
#include "PlatformAudio/PulseConnection.h"
#include "PlatformAudio/PulseRecording.h"

namespace nimbe {
namespace {

using Error = MacAudioInputError;
using Event = PulseRecording::Event;
using Kind = MicrophoneCaptureSelection::Kind;
using OnEnded = std::function<void(Error)>;

constexpr Seconds formatDeadline = 1;
constexpr Seconds startDeadline = 2;
constexpr Seconds longestRest = 0.2; // that is waited for in stop()

struct Occurrence {
    Event event = Event::ended;
    int reason = PA_OK;
};

} // namespace

struct PulseAudioEngine::State : std::enable_shared_from_this<State> {
    State(std::shared_ptr<PulseConnection> connection, MainActor& actor, LogSink& sink)
        : connection(std::move(connection)), actor(actor), log(sink, "audio") {}

    std::shared_ptr<PulseConnection> connection;
    MainActor& actor;
    Log log;
    Kind kind = Kind::systemDefault;
    std::optional<PulseSource> source; // since inputFormat()
    bool isDropped = false;

    std::unique_ptr<PulseRecording> recording;
    std::uint64_t serial = 0; // of the recording
    std::optional<Occurrence> last;
    std::optional<Completion<Occurrence>> starting;
    std::vector<Completion<bool>> stopping; // each call of stop() that waits
    OnEnded onEnded;                        // while it goes on

    [[nodiscard]] Error unavailable() const {
        return kind == Kind::systemDefault ? Error::defaultInputUnavailable
                                           : Error::selectedInputUnavailable;
    }
    [[nodiscard]] Error refused() const {
        return kind == Kind::systemDefault ? Error::inputAudioUnitUnavailable
                                           : Error::selectionRejected;
    }
    [[nodiscard]] Error errorOf(const Occurrence& end) const {
        if (end.reason == PA_ERR_NOENTITY && end.event == Event::ended) return unavailable();
        return end.event == Event::onAnother ? Error::selectionVerificationFailed : refused();
    }

    [[nodiscard]] int open(AudioTap& tap, std::size_t bufferFrames);
    void close();
    void stopped();
    void drop();
    void happened(std::uint64_t which, Occurrence occurrence);
};

namespace {

using State = PulseAudioEngine::State;

/// Closes the recording that it was made for, also when the task that waits is
/// dropped.
class Closing {
public:
    explicit Closing(std::shared_ptr<State> state)
        : state(std::move(state)), serial(this->state->serial) {}
    ~Closing() {
        if (state && state->serial == serial) state->close();
    }
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;
    void cancel() { state.reset(); }

private:
    std::shared_ptr<State> state;
    std::uint64_t serial;
};

Task<std::optional<PulseSource>> find(
    std::shared_ptr<State> state, MicrophoneCaptureSelection selection) {
    auto asked = selection.kind == Kind::systemDefault
                     ? PulseSource::standard(state->connection)
                     : PulseSource::named(state->connection, selection.uid);
    auto source = co_await asked;
    co_return source;
}

Task<Result<AudioFormat, Error>> findFormat(
    std::shared_ptr<State> state, MicrophoneCaptureSelection selection) {
    state->kind = selection.kind;
    state->source.reset();
    const auto nothing = failure(state->unavailable());
    if (selection.kind == Kind::unavailableExplicit) co_return nothing;
    auto pending = withDeadline(state->actor, formatDeadline, find(state, selection));
    auto found = co_await pending;
    // A monitor is no microphone, not even when the system has nothing else.
    if (!found || !*found || (*found)->isMonitor || state->isDropped) co_return nothing;
    state->source = std::move(**found);
    co_return AudioFormat{static_cast<double>(state->source->sampleRate), state->source->channels};
}

Task<Occurrence> openStream(std::shared_ptr<State> state, AudioTap& tap, std::size_t bufferFrames) {
    auto connected = state->connection->ready();
    int reason = co_await connected;
    if (reason == PA_OK) reason = state->isDropped ? PA_ERR_KILLED : state->open(tap, bufferFrames);
    if (reason != PA_OK) co_return Occurrence{Event::ended, reason};
    const Completion<Occurrence> first(state->actor);
    state->starting = first;
    Occurrence occurrence = co_await first;
    // It may have ended or been closed since.
    if (state->recording) occurrence = state->last.value_or(occurrence);
    if (!state->recording) occurrence = {Event::ended, PA_ERR_KILLED};
    co_return occurrence;
}

Task<Result<void, Error>> startRecording(
    std::shared_ptr<State> state, AudioTap& tap, std::size_t bufferFrames, OnEnded onEnded) {
    if (state->recording || !state->source) co_return failure(Error::inputAudioUnitUnavailable);
    ++state->serial;
    Closing closing(state);
    auto pending = withDeadline(state->actor, startDeadline, openStream(state, tap, bufferFrames));
    const auto answered = co_await pending;
    state->starting.reset();
    if (state->isDropped) co_return failure(Error::inputAudioUnitUnavailable);
    Occurrence answer = answered.value_or(Occurrence{Event::ended, PA_ERR_TIMEOUT});
    // It may have ended since, before anybody could be told.
    if (answered && state->last) answer = *state->last;
    if (answer.event != Event::opened) {
        if (state->kind != Kind::systemDefault)
            state->log.error("audio: couldn't select requested input, status=%d", answer.reason);
        else
            state->log.error("audio: couldn't open the default input, status=%d", answer.reason);
        co_return failure(state->errorOf(answer));
    }
    state->onEnded = std::move(onEnded);
    closing.cancel();
    co_return {};
}

Task<void> stopRecording(std::shared_ptr<State> state) {
    if (!state->recording) co_return;
    const Closing closing(state);
    if (state->starting) co_return; // nothing was heard yet
    state->onEnded = nullptr;
    const Completion<bool> heard(state->actor);
    state->stopping.push_back(heard);
    const Token limit = state->actor.schedule(longestRest, [heard] { heard.complete(false); });
    state->recording->drain();
    (void)co_await heard;
}

} // namespace

int PulseAudioEngine::State::open(AudioTap& tap, std::size_t bufferFrames) {
    last.reset();
    const auto choice = kind == Kind::systemDefault ? PulseRecording::Choice::theDefault
                                                    : PulseRecording::Choice::theSource;
    // On libpulse's thread.
    auto tell = [weak = weak_from_this(), &main = actor, which = serial](Event event, int reason) {
        main.post([weak, which, occurrence = Occurrence{event, reason}] {
            if (const auto state = weak.lock()) state->happened(which, occurrence);
        });
    };
    recording = std::make_unique<PulseRecording>(
        connection, *source, choice, tap, bufferFrames, std::move(tell));
    return recording->open();
}

void PulseAudioEngine::State::happened(std::uint64_t which, Occurrence occurrence) {
    if (!recording || which != serial) return;
    last = occurrence;
    if (starting) return starting->complete(occurrence);
    if (occurrence.event == Event::opened) return;
    if (!stopping.empty()) return stopped();
    log.error("audio: the input ended by itself, status=%d", occurrence.reason);
    const auto ended = std::exchange(onEnded, nullptr);
    close();
    if (ended) ended(unavailable()); // may drop the engine
}

void PulseAudioEngine::State::close() {
    recording.reset();
    onEnded = nullptr;
    if (starting) starting->complete({});
    stopped();
}

void PulseAudioEngine::State::stopped() {
    for (const auto& heard : std::exchange(stopping, {})) heard.complete(true);
}

void PulseAudioEngine::State::drop() {
    isDropped = true;
    close();
}

PulseAudioEngine::PulseAudioEngine(
    std::shared_ptr<PulseConnection> connection, MainActor& actor, LogSink& sink)
    : state(std::make_shared<State>(std::move(connection), actor, sink)) {}

PulseAudioEngine::~PulseAudioEngine() {
    state->drop();
}

Task<Result<AudioFormat, Error>> PulseAudioEngine::inputFormat(
    MicrophoneCaptureSelection selection) {
    return findFormat(state, std::move(selection));
}

Task<Result<void, Error>> PulseAudioEngine::start(
    AudioTap& tap, std::size_t bufferFrames, OnEnded onEnded) {
    return startRecording(state, tap, bufferFrames, std::move(onEnded));
}

Task<void> PulseAudioEngine::stop() {
    return stopRecording(state);
}

} // namespace nimbe
