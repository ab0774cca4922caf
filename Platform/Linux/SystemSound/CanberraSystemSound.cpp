#include "PlatformSystemSound/CanberraSystemSound.h"

#include <canberra.h>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <utility>

namespace nimbe {
namespace {

/// In the theme "complete" lasts 1.1 s, too long after each sentence; "bell" (0.14 s)
/// means that something is wrong. "message" (0.31 s) means that something has come.
const char* eventOf(std::string_view name) {
    return name == SystemSound::pop ? "message" : nullptr;
}

struct DestroyContext {
    void operator()(ca_context* context) const { ca_context_destroy(context); }
};

} // namespace

class CanberraSystemSound::Worker {
public:
    explicit Worker(LogSink& sink) : log(sink, "desktop") {}

    static void start(const std::shared_ptr<Worker>& worker) {
        std::thread thread([worker] { worker->run(); });
        pthread_setname_np(thread.native_handle(), "nimbe-sound");
        thread.detach(); // it holds the worker: see stop()
    }

    void play(const char* event) {
        const std::lock_guard guard(mutex);
        if (isBusy) return;
        wanted = event;
        changed.notify_all();
    }

    /// Waits for the thread to end, for as long as is reasonable.
    void stop() {
        std::unique_lock guard(mutex);
        isOver = true;
        changed.notify_all();
        changed.wait_for(guard, std::chrono::milliseconds(500), [this] { return isEnded; });
        if (!isEnded) hasLog = false;
    }

private:
    Log log;
    std::mutex mutex;
    std::condition_variable changed;
    const char* wanted = nullptr; // a literal
    bool isBusy = true;           // the library has the thread
    bool isOver = false;
    bool isEnded = false;
    bool hasLog = true;
    bool hasFailed = false; // the thread's own: said once for each time that it begins

    void run() {
        {
            std::unique_ptr<ca_context, DestroyContext> context(create());
            if (context) {
                tell(ca_context_cache(context.get(), CA_PROP_EVENT_ID, eventOf(pop), nullptr));
                while (const char* event = next())
                    tell(ca_context_play(context.get(), 0, CA_PROP_EVENT_ID, event,
                        CA_PROP_CANBERRA_CACHE_CONTROL, "permanent", CA_PROP_MEDIA_ROLE, "event",
                        nullptr));
            }
        }
        const std::lock_guard guard(mutex);
        isEnded = true;
        changed.notify_all();
    }

    ca_context* create() {
        ca_context* context = nullptr;
        const int failure = ca_context_create(&context);
        tell(failure);
        if (failure != CA_SUCCESS) return nullptr;
        ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Nimbe", CA_PROP_APPLICATION_ID,
            "com.nimbehq.Nimbe", nullptr);
        return context;
    }

    /// Null: it is over.
    const char* next() {
        std::unique_lock guard(mutex);
        isBusy = false;
        changed.wait(guard, [this] { return isOver || wanted; });
        isBusy = true;
        return isOver ? nullptr : std::exchange(wanted, nullptr);
    }

    void tell(int code) {
        const std::lock_guard guard(mutex);
        if (code != CA_SUCCESS && !hasFailed && hasLog)
            log.info("sound: none can be played, error=%d", code);
        hasFailed = code != CA_SUCCESS;
    }
};

CanberraSystemSound::CanberraSystemSound(LogSink& sink) : worker(std::make_shared<Worker>(sink)) {
    Worker::start(worker);
}

CanberraSystemSound::~CanberraSystemSound() {
    worker->stop();
}

void CanberraSystemSound::play(std::string_view name) {
    if (const char* event = eventOf(name)) worker->play(event);
}

} // namespace nimbe
