#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace nimbe {

class CurlTransfer;

/// The thread on which all transfers of a client run.
class CurlWorker {
public:
    CurlWorker();
    ~CurlWorker();
    CurlWorker(const CurlWorker&) = delete;
    CurlWorker& operator=(const CurlWorker&) = delete;

    /// Main thread. After stop() the transfer ends at once as failed.
    void add(std::shared_ptr<CurlTransfer> transfer);
    /// After a transfer was stopped. Any thread.
    void wake();
    /// Ends the thread and what runs on it. Main thread.
    void stop();

private:
    struct CleanUp {
        void operator()(void* multi) const;
    };

    std::unique_ptr<void, CleanUp> multi; // a CURLM
    std::mutex mutex;
    std::vector<std::shared_ptr<CurlTransfer>> added; // under the mutex, as the next
    bool isStopping = false;
    std::vector<std::shared_ptr<CurlTransfer>> running; // the worker's own
    std::thread thread;

    void run();
    [[nodiscard]] bool takeAdded();
    void begin(const std::shared_ptr<CurlTransfer>& transfer);
    void endStopped();
    void endLate();
    void endDone();
    void remove(const CurlTransfer& transfer);
    [[nodiscard]] int millisecondsToNextDeadline() const;
};

} // namespace nimbe
