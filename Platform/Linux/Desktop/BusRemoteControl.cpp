#include "PlatformDesktop/BusRemoteControl.h"

#include <atomic>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "PlatformDesktop/RemoteInterface.h"
#include "PlatformGLib/CancelAfter.h"
#include "PlatformGLib/GlibThread.h"
#include "PlatformGLib/SessionBus.h"

namespace nimbe {
namespace {

/// One call from the bus. Answered once, from whichever thread is first.
class RemoteCall {
public:
    /// Takes the invocation over.
    explicit RemoteCall(GDBusMethodInvocation* invocation)
        : method(g_dbus_method_invocation_get_method_name(invocation)), invocation(invocation) {}
    RemoteCall(const RemoteCall&) = delete;
    RemoteCall& operator=(const RemoteCall&) = delete;
    ~RemoteCall() {
        if (!isAnswered.exchange(true)) g_object_unref(invocation);
    }

    const std::string method;

    /// False: it is too late to carry it out.
    [[nodiscard]] bool begin() {
        auto expected = State::waiting;
        return state.compare_exchange_strong(expected, State::begun);
    }
    /// Null: nothing but that it was done.
    void answer(GVariant* result) {
        if (isAnswered.exchange(true)) return;
        g_dbus_method_invocation_return_value(
            invocation, result ? g_variant_new_tuple(&result, 1) : nullptr);
    }
    void answerDone(bool isDone) { answer(g_variant_new_boolean(isDone ? TRUE : FALSE)); }

    /// At its deadline.
    void expire() {
        auto expected = State::waiting;
        state.compare_exchange_strong(expected, State::expired);
        if (isAnswered.exchange(true)) return;
        g_dbus_method_invocation_return_dbus_error(invocation, remote::busyError, "Nimbe is busy.");
    }

private:
    enum class State { waiting, begun, expired };

    GDBusMethodInvocation* invocation;
    std::atomic<State> state = State::waiting;
    std::atomic<bool> isAnswered = false;
};

using CallHandler = std::function<void(std::shared_ptr<RemoteCall>)>;

} // namespace

/// Where calls are carried out. Main thread.
class BusRemoteControl::Desk {
public:
    void take(std::shared_ptr<RemoteCall> call) {
        if (handlers)
            carryOut(*call);
        else
            early.push_back(std::move(call));
    }

    void open(RemoteHandlers given) { handlers = std::move(given); }

    void carryOutEarly() {
        for (auto calls = std::exchange(early, {}); const auto& call : calls) carryOut(*call);
    }

    /// Absent: nothing to tell.
    [[nodiscard]] std::optional<RemoteStatus> news() {
        if (!handlers) return std::nullopt;
        auto status = handlers->status();
        if (told == status) return std::nullopt;
        told = status;
        return status;
    }

private:
    std::optional<RemoteHandlers> handlers;
    std::optional<RemoteStatus> told;
    std::vector<std::shared_ptr<RemoteCall>> early;

    void carryOut(RemoteCall& call) {
        if (!call.begin()) return;
        static const std::map<std::string, std::function<bool()> RemoteHandlers::*, std::less<>>
            actions{{"Toggle", &RemoteHandlers::toggle}, {"Start", &RemoteHandlers::start},
                {"Stop", &RemoteHandlers::stop}, {"Cancel", &RemoteHandlers::cancel}};
        if (const auto action = actions.find(call.method); action != actions.end()) {
            call.answerDone(((*handlers).*(action->second))());
        } else if (call.method == "Status") {
            const auto dictionary = remote::dictionaryOf(handlers->status());
            call.answer(dictionary.get());
        } else {
            // Answered first: the handler may end all this.
            call.answer(nullptr);
            (call.method == "Quit" ? handlers->quit : handlers->activate)();
        }
    }
};

/// The connection and its thread.
class BusRemoteControl::Bus {
public:
    Bus(LogSink& sink, CallHandler onCall) : log(sink, "desktop"), onCall(std::move(onCall)) {}
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    ~Bus() {
        thread.post([this] { leave(); });
        thread.stop();
    }

    [[nodiscard]] Name takeName() {
        std::promise<Name> answer;
        thread.post([&] { answer.set_value(enter()); });
        return answer.get_future().get(); // enter() has a deadline
    }

