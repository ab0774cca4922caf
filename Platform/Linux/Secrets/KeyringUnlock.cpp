#include "PlatformSecrets/KeyringUnlock.h"

#include <memory>
#include <optional>
#include <pthread.h>
#include <string>
#include <thread>

#include "PlatformGLib/CancelAfter.h"
#include "PlatformGLib/SessionBus.h"

namespace nimbe {
namespace {

using Outcome = KeyringUnlock::Outcome;

// By freedesktop.org's Secret Service API.
constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* promptInterface = "org.freedesktop.Secret.Prompt";
constexpr const char* noObject = "/";

/// One question to the service after the other, on a thread that may wait.
class Conversation {
public:
    Conversation(LogSink& sink, GCancellable* end) : log(sink, "keyring"), end(end) {}

    [[nodiscard]] Outcome run() {
        {
            const CancelAfter deadline(KeyringUnlock::patience, end);
            auto connected = SessionBus::connect(deadline);
            if (!connected) return Outcome::unreachable;
            bus.emplace(std::move(*connected));
        }
        const auto keyring = defaultKeyring();
        if (!keyring) return Outcome::unreachable;
        if (*keyring == noObject) return Outcome::unnecessary;
        const auto wasLocked = isLocked(*keyring);
        if (!wasLocked) return Outcome::unreachable;
        if (!*wasLocked) return Outcome::unnecessary;

        const auto prompt = unlock(*keyring);
        if (!prompt) return Outcome::unreachable;
        if (*prompt != noObject)
            if (const auto answer = askUser(*prompt); answer != Outcome::unlocked) return answer;
        // Whatever the answers were, this is what counts.
        const auto isStillLocked = isLocked(*keyring);
        if (!isStillLocked) return Outcome::unreachable;
        return *isStillLocked ? Outcome::refused : Outcome::unlocked;
    }

private:
    Log log;
    GCancellable* end;
    std::optional<SessionBus> bus;
    std::optional<Outcome> answer; // of the user, or that there will be none

    [[nodiscard]] bool isOver() const { return g_cancellable_is_cancelled(end) != FALSE; }

    [[nodiscard]] GVariantPointer call(const char* path, const char* interface, const char* method,
        GVariant* arguments, const char* replyType) {
        const CancelAfter deadline(KeyringUnlock::patience, end);
        GlibError error;
        GVariantPointer reply(
            g_dbus_connection_call_sync(bus->get(), serviceName, path, interface, method, arguments,
                G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, -1, deadline, error.out()));
        if (!reply && !isOver())
            log.info("keyring: %s was not answered, error=%s", method, error.code().c_str());
        return reply;
    }

    [[nodiscard]] std::optional<std::string> defaultKeyring() {
        const auto reply = call(
            servicePath, serviceInterface, "ReadAlias", g_variant_new("(s)", "default"), "(o)");
        if (!reply) return std::nullopt;
        const char* path = nullptr;
        g_variant_get(reply.get(), "(&o)", &path);
        return path;
    }

    [[nodiscard]] std::optional<bool> isLocked(const std::string& keyring) {
        const auto reply = call(keyring.c_str(), "org.freedesktop.DBus.Properties", "Get",
            g_variant_new("(ss)", "org.freedesktop.Secret.Collection", "Locked"), "(v)");
        if (!reply) return std::nullopt;
        const GVariantPointer boxed(g_variant_get_child_value(reply.get(), 0));
        const GVariantPointer value(g_variant_get_variant(boxed.get()));
        if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN) == FALSE) return std::nullopt;
        return g_variant_get_boolean(value.get()) != FALSE;
    }

    /// The prompt that this needs, or "/".
    [[nodiscard]] std::optional<std::string> unlock(const std::string& keyring) {
        const char* path = keyring.c_str();
        const auto reply = call(servicePath, serviceInterface, "Unlock",
            g_variant_new("(@ao)", g_variant_new_objv(&path, 1)), "(aoo)");
        if (!reply) return std::nullopt;
        const char* prompt = nullptr;
        g_variant_get(reply.get(), "(@ao&o)", nullptr, &prompt);
        return prompt;
    }

