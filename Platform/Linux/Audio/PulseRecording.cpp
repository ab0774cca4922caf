#include "PlatformAudio/PulseRecording.h"

#include <algorithm>
#include <pulse/pulseaudio.h>

#include "PlatformAudio/PulseConnection.h"

namespace nimbe {
namespace {

// The server hands over that much at a time; the shortest that costs no more than
// fifty wake-ups a second.
constexpr double fragment = 0.02; // seconds

void drop(pa_operation*& operation) {
    if (!operation) return;
    pa_operation_cancel(operation);
    pa_operation_unref(operation);
    operation = nullptr;
}

/// A stream that nobody wants any more before the server answered: the library cannot
/// take the wish back and would leave the microphone open.
void closeOnceOpen(pa_stream* stream, void* /*nothing*/) {
    const auto state = pa_stream_get_state(stream);
    if (state == PA_STREAM_CREATING) return;
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    if (state == PA_STREAM_READY) pa_stream_disconnect(stream);
    pa_stream_unref(stream);
}

} // namespace

/// Called by libpulse, on its thread but for what a call of ours brings about.
struct PulseRecording::Callbacks {
    static PulseRecording& self(void* recording) {
        return *static_cast<PulseRecording*>(recording);
    }
    static void state(pa_stream* /*stream*/, void* recording) { self(recording).stateChanged(); }
    static void moved(pa_stream* /*stream*/, void* recording) { self(recording).verify(); }
    static void readable(pa_stream* /*stream*/, std::size_t /*bytes*/, void* recording) {
        self(recording).read();
    }
    static void found(
        pa_context* /*context*/, const pa_source_info* info, int end, void* recording) {
        auto& that = self(recording);
        if (info) that.isMonitor = info->monitor_of_sink != PA_INVALID_INDEX;
        if (end == 0) return;
        if (that.isMonitor)
            that.finish(Event::ended, PA_ERR_NOENTITY);
        else
            that.accept();
    }
    static void timing(pa_stream* /*stream*/, int isKnown, void* recording) {
        self(recording).timingCame(isKnown != 0);
    }
};

PulseRecording::PulseRecording(std::shared_ptr<PulseConnection> connection, PulseSource source,
    Choice choice, AudioTap& tap, std::size_t bufferFrames, Listener listener)
    : connection(std::move(connection)), source(std::move(source)), choice(choice), tap(tap),
      bufferFrames(std::max<std::size_t>(bufferFrames, 1)), listener(std::move(listener)),
      silence(this->bufferFrames * this->source.channels) {}

PulseRecording::~PulseRecording() {
    const PulseConnection::Lock lock(*connection);
    drop(lookup);
    drop(timing);
    if (!stream) return;
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_state_callback(stream, &closeOnceOpen, nullptr);
    closeOnceOpen(stream, nullptr); // waits for nothing
}

int PulseRecording::open() {
    const PulseConnection::Lock lock(*connection);
    pa_context* const context = connection->context();
    if (!context) return PA_ERR_CONNECTIONTERMINATED;
    if (source.channels > PA_CHANNELS_MAX) return PA_ERR_NOTSUPPORTED;
    const pa_sample_spec spec{
        PA_SAMPLE_FLOAT32LE, source.sampleRate, static_cast<std::uint8_t>(source.channels)};
    pa_channel_map map{};
    // The source's own map: with another the server would mix the channels anew.
    if (!pa_channel_map_parse(&map, source.channelMap.c_str())) return PA_ERR_NOTSUPPORTED;
    stream = pa_stream_new(context, "Dictation", &spec, &map);
    if (!stream) return pa_context_errno(context);
    pa_stream_set_state_callback(stream, &Callbacks::state, this);
    pa_stream_set_moved_callback(stream, &Callbacks::moved, this);
    pa_stream_set_read_callback(stream, &Callbacks::readable, this);

    constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
    pa_buffer_attr buffer{
        serversChoice, serversChoice, serversChoice, serversChoice, serversChoice};
    const auto frames = static_cast<std::uint32_t>(fragment * source.sampleRate);
    buffer.fragsize = std::max(frames, 1U) * static_cast<std::uint32_t>(pa_frame_size(&spec));
    const bool isChosen = choice == Choice::theSource;
    const int flags = PA_STREAM_ADJUST_LATENCY | (isChosen ? PA_STREAM_DONT_MOVE : 0);
    const int code = pa_stream_connect_record(stream, isChosen ? source.name.c_str() : nullptr,
        &buffer, static_cast<pa_stream_flags_t>(flags));
    return code < 0 ? pa_context_errno(context) : PA_OK;
}

void PulseRecording::stateChanged() {
    switch (pa_stream_get_state(stream)) {
    case PA_STREAM_READY: verify(); break;
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED: {
        auto* const context = pa_stream_get_context(stream);
        finish(Event::ended, context ? pa_context_errno(context) : PA_ERR_CONNECTIONTERMINATED);
        break;
    }
    case PA_STREAM_UNCONNECTED:
    case PA_STREAM_CREATING: break;
    }
}

/// Where the stream is, after it was opened and after the server moved it. Until
/// that is known nothing is read.
void PulseRecording::verify() {
    isHeld = true;
    drop(lookup);
    const auto* spec = pa_stream_get_sample_spec(stream);
    if (!spec || spec->rate != source.sampleRate || spec->channels != source.channels)
        return finish(Event::onAnother, PA_ERR_NOTSUPPORTED);
    const char* name = pa_stream_get_device_name(stream);
    if (name && name == source.name) return accept();
    if (choice == Choice::theSource) return finish(Event::onAnother, PA_ERR_NOENTITY);
    isMonitor = true;
    lookup = pa_context_get_source_info_by_index(
        pa_stream_get_context(stream), pa_stream_get_device_index(stream), &Callbacks::found, this);
    if (!lookup) finish(Event::ended, PA_ERR_NOENTITY);
}

void PulseRecording::accept() {
    if (isOver) return;
    isHeld = false;
    if (!std::exchange(isOpen, true)) listener(Event::opened, PA_OK);
    read();
}

void PulseRecording::finish(Event event, int reason) {
    isHeld = true;
    if (!std::exchange(isOver, true)) listener(event, reason);
}

void PulseRecording::read() {
    const auto* spec = pa_stream_get_sample_spec(stream);
    const std::size_t frameSize = pa_frame_size(spec);
    while (!isHeld && pa_stream_get_state(stream) == PA_STREAM_READY) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0) break;
        // Blocks hold whole frames: the server cuts its queues at frames only.
        hear(static_cast<const float*>(data), bytes / frameSize);
        pa_stream_drop(stream);
    }
    tellIfHeard();
}