    void emit(const RemoteStatus& status) {
        const auto dictionary = remote::dictionaryOf(status);
        auto* value = dictionary.get();
        g_dbus_connection_emit_signal(connection->get(), nullptr, remote::objectPath,
            remote::interfaceName, remote::statusChanged, g_variant_new_tuple(&value, 1), nullptr);
    }

private:
    Log log;
    CallHandler onCall;
    std::optional<SessionBus> connection; // set before the name is ours, then constant
    guint object = 0;
    gulong closing = 0;
    GlibThread thread{"nimbe-bus"}; // last: it uses the others

    // On the thread.

    [[nodiscard]] Name enter() {
        const CancelAfter deadline(busPatience);
        auto connected = SessionBus::connect(deadline);
        if (!connected) {
            log.warning("remote: no session bus, error=%s", connected.error().c_str());
            return Name::noBus;
        }
        connection.emplace(std::move(*connected));
        closing = g_signal_connect(connection->get(), "closed", G_CALLBACK(onClosed), this);

        // Before the name: whoever finds the name finds the object.
        GDBusInterfaceVTable table{};
        table.method_call = onMethodCall;
        object = g_dbus_connection_register_object(connection->get(), remote::objectPath,
            remote::interfaceInfo(), &table, this, nullptr, nullptr);

        constexpr guint doNotQueue = 4;
        constexpr guint primaryOwner = 1; // org.freedesktop.DBus.RequestName
        GlibError error;
        const GVariantPointer reply(g_dbus_connection_call_sync(connection->get(),
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            g_variant_new("(su)", remote::busName, doNotQueue), G_VARIANT_TYPE("(u)"),
            G_DBUS_CALL_FLAGS_NONE, -1, deadline, error.out()));
        if (!reply) {
            log.warning("remote: the bus gives no name, error=%s", error.code().c_str());
            return Name::noBus;
        }
        guint outcome = 0;
        g_variant_get(reply.get(), "(u)", &outcome);
        return outcome == primaryOwner ? Name::owned : Name::taken;
    }

    void leave() {
        if (!connection) return;
        g_signal_handler_disconnect(connection->get(), closing);
        if (object != 0) g_dbus_connection_unregister_object(connection->get(), object);
        // Closing would drop answers that are not written yet.
        const CancelAfter deadline(0.5);
        g_dbus_connection_flush_sync(connection->get(), deadline, nullptr);
    }

    static void onClosed(GDBusConnection* /*connection*/, gboolean /*isByRemote*/,
        GError* /*error*/, gpointer self) {
        static_cast<Bus*>(self)->log.warning(
            "remote: the session bus has gone; other programs cannot reach Nimbe any more");
    }

    static void onMethodCall(GDBusConnection* /*connection*/, const char* /*sender*/,
        const char* /*path*/, const char* /*interface*/, const char* /*method*/,
        GVariant* /*parameters*/, GDBusMethodInvocation* invocation, gpointer self) {
        auto call = std::make_shared<RemoteCall>(invocation);
        auto* bus = static_cast<Bus*>(self);
        bus->thread.schedule(patience, [call] { call->expire(); });
        bus->onCall(std::move(call));
    }
};

BusRemoteControl::BusRemoteControl(MainActor& actor, LogSink& sink)
    : actor(actor), log(sink, "desktop"), desk(std::make_shared<Desk>()) {
    bus = std::make_unique<Bus>(
        sink, [&actor, desk = std::weak_ptr(desk)](std::shared_ptr<RemoteCall> call) {
            actor.post([desk, call = std::move(call)] {
                if (const auto held = desk.lock()) held->take(call);
            });
        });
}

BusRemoteControl::~BusRemoteControl() = default;

BusRemoteControl::Name BusRemoteControl::takeName() {
    const auto name = bus->takeName();
    if (name != Name::owned) bus.reset();
    return name;
}

void BusRemoteControl::serve(RemoteHandlers handlers) {
    desk->open(std::move(handlers));
    actor.post([weak = std::weak_ptr(desk)] {
        if (const auto held = weak.lock()) held->carryOutEarly();
    });
}

void BusRemoteControl::statusChanged() {
    if (!bus) return;
    if (const auto status = desk->news()) bus->emit(*status);
}

} // namespace nimbe
