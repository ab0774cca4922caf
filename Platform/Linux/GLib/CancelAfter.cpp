#include "PlatformGLib/CancelAfter.h"

#include <chrono>

namespace nimbe {

CancelAfter::CancelAfter(Seconds seconds)
    : cancellable(g_cancellable_new()), watch([this, seconds] { wait(seconds); }) {}

CancelAfter::~CancelAfter() {
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