/// Null: a hole, which lasted as long as silence.
void PulseRecording::hear(const float* samples, std::size_t frames) {
    heardFrames += frames;
    while (frames > 0) {
        const std::size_t count = std::min(frames, bufferFrames);
        tap.hear({samples ? samples : silence.data(), count * source.channels});
        if (samples) samples += count * source.channels;
        frames -= count;
    }
}

void PulseRecording::drain() {
    const PulseConnection::Lock lock(*connection);
    if (timing || isDraining || !stream) return;
    timing = pa_stream_update_timing_info(stream, &Callbacks::timing, this);
}

/// Counted in frames, not in time: what the microphone holds back now comes in one
/// piece later, and by then all of it is there. Not every device counts the piece that
/// it is just filling; therefore at least one more is heard.
void PulseRecording::timingCame(bool isKnown) {
    pa_usec_t latency = 0;
    int isNegative = 0;
    if (!isKnown || pa_stream_get_latency(stream, &latency, &isNegative) < 0) return;
    const double pending = isNegative != 0 ? 0 : static_cast<double>(latency) * 1e-6;
    lastFrame = heardFrames + 1 + static_cast<std::uint64_t>(pending * source.sampleRate);
    isDraining = true;
    tellIfHeard();
}

void PulseRecording::tellIfHeard() {
    if (!isDraining || heardFrames < lastFrame) return;
    isDraining = false;
    listener(Event::heardToEnd, PA_OK);
}

} // namespace nimbe
