#pragma once

#include <array>
#include <csignal>

namespace nimbe {

/// Ctrl+C (SIGINT), SIGTERM and a closed terminal (SIGHUP) as something to poll for. The
/// first that comes only makes the descriptor readable; another one, of any kind, ends the
/// program. One at a time in the process. Whichever of them was ignored stays ignored, as
/// nohup and background jobs want it.
///
/// A handler and not a signalfd(): for that the signals would be blocked in every thread,
/// and in the programs that are started.
class InterruptEvent {
public:
    InterruptEvent();
    InterruptEvent(const InterruptEvent&) = delete;
    InterruptEvent& operator=(const InterruptEvent&) = delete;
    /// From then on they do what they did before.
    ~InterruptEvent();

    /// Readable when an interrupt came, or wake() was called.
    [[nodiscard]] int descriptor() const { return event; }
    /// For the end of whoever waits. Any thread.
    void wake() const;

private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

    int event;
    std::array<struct sigaction, signals.size()> earlier{};

    static void onInterrupt(int number);
};

} // namespace nimbe
