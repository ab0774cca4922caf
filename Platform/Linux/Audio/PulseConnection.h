#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "Foundation/Task.h"

struct pa_context;
struct pa_operation;
struct pa_threaded_mainloop;

namespace nimbe {

/// The connection to the sound server that all of an input's work shares, and
/// libpulse's thread. Made when it is first needed, and again by the first need after
/// it broke; while somebody observes the devices, also by itself. Main thread.
///
/// libpulse calls back on its thread, with its lock held. Who holds the lock on the
/// main thread may use the library and knows that no callback runs; none waits for
/// the server.
class PulseConnection : public std::enable_shared_from_this<PulseConnection> {
public:
    [[nodiscard]] static std::shared_ptr<PulseConnection> create(MainActor& actor);
    explicit PulseConnection(MainActor& actor);
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    class Lock {
    public:
        explicit Lock(const PulseConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* loop;
    };

    /// 0 once connected, else libpulse's reason. Has no deadline.
    [[nodiscard]] Task<int> ready();

    /// Connects and starts an operation, under the lock; true when the server answered
    /// it, false when the connection broke. Has no deadline: dropping the task ends it.
    using Start = std::function<pa_operation*(pa_context*)>;
    [[nodiscard]] Task<bool> ask(Start start);

    /// Under the lock, after ready(). Null when it broke since.
    [[nodiscard]] pa_context* context() const { return current; }

    /// Told, at most once a turn, after sources came or went, the default changed or
    /// the server did one of these.
    [[nodiscard]] Token observe(std::function<void()> onChange);

private:
    class Operation;
    struct Callbacks;
    using Observer = std::function<void()>;

    MainActor& actor;
    pa_threaded_mainloop* loop = nullptr; // null: the machine gives no thread
    pa_context* current = nullptr;        // under the lock
    bool wasReady = false;                // under the lock: the current one
    bool isObserved = false;              // under the lock
    std::atomic<bool> isChangePosted = false;
    std::vector<Completion<bool>> waiting; // for the current one to become ready or to fail
    std::vector<std::weak_ptr<Observer>> observers;
    Token retry;
    Seconds retryDelay = 0;

    [[nodiscard]] int connect();
    void discard();
    void subscribe();
    void stateChanged();
    void postChange();
    void tell();
    void retryLater();
};

} // namespace nimbe
