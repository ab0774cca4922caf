#include "PlatformGLib/CancelAfter.h"

#include <chrono>

namespace nimbe {

CancelAfter::CancelAfter(Seconds seconds, GCancellable* outer)
    : cancellable(g_cancellable_new()), outer(outer), watch([this, seconds] { wait(seconds); }) {
    const auto cancel = [](GCancellable* /*outer*/, gpointer inner) {
        g_cancellable_cancel(G_CANCELLABLE(inner));
    };
    if (outer)
        link = g_cancellable_connect(
            outer, G_CALLBACK(+cancel), g_object_ref(cancellable.get()), g_object_unref);
}

CancelAfter::~CancelAfter() {
    g_cancellable_disconnect(outer, link);
    {
        const std::lock_guard guard(mutex);
        isOver = true;
    }
    over.notify_one();
}

void CancelAfter::wait(Seconds seconds) {
    std::unique_lock guard(mutex);
    const auto isDone = [this] {
        return isOver;
    };
    if (!over.wait_for(guard, std::chrono::duration<Seconds>(seconds), isDone))
        g_cancellable_cancel(cancellable.get());
}

} // namespace nimbe
