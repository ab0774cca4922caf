#pragma once

#include <atomic>
#include <cstdlib>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <xcb/xcb.h>

#include "Foundation/Date.h"
#include "Foundation/Log.h"

namespace nimbe {

/// Frees what xcb hands out.
struct XcbFree {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using XcbPointer = std::unique_ptr<T, XcbFree>;

/// A connection of its own to the X server, and a thread that reads its events. Sleeps
/// while nothing happens. Without start() a connection for one thread that asks and
/// waits for answers.
class XcbLoop {
public:
    using Job = std::function<void()>;
    using EventHandler = std::function<void(const xcb_generic_event_t&)>;

    /// Null when the display of the environment cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbLoop> connect(LogSink& sink, std::string name);
    XcbLoop(const XcbLoop&) = delete;
    XcbLoop& operator=(const XcbLoop&) = delete;
    /// Ends the thread. Not on the thread itself.
    ~XcbLoop();

    /// Events, errors of unchecked requests among them, go to `handler` on the thread.
    /// Once; jobs posted before wait for it. `onLost` runs there when the server has gone:
    /// no events come any more, replies are null, jobs and timers still run.
    void start(EventHandler handler, Job onLost = {});
    /// Ends the thread; pending jobs are dropped. Before what the handler uses goes. When
    /// the server does not answer what the thread has asked, gives up the connection after
    /// a second.
    void stop();

    /// Runs `job` on the thread. Any thread.
    void post(Job job);
    /// Runs `job` once on the thread, `delay` from now. On the thread.
    void schedule(Seconds delay, Job job);

    /// Whoever waited on another thread for a reply of this connection calls it after
    /// that: events that came with the reply would else stay unseen until the next ones.
    void wake();
    /// Any thread may send requests and flush.
    [[nodiscard]] xcb_connection_t* connection() const { return xcb; }
    [[nodiscard]] const xcb_screen_t& screen() const { return *defaultScreen; }
    [[nodiscard]] xcb_window_t root() const { return defaultScreen->root; }
    /// False once the server has gone.
    [[nodiscard]] bool isConnected() const { return xcb_connection_has_error(xcb) == 0; }

    /// Where there is no thread: gives away the events that have come, without waiting.
    /// False once the server has gone.
    [[nodiscard]] bool drain(const EventHandler& taker = {});

    /// Asks the server the first time. Any thread.
    [[nodiscard]] xcb_atom_t atom(const std::string& name);
    /// Of one that the server gave. Any thread.
    [[nodiscard]] std::string atomName(xcb_atom_t atom);

private:
    XcbLoop(xcb_connection_t* xcb, int screenNumber, LogSink& sink, std::string name);

    xcb_connection_t* xcb;
    const xcb_screen_t* defaultScreen = nullptr;
    Log log;
    std::string name;
    int wakeUp = -1; // eventfd
    std::mutex mutex;
    std::deque<Job> jobs;
    std::map<std::string, xcb_atom_t, std::less<>> atoms;
    std::map<xcb_atom_t, std::string> atomNames;
    std::multimap<double, Job> timers; // the thread's own
    EventHandler handler;
    Job onLost;
    bool isLost = false; // the thread's own
    std::promise<void> ended;
    std::atomic<bool> isStopping = false;
    std::thread thread;

    void run();
    void readEvents();
    void runJobs();
    void runTimers();
    void wait();
    void remember(const std::string& name, xcb_atom_t atom);
};

} // namespace nimbe
