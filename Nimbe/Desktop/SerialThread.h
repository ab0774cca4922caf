#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace nimbe {

/// A thread of its own for what may take its time, one job after the other.
class SerialThread {
public:
    SerialThread();
    SerialThread(const SerialThread&) = delete;
    SerialThread& operator=(const SerialThread&) = delete;
    /// Runs what is left, and waits for it.
    ~SerialThread();

    /// Any thread.
    void post(std::function<void()> job);

private:
    std::mutex mutex;
    std::condition_variable news;
    std::deque<std::function<void()>> jobs;
    bool isEnding = false;
    std::thread thread; // last: it uses the others

    void run();
};

} // namespace nimbe
