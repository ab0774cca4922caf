#include "SerialThread.h"

#include <pthread.h>
#include <utility>

namespace nimbe {

SerialThread::SerialThread() : thread([this] { run(); }) {
    pthread_setname_np(thread.native_handle(), "nimbe-history");
}

SerialThread::~SerialThread() {
    {
        const std::lock_guard guard(mutex);
        isEnding = true;
    }
    news.notify_one();
    thread.join();
}

void SerialThread::post(std::function<void()> job) {
    {
        const std::lock_guard guard(mutex);
        jobs.push_back(std::move(job));
    }
    news.notify_one();
}

void SerialThread::run() {
    std::unique_lock guard(mutex);
    for (;;) {
        news.wait(guard, [this] { return isEnding || !jobs.empty(); });
        if (jobs.empty()) return;
        auto job = std::exchange(jobs.front(), nullptr);
        jobs.pop_front();
        guard.unlock();
        job();
        job = nullptr; // what it holds goes without the lock
        guard.lock();
    }
}

} // namespace nimbe
