#include "PlatformX11/XcbLoop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace nimbe {
namespace {

double monotonicNow() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

const xcb_screen_t* screenOf(xcb_connection_t* xcb, int number) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(xcb));
    while (number-- > 0 && screens.rem > 1) xcb_screen_next(&screens);
    return screens.data;
}

} // namespace

std::unique_ptr<XcbLoop> XcbLoop::connect(LogSink& sink, std::string name) {
    int screenNumber = 0;
    auto* xcb = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(xcb) != 0) {
        Log(sink, "x11")
            .error("x11: no connection to the display, error=%d", xcb_connection_has_error(xcb));
        xcb_disconnect(xcb);
        return nullptr;
    }
    return std::unique_ptr<XcbLoop>(new XcbLoop(xcb, screenNumber, sink, std::move(name)));
}

XcbLoop::XcbLoop(xcb_connection_t* xcb, int screenNumber, LogSink& sink, std::string name)
    : xcb(xcb), defaultScreen(screenOf(xcb, screenNumber)), log(sink, "x11"), name(std::move(name)),
      wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

XcbLoop::~XcbLoop() {
    stop();
    xcb_disconnect(xcb);
    ::close(wakeUp);
}

void XcbLoop::start(EventHandler eventHandler, Job lost) {
    handler = std::move(eventHandler);
    onLost = std::move(lost);
    thread = std::thread([this] { run(); });
    pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
}

void XcbLoop::stop() {
    if (!thread.joinable()) return;
    isStopping = true;
    ::eventfd_write(wakeUp, 1);
    if (ended.get_future().wait_for(std::chrono::seconds(1)) != std::future_status::ready)
        ::shutdown(xcb_get_file_descriptor(xcb), SHUT_RDWR); // ends its wait for a reply
    thread.join();
    const std::lock_guard guard(mutex);
    jobs.clear();
    timers.clear();
}

void XcbLoop::post(Job job) {
    {
        const std::lock_guard guard(mutex);
        jobs.push_back(std::move(job));
    }
    wake();
}

void XcbLoop::wake() {
    ::eventfd_write(wakeUp, 1);
}

bool XcbLoop::drain(const EventHandler& taker) {
    while (const XcbPointer<xcb_generic_event_t> event{xcb_poll_for_event(xcb)})
        if (taker) taker(*event);
    return isConnected();
}

void XcbLoop::schedule(Seconds delay, Job job) {
    timers.emplace(monotonicNow() + delay, std::move(job));
}

void XcbLoop::run() {
    while (!isStopping) {
        runJobs();
        runTimers();
        if (!isLost) readEvents();
        wait();
    }
    ended.set_value();
}

void XcbLoop::readEvents() {
    while (const XcbPointer<xcb_generic_event_t> event{xcb_poll_for_event(xcb)}) {
        handler(*event);
        if (isStopping) return;
    }
    if (isConnected()) return;
    isLost = true;
    log.error("x11: the display has gone (%s)", name.c_str());
    if (onLost) onLost();
}

void XcbLoop::runJobs() {
    std::deque<Job> due;
    {
        const std::lock_guard guard(mutex);
        due.swap(jobs);
    }
    for (auto& job : due) {
        if (isStopping) return;
        job();
    }
}

void XcbLoop::runTimers() {
    while (!timers.empty() && timers.begin()->first <= monotonicNow()) {
        const auto job = std::move(timers.begin()->second);
        timers.erase(timers.begin());
        job();
    }
}

void XcbLoop::wait() {
    if (!isLost) {
        // Jobs, timers and handlers have asked things of the server. Sending that may read
        // events, as may a reply that they waited for: those stand in xcb's own queue, of
        // which poll() would not tell.
        xcb_flush(xcb);
        if (const XcbPointer<xcb_generic_event_t> event{xcb_poll_for_queued_event(xcb)}) {
            handler(*event);
            return;
        }
    }
    int milliseconds = -1;
    if (!timers.empty())
        milliseconds = std::max(
            0, static_cast<int>(std::ceil((timers.begin()->first - monotonicNow()) * 1000)));
    pollfd files[] = {{wakeUp, POLLIN, 0}, {xcb_get_file_descriptor(xcb), POLLIN, 0}};
    ::poll(files, isLost ? 1 : 2, milliseconds);
    eventfd_t count = 0;
    ::eventfd_read(wakeUp, &count);
}

xcb_atom_t XcbLoop::atom(const std::string& atomName) {
    {
        const std::lock_guard guard(mutex);
        if (const auto found = atoms.find(atomName); found != atoms.end()) return found->second;
    }
    const auto asked =
        xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(atomName.size()), atomName.data());
    const XcbPointer<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(xcb, asked, nullptr)};
    wake(); // for events that came with it, on whichever thread
    if (!reply) return XCB_ATOM_NONE;
    remember(atomName, reply->atom);
    return reply->atom;
}

std::string XcbLoop::atomName(xcb_atom_t atom) {
    {
        const std::lock_guard guard(mutex);
        if (const auto found = atomNames.find(atom); found != atomNames.end()) return found->second;
    }
    const auto asked = xcb_get_atom_name(xcb, atom);
    const XcbPointer<xcb_get_atom_name_reply_t> reply{xcb_get_atom_name_reply(xcb, asked, nullptr)};
    wake();
    if (!reply) return {};
    std::string found(xcb_get_atom_name_name(reply.get()),
        static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get())));
    remember(found, atom);
    return found;
}

void XcbLoop::remember(const std::string& atomName, xcb_atom_t atom) {
    const std::lock_guard guard(mutex);
    atoms[atomName] = atom;
    atomNames[atom] = atomName;
}

} // namespace nimbe
