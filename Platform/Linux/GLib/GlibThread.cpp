#include "PlatformGLib/GlibThread.h"

#include <algorithm>
#include <pthread.h>
#include <string>

namespace nimbe {
namespace {

gboolean runOnce(gpointer job) {
    (*static_cast<GlibThread::Job*>(job))();
    return G_SOURCE_REMOVE;
}

void destroyJob(gpointer job) {
    delete static_cast<GlibThread::Job*>(job); // NOLINT(cppcoreguidelines-owning-memory): GLib's
}

} // namespace

GlibThread::GlibThread(const char* name)
    : context(g_main_context_new()), thread([this] { run(); }) {
    pthread_setname_np(thread.native_handle(), std::string(name).substr(0, 15).c_str());
}

GlibThread::~GlibThread() {
    stop();
    g_main_context_unref(context);
}

void GlibThread::run() {
    g_main_context_push_thread_default(context);
    runPosted();
    while (!isStopping) {
        g_main_context_iteration(context, TRUE);
        runPosted();
    }
    g_main_context_pop_thread_default(context);
}

void GlibThread::runPosted() {
    std::deque<Job> due;
    {
        const std::lock_guard guard(mutex);
        due.swap(jobs);
    }
    for (auto& job : due) job();
}

void GlibThread::post(Job job) {
    // A queue of our own: GLib's sources would do, but the thread sanitizer does not see
    // how GLib's threads meet, and would see nothing of what our jobs do.
    {
        const std::lock_guard guard(mutex);
        jobs.push_back(std::move(job));
    }
    g_main_context_wakeup(context);
}

void GlibThread::schedule(Seconds delay, Job job) {
    post([this, delay, job = std::move(job)]() mutable {
        auto* source = g_timeout_source_new(static_cast<guint>(std::max(delay, 0.0) * 1000));
        // GLib takes plain pointers.
        g_source_set_callback(source, runOnce, new Job(std::move(job)), destroyJob);
        g_source_attach(source, context);
        g_source_unref(source);
    });
}

void GlibThread::stop() {
    if (!thread.joinable()) return;
    post([this] { isStopping = true; });
    thread.join();
}

} // namespace nimbe
