#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "Foundation/Date.h"
#include "PlatformGLib/GlibPointers.h"

namespace nimbe {

/// Cancels what runs under it when its time is up. One thread holds it.
class CancelAfter {
public:
    explicit CancelAfter(Seconds seconds);
    ~CancelAfter();
    CancelAfter(const CancelAfter&) = delete;
    CancelAfter& operator=(const CancelAfter&) = delete;

    operator GCancellable*() const { return cancellable.get(); }

private:
    GObjectPointer<GCancellable> cancellable;
    std::mutex mutex;
    std::condition_variable over;
    bool isOver = false;
    std::jthread watch; // last: it uses the others

    void wait(Seconds seconds);
};

} // namespace nimbe
