#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "Foundation/Date.h"
#include "PlatformGLib/GlibPointers.h"

namespace nimbe {

/// Cancels what runs under it when its time is up, or when `outer`, if there is one, is
/// cancelled, which any thread may do. One thread holds it.
class CancelAfter {
public:
    explicit CancelAfter(Seconds seconds, GCancellable* outer = nullptr);
    ~CancelAfter();
    CancelAfter(const CancelAfter&) = delete;
    CancelAfter& operator=(const CancelAfter&) = delete;

    operator GCancellable*() const { return cancellable.get(); }

private:
    GObjectPointer<GCancellable> cancellable;
    GCancellable* outer;
    gulong link = 0;
    std::mutex mutex;
    std::condition_variable over;
    bool isOver = false;
    std::jthread watch; // last: it uses the others

    void wait(Seconds seconds);
};

} // namespace nimbe
