#pragma once

#include <string>

#include "Foundation/Result.h"
#include "PlatformGLib/GlibPointers.h"

namespace nimbe {

/// A connection of the holder's own to the user's session bus. It goes when this goes,
/// and what it owned on the bus with it.
class SessionBus {
public:
    /// Blocks. The failure is domain and code, for the log. Signals come on the main
    /// context that is the default of the calling thread.
    [[nodiscard]] static Result<SessionBus, std::string> connect(GCancellable* deadline);

    SessionBus(SessionBus&&) noexcept = default;
    SessionBus& operator=(SessionBus&&) = delete;
    ~SessionBus();

    [[nodiscard]] GDBusConnection* get() const { return connection.get(); }

private:
    explicit SessionBus(GDBusConnection* connection) : connection(connection) {}

    GObjectPointer<GDBusConnection> connection;
};

} // namespace nimbe
