#pragma once

#include <memory>

#include "Foundation/Log.h"
#include "Foundation/MainActor.h"
#include "NimbeApp/RemoteControl.h"

namespace nimbe {

/// The running application on the user's session bus: the only one that has its name, and
/// what other programs may ask of it. Main thread; what comes from the bus is received on
/// a thread of its own and handled on the main one.
///
/// Each call has an answer within `patience`: an error if the main thread did not get to
/// it, and then the call is not carried out later either. Should the bus go away, that is
/// logged and the program goes on without it.
class BusRemoteControl {
public:
    /// Less than the callers' own, so that they learn why.
    static constexpr Seconds patience = 1.5;
    /// For taking the name.
    static constexpr Seconds busPatience = 2;

    enum class Name {
        owned, // until this goes
        taken, // somebody else of this user and session runs
        noBus  // there is none, or it does not answer
    };

    BusRemoteControl(MainActor& actor, LogSink& sink);
    BusRemoteControl(const BusRemoteControl&) = delete;
    BusRemoteControl& operator=(const BusRemoteControl&) = delete;
    /// Sends the answers that are due, and gives the name up. Also from within a handler.
    ~BusRemoteControl();

    /// Once. Blocks up to `busPatience`.
    [[nodiscard]] Name takeName();

    /// From now on calls are carried out. Those that came before have waited.
    void serve(RemoteHandlers handlers);

    /// Tells whoever listens what the status is, if it is another one than told last.
    void statusChanged();

private:
    class Bus;
    class Desk;

    MainActor& actor;
    Log log;
    std::shared_ptr<Desk> desk; // the main thread's side
    std::unique_ptr<Bus> bus;   // null: the name is not ours
};

} // namespace nimbe
