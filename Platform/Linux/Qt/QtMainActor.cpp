#include "PlatformQt/QtMainActor.h"

#include <QtCore/QBasicTimer>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QTimerEvent>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <deque>
#include <map>
#include <mutex>

namespace nimbe {

namespace {

Seconds monotonic() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<Seconds>(sinceStart).count();
}

} // namespace

/// Jobs and timers take turns as in RunLoop, one for each event that it posts to itself:
/// Qt delivers what was posted meanwhile only after what else there is to do. One Qt
/// timer stands for the earliest of ours.
class QtMainActor::Queue final : public QObject, public std::enable_shared_from_this<Queue> {
public:
    using Job = std::function<void()>;

    void post(Job job) {
        const std::lock_guard lock(mutex);
        if (isClosed) return;
        jobs.push_back(std::move(job));
        wakeUp();
    }

    [[nodiscard]] Token schedule(Seconds delay, Job job) {
        auto timer = std::make_shared<Timer>(weak_from_this(), std::move(job));
        timer->place = timers.emplace(monotonic() + std::max(delay, 0.0), timer);
        timer->isPending = true;
        arm();
        return Token(std::move(timer));
    }

    void close() {
        std::deque<Job> dropped;
        {
            const std::lock_guard lock(mutex);
            isClosed = true;
            dropped.swap(jobs); // what they own may post
        }
        for (const auto& [due, waiting] : timers)
            if (const auto timer = waiting.lock()) timer->isPending = false;
        timers.clear();
        earliest.stop();
        QCoreApplication::removePostedEvents(this);
    }

protected:
    bool event(QEvent* event) override {
        if (event->type() == wakeUpEvent()) {
            const auto self = shared_from_this(); // a job may destroy the actor
            turn();
            return true;
        }
        return QObject::event(event);
    }

    void timerEvent(QTimerEvent* /*event*/) override {
        earliest.stop();
        const std::lock_guard lock(mutex);
        wakeUp();
    }

private:
    struct Timer;
    using Timers = std::multimap<Seconds, std::weak_ptr<Timer>>;

    /// What a token holds.
    struct Timer {
        Timer(std::weak_ptr<Queue> queue, Job job) : queue(std::move(queue)), job(std::move(job)) {}
        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;
        ~Timer() {
            if (!isPending) return;
            if (const auto owner = queue.lock()) owner->remove(place);
        }

        std::weak_ptr<Queue> queue;
        Job job;
        Timers::iterator place;
        bool isPending = false;
    };

    static QEvent::Type wakeUpEvent() {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    /// With the lock held; one event at a time is on its way.
    void wakeUp() {
        if (isWoken || isClosed) return;
        isWoken = true;
        QCoreApplication::postEvent(this, std::make_unique<QEvent>(wakeUpEvent()).release());
    }

    void turn() {
        std::shared_ptr<Timer> due;
        Job job;
        {
            const std::lock_guard lock(mutex);
            isWoken = false;
            if (isClosed) return;
            due = takeDue(lastWasTimer && !jobs.empty());
            lastWasTimer = due != nullptr;
            if (!due && !jobs.empty()) {
                job = std::move(jobs.front());
                jobs.pop_front();
            }
            // Before the job, which may run an event loop of its own.
            if (!jobs.empty() || isDue()) wakeUp();
        }
        if (due)
            due->job();
        else if (job)
            job();
        if (!isClosed) arm();
    }

    [[nodiscard]] bool isDue() const {
        return !timers.empty() && timers.begin()->first <= monotonic();
    }

    [[nodiscard]] std::shared_ptr<Timer> takeDue(bool isJobsTurn) {
        if (isJobsTurn || !isDue()) return nullptr;
        auto timer = timers.begin()->second.lock();
        timers.erase(timers.begin());
        timer->isPending = false; // it removes itself when it goes, so it is there
        return timer;
    }

    void remove(Timers::iterator place) {
        const bool wasEarliest = place == timers.begin();
        timers.erase(place);
        if (wasEarliest) arm();
    }

    void arm() {
        if (timers.empty()) {
            earliest.stop();
            return;
        }
        const Seconds wait = timers.begin()->first - monotonic();
        if (wait <= 0) {
            earliest.stop();
            const std::lock_guard lock(mutex);
            wakeUp();
            return;
        }
        // Whole milliseconds, never early; a day at most, then it looks again.
        constexpr double longest = 24 * 3600 * 1000.0;
        const auto milliseconds = static_cast<int>(std::min(std::ceil(wait * 1000), longest));
        earliest.start(milliseconds, Qt::PreciseTimer, this);
    }

    std::mutex mutex; // of jobs, isWoken and isClosed; the rest is the main thread's
    std::deque<Job> jobs;
    bool isWoken = false;
    bool isClosed = false;
    bool lastWasTimer = false;
    Timers timers;
    QBasicTimer earliest;
};

QtMainActor::QtMainActor() : queue(std::make_shared<Queue>()) {}

QtMainActor::~QtMainActor() {
    queue->close();
}

void QtMainActor::post(std::function<void()> job) {
    queue->post(std::move(job));
}

Token QtMainActor::schedule(Seconds delay, std::function<void()> job) {
    return queue->schedule(delay, std::move(job));
}

Seconds QtMainActor::now() const {
    return monotonic();
}

} // namespace nimbe
