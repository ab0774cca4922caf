#include "PlatformAudio/PulseConnection.h"

#include <algorithm>
#include <pulse/pulseaudio.h>

namespace nimbe {
namespace {

// Between attempts to find a server that went away while somebody looks at the list
// of devices.
constexpr Seconds firstRetry = 1;
constexpr Seconds longestRetry = 30;

bool isGood(pa_context* context) {
    return context && PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) != 0;
}

} // namespace

PulseConnection::Lock::Lock(const PulseConnection& connection) : loop(connection.loop) {
    if (loop) pa_threaded_mainloop_lock(loop);
}

PulseConnection::Lock::~Lock() {
    if (loop) pa_threaded_mainloop_unlock(loop);
}

/// One that runs, until it is dropped.
class PulseConnection::Operation {
public:
    /// Under the lock.
    Operation(PulseConnection& connection, pa_operation* operation)
        : connection(connection), operation(operation),
          answered(std::make_shared<Completion<bool>>(connection.actor)) {
        if (operation)
            pa_operation_set_state_callback(operation, &Operation::changed, this);
        else
            answered->complete(false);
    }
    ~Operation() {
        if (!operation) return;
        const Lock lock(connection);
        pa_operation_set_state_callback(operation, nullptr, nullptr);
        pa_operation_cancel(operation);
        pa_operation_unref(operation);
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    [[nodiscard]] Completion<bool> answer() const { return *answered; }

private:
    PulseConnection& connection;
    pa_operation* operation;
    std::shared_ptr<Completion<bool>> answered; // libpulse's thread knows it weakly

    static void changed(pa_operation* operation, void* self) {
        const auto state = pa_operation_get_state(operation);
        if (state == PA_OPERATION_RUNNING) return;
        const auto& that = *static_cast<Operation*>(self);
        const std::weak_ptr<Completion<bool>> weak = that.answered;
        that.connection.actor.post([weak, isAnswered = state == PA_OPERATION_DONE] {
            if (const auto answered = weak.lock()) answered->complete(isAnswered);
        });
    }
};

/// Called by libpulse, on its thread but for what a call of ours brings about.
struct PulseConnection::Callbacks {
    static void state(pa_context* context, void* self) {
        auto& that = *static_cast<PulseConnection*>(self);
        const auto state = pa_context_get_state(context);
        const bool isReady = state == PA_CONTEXT_READY;
        if (!isReady && PA_CONTEXT_IS_GOOD(state) != 0) return; // on the way
        if (isReady && that.isObserved) that.subscribe();
        if (isReady || that.wasReady) that.postChange();
        that.wasReady = isReady;
        that.actor.post([weak = that.weak_from_this()] {
            if (const auto connection = weak.lock()) connection->stateChanged();
        });
    }

