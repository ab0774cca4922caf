#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "Foundation/Date.h"
#include "PlatformGLib/GlibPointers.h"

namespace nimbe {

/// A thread with a main context of its own, the default of the thread: what GLib is asked
/// for on it answers on it. Sleeps while nothing happens.
class GlibThread {
public:
    using Job = std::function<void()>;

    /// The name, for debuggers, is cut at 15 bytes.
    explicit GlibThread(const char* name);
    GlibThread(const GlibThread&) = delete;
    GlibThread& operator=(const GlibThread&) = delete;
    ~GlibThread();

    /// Runs `job` on the thread after those posted before. Any thread.
    void post(Job job);
    /// Runs `job` on the thread, `delay` from now. Any thread.
    void schedule(Seconds delay, Job job);
    /// Runs what was posted before, drops what waits for its time, and ends the thread.
    /// Not on the thread itself.
    void stop();

private:
    GMainContext* context;
    std::mutex mutex;
    std::deque<Job> jobs;
    bool isStopping = false; // the thread's own
    std::thread thread;

    void run();
    void runPosted();
};

} // namespace nimbe
