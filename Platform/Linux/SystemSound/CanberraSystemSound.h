#pragma once

#include <memory>

#include "Foundation/Log.h"
#include "NimbeApp/SystemSound.h"

namespace nimbe {

/// Event sounds of freedesktop.org's theme by libcanberra, on a thread of its own: the
/// library waits for the sound server, without end for one that hangs. What is asked for
/// meanwhile is not played late. Without a server it is silent; when there is one again,
/// it is heard again.
///
/// The server keeps the sample, so that playing it is one short message. One in the
/// process: the library loads its parts without a lock.
class CanberraSystemSound final : public SystemSound {
public:
    explicit CanberraSystemSound(LogSink& sink);
    CanberraSystemSound(const CanberraSystemSound&) = delete;
    CanberraSystemSound& operator=(const CanberraSystemSound&) = delete;
    /// A thread that a hung server holds is left behind after half a second; it uses
    /// nothing of the program any more.
    ~CanberraSystemSound() override;

    /// Unknown names are passed over.
    void play(std::string_view name) override;

private:
    class Worker;
    std::shared_ptr<Worker> worker;
};

} // namespace nimbe