    static void event(pa_context* /*context*/, pa_subscription_event_type_t event,
        std::uint32_t /*index*/, void* self) {
        const auto facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
        const auto type = event & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
        // A source changes with every move of its volume and every recording.
        if (facility == PA_SUBSCRIPTION_EVENT_SOURCE && type == PA_SUBSCRIPTION_EVENT_CHANGE)
            return;
        static_cast<PulseConnection*>(self)->postChange();
    }
};

std::shared_ptr<PulseConnection> PulseConnection::create(MainActor& actor) {
    return std::make_shared<PulseConnection>(actor);
}

PulseConnection::PulseConnection(MainActor& actor) : actor(actor) {
    loop = pa_threaded_mainloop_new();
    if (!loop) return;
    pa_threaded_mainloop_set_name(loop, "nimbe-audio");
    if (pa_threaded_mainloop_start(loop) >= 0) return;
    pa_threaded_mainloop_free(loop);
    loop = nullptr;
}

PulseConnection::~PulseConnection() {
    if (!loop) return;
    {
        const Lock lock(*this);
        discard();
    }
    pa_threaded_mainloop_stop(loop);
    pa_threaded_mainloop_free(loop);
}

/// PA_OK: it is ready, or on the way there.
int PulseConnection::connect() {
    if (!loop) return PA_ERR_INTERNAL;
    const Lock lock(*this);
    if (isGood(current)) return PA_OK;
    discard();
    current = pa_context_new(pa_threaded_mainloop_get_api(loop), "Nimbe");
    if (!current) return PA_ERR_INTERNAL;
    pa_context_set_state_callback(current, &Callbacks::state, this);
    pa_context_set_subscribe_callback(current, &Callbacks::event, this);
    // No server is started from here: that is the session's business.
    if (pa_context_connect(current, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0) return PA_OK;
    const int reason = pa_context_errno(current);
    discard();
    return reason == PA_OK ? PA_ERR_CONNECTIONREFUSED : reason;
}

void PulseConnection::discard() {
    wasReady = false;
    if (!current) return;
    pa_context_set_state_callback(current, nullptr, nullptr);
    pa_context_set_subscribe_callback(current, nullptr, nullptr);
    pa_context_disconnect(current); // sends nothing and waits for nothing
    pa_context_unref(current);
    current = nullptr;
}

Task<int> PulseConnection::ready() {
    const auto self = shared_from_this();
    if (const int reason = connect(); reason != PA_OK) co_return reason;
    for (;;) {
        {
            const Lock lock(*this);
            if (!isGood(current))
                co_return current ? pa_context_errno(current) : PA_ERR_CONNECTIONREFUSED;
            if (pa_context_get_state(current) == PA_CONTEXT_READY) co_return PA_OK;
        }
        const Completion<bool> news(actor);
        waiting.push_back(news);
        co_await news;
    }
}

Task<bool> PulseConnection::ask(Start start) {
    const auto self = shared_from_this();
    const int reason = co_await ready();
    if (reason != PA_OK) co_return false;
    std::optional<Operation> operation;
    {
        const Lock lock(*this);
        if (!isGood(current)) co_return false;
        operation.emplace(*this, start(current));
    }
    const auto answer = operation->answer();
    const bool isAnswered = co_await answer;
    co_return isAnswered;
}

/// After the current one became ready or failed.
void PulseConnection::stateChanged() {
    bool isReady = false;
    {
        const Lock lock(*this);
        if (!isGood(current)) discard();
        if (current && pa_context_get_state(current) != PA_CONTEXT_READY) return; // a later one
        isReady = current != nullptr;
    }
    for (const auto& news : std::exchange(waiting, {})) news.complete(isReady);
    if (isReady)
        retryDelay = 0;
    else
        retryLater();
}

Token PulseConnection::observe(std::function<void()> onChange) {
    auto observer = std::make_shared<Observer>(std::move(onChange));
    observers.emplace_back(observer);
    {
        const Lock lock(*this);
        if (!std::exchange(isObserved, true) && wasReady) subscribe();
    }
    if (connect() != PA_OK) retryLater();
    return Token(std::move(observer));
}

/// Under the lock.
void PulseConnection::subscribe() {
    const int which = isObserved ? PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER : 0;
    auto* const operation =
        pa_context_subscribe(current, static_cast<pa_subscription_mask_t>(which), nullptr, nullptr);
    if (operation) pa_operation_unref(operation);
}

void PulseConnection::postChange() {
    if (isChangePosted.exchange(true)) return;
    actor.post([weak = weak_from_this()] {
        if (const auto connection = weak.lock()) connection->tell();
    });
}

void PulseConnection::tell() {
    isChangePosted = false;
    std::erase_if(observers, [](const auto& observer) { return observer.expired(); });
    if (observers.empty()) {
        const Lock lock(*this);
        if (std::exchange(isObserved, false) && wasReady) subscribe();
        return;
    }
    const auto told = observers; // a call may bring others
    for (const auto& weak : told)
        if (const auto observer = weak.lock()) (*observer)();
}

void PulseConnection::retryLater() {
    std::erase_if(observers, [](const auto& observer) { return observer.expired(); });
    if (observers.empty() || retry.isSet()) return;
    retryDelay = std::clamp(retryDelay * 2, firstRetry, longestRetry);
    retry = actor.schedule(retryDelay, [this] {
        retry.reset();
        if (connect() != PA_OK) retryLater();
    });
}

} // namespace nimbe
