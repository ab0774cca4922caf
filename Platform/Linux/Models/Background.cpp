#include "PlatformModels/Background.h"

namespace nimbe {

std::stop_source Background::start(Job job) {
    std::erase_if(threads, [](const Thread& thread) { return thread.isDone->load(); });
    auto isDone = std::make_shared<std::atomic<bool>>(false);
    std::jthread thread([isDone, job = std::move(job)](const std::stop_token& stop) {
        job(stop);
        *isDone = true;
    });
    auto source = thread.get_stop_source();
    threads.push_back({std::move(isDone), std::move(thread)});
    return source;
}

} // namespace nimbe
