#pragma once

#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>

#include "PlatformGLib/GlibThread.h"
#include "PlatformGLib/SessionBus.h"

namespace nimbe {

/// Some other program on the session bus, with a name and a thread of its own.
class BusService {
public:
    /// On the service's thread. It takes the invocation over: one that it keeps to itself
    /// is a call that hangs.
    using Handler = std::function<void(const std::string& path, GDBusMethodInvocation* invocation)>;

    /// Throws when the name is not to be had.
    BusService(const char* name, const char* introspection, Handler handler);
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// An object with the interface of that number in the introspection.
    void addObject(const char* path, unsigned interface = 0);
    void emit(const char* path, const char* interface, const char* signal, GVariant* arguments);
    /// As if the program was killed.
    void vanish();

private:
    Handler handler;
    GDBusNodeInfo* node;
    std::optional<SessionBus> bus;
    GlibThread thread{"bus-service"};

    void on(const std::function<void()>& job);
    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
        const char* interface, const char* method, GVariant* parameters,
        GDBusMethodInvocation* invocation, gpointer self);
};

/// Another session bus, the one that is found while this lives; it may be killed.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    void kill();

private:
    std::string previous;
    pid_t pid = -1;
};

/// A socket in place of the session bus that takes connections and says nothing.
class HungBus {
public:
    HungBus();
    ~HungBus();
    HungBus(const HungBus&) = delete;
    HungBus& operator=(const HungBus&) = delete;

private:
    std::string previous;
    int socket = -1;
};

} // namespace nimbe