    [[nodiscard]] Outcome askUser(const std::string& prompt) {
        // Before it is shown, to miss nothing.
        const auto completed = g_dbus_connection_signal_subscribe(bus->get(), serviceName,
            promptInterface, "Completed", prompt.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
            onCompleted, this, nullptr);
        const auto owner = g_dbus_connection_signal_subscribe(bus->get(), "org.freedesktop.DBus",
            "org.freedesktop.DBus", "NameOwnerChanged", "/org/freedesktop/DBus", serviceName,
            G_DBUS_SIGNAL_FLAGS_NONE, onOwnerChanged, this, nullptr);
        const auto closed = g_signal_connect(bus->get(), "closed", G_CALLBACK(onClosed), this);

        const auto shown =
            call(prompt.c_str(), promptInterface, "Prompt", g_variant_new("(s)", ""), "()");
        // Cancelled: it may be shown all the same.
        if (!shown && !isOver()) answer = Outcome::unreachable;
        while (!answer && !isOver())
            g_main_context_iteration(g_main_context_get_thread_default(), TRUE);

        g_signal_handler_disconnect(bus->get(), closed);
        g_dbus_connection_signal_unsubscribe(bus->get(), owner);
        g_dbus_connection_signal_unsubscribe(bus->get(), completed);
        if (!answer) takeAway(prompt);
        return answer.value_or(Outcome::refused);
    }

    void takeAway(const std::string& prompt) {
        g_dbus_connection_call(bus->get(), serviceName, prompt.c_str(), promptInterface, "Dismiss",
            nullptr, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
        const CancelAfter deadline(0.5);
        g_dbus_connection_flush_sync(bus->get(), deadline, nullptr);
    }

    static void onCompleted(GDBusConnection* /*connection*/, const char* /*sender*/,
        const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
        GVariant* arguments, gpointer self) {
        gboolean isDismissed = TRUE;
        if (g_variant_is_of_type(arguments, G_VARIANT_TYPE("(bv)")) != FALSE)
            g_variant_get(arguments, "(bv)", &isDismissed, nullptr);
        static_cast<Conversation*>(self)->answer =
            isDismissed != FALSE ? Outcome::refused : Outcome::unlocked;
    }

    static void onOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
        const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
        GVariant* /*arguments*/, gpointer self) {
        // Also when another one has the name now: the prompt has gone with the old one.
        static_cast<Conversation*>(self)->answer = Outcome::unreachable;
    }

    static void onClosed(GDBusConnection* /*connection*/, gboolean /*isByRemote*/,
        GError* /*error*/, gpointer self) {
        static_cast<Conversation*>(self)->answer = Outcome::unreachable;
    }
};

const char* nameOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::unlocked: return "unlocked";
    case Outcome::refused: return "refused";
    case Outcome::unnecessary: return "unnecessary";
    case Outcome::unreachable: return "unreachable";
    }
    return "";
}

class Request {
public:
    Request(MainActor& actor, LogSink& sink, std::function<void(Outcome)> onDone)
        : actor(actor), sink(sink),
          onDone(std::make_shared<std::function<void(Outcome)>>(std::move(onDone))),
          thread([this] { run(); }) {
        pthread_setname_np(thread.native_handle(), "nimbe-unlock");
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    ~Request() {
        g_cancellable_cancel(end.get());
        thread.join();
    }

private:
    MainActor& actor;
    LogSink& sink;
    std::shared_ptr<std::function<void(Outcome)>> onDone; // of the main thread
    GObjectPointer<GCancellable> end{g_cancellable_new()};
    std::thread thread; // last: it uses the others

    void run() {
        auto* context = g_main_context_new();
        g_main_context_push_thread_default(context);
        // Wakes the context up; that is all it has to do.
        auto* wakeUp = g_cancellable_source_new(end.get());
        g_source_set_dummy_callback(wakeUp);
        g_source_attach(wakeUp, context);

        const auto outcome = Conversation(sink, end.get()).run();

        g_source_destroy(wakeUp);
        g_source_unref(wakeUp);
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
        if (g_cancellable_is_cancelled(end.get()) != FALSE) return;
        Log(sink, "keyring").info("keyring: asked for, %s", nameOf(outcome));
        actor.post([weak = std::weak_ptr(onDone), outcome] {
            if (const auto held = weak.lock()) (*held)(outcome);
        });
    }
};

} // namespace

Token KeyringUnlock::request(MainActor& actor, LogSink& sink, std::function<void(Outcome)> onDone) {
    return Token(std::make_shared<Request>(actor, sink, std::move(onDone)));
}

} // namespace nimbe
