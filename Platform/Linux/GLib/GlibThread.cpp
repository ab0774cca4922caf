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
    : context(g_main_context_new()), loop(g_main_loop_new(context, FALSE)), thread([this] {
          g_main_context_push_thread_default(context);
          g_main_loop_run(loop);
          g_main_context_pop_thread_default(context);
      }) {
    pthread_setname_np(thread.native_handle(), std::string(name).substr(0, 15).c_str());
}

GlibThread::~GlibThread() {
    stop();
    g_main_loop_unref(loop);
    g_main_context_unref(context);
}

void GlibThread::attach(GSource* source, Job job) {
    // GLib takes plain pointers.
    g_source_set_callback(source, runOnce, new Job(std::move(job)), destroyJob);
    g_source_attach(source, context);
    g_source_unref(source);
}

void GlibThread::post(Job job) {
    // Not g_main_context_invoke(): before the thread has its context, that would run the
    // job on the caller's.
    auto* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    attach(source, std::move(job));
}

void GlibThread::schedule(Seconds delay, Job job) {
    attach(g_timeout_source_new(static_cast<guint>(std::max(delay, 0.0) * 1000)), std::move(job));
}

void GlibThread::stop() {
    if (!thread.joinable()) return;
    post([this] { g_main_loop_quit(loop); }); // also when the loop has not begun
    thread.join();
}

} // namespace nimbe
