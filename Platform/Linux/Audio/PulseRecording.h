#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "NimbeEngine/Audio/AudioInput.h"
#include "PlatformAudio/PulseSource.h"

struct pa_operation;
struct pa_source_info;
struct pa_stream;

namespace nimbe {

class PulseConnection;

/// A stream from a source to a tap, from its opening until it is dropped. Made, used
/// and dropped on the main thread, waits for nothing; the tap is called on libpulse's
/// thread, and not any more once the recording is dropped.
class PulseRecording {
public:
    enum class Event {
        opened,    // the tap hears from now on
        ended,     // by itself
        onAnother, // by us: the server gave another source, or another format
        heardToEnd // all that was recorded until drain()
    };
    /// With libpulse's reason. On libpulse's thread, its lock held.
    using Listener = std::function<void(Event, int)>;
    enum class Choice { theSource, theDefault };

    /// theDefault: the server chooses and may move the stream; `source` is what it is
    /// expected to take, but any that is not a monitor will do.
    PulseRecording(std::shared_ptr<PulseConnection> connection, PulseSource source, Choice choice,
        AudioTap& tap, std::size_t bufferFrames, Listener listener);
    ~PulseRecording();
    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;

    /// 0, and one of `opened`, `ended` and `onAnother` follows, or libpulse's reason.
    [[nodiscard]] int open();

    /// The stream goes on; `heardToEnd` follows, unless the server does not answer.
    void drain();

private:
    struct Callbacks;

    std::shared_ptr<PulseConnection> connection;
    PulseSource source;
    Choice choice;
    AudioTap& tap;
    std::size_t bufferFrames;
    Listener listener;
    std::vector<float> silence; // one buffer of it

    // Under the lock.
    pa_stream* stream = nullptr;
    pa_operation* lookup = nullptr; // of a source that the server chose
    pa_operation* timing = nullptr; // for drain()
    bool isOpen = false;
    bool isOver = false;
    bool isHeld = true; // what comes stays in the stream: it is not known yet from where
    bool isMonitor = true;
    bool isDraining = false;
    std::uint64_t heardFrames = 0;
    std::uint64_t lastFrame = 0; // the tap hears up to here, when draining

    void stateChanged();
    void verify();
    void accept();
    void finish(Event event, int reason);
    void read();
    void hear(const float* samples, std::size_t frames);
    void timingCame(bool isKnown);
    void tellIfHeard();
};

} // namespace nimbe
