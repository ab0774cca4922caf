#include "Foundation/TaskScope.h"

namespace nimbe {

TaskRoot::TaskRoot(MainActor& actor, Task<void> body) : actor(actor), body(std::move(body)) {}

void TaskRoot::postStart() {
    actor.post([weak = weak_from_this()] {
        const auto root = weak.lock();
        if (!root || root->isEnded()) return;
        root->body->handle.promise().root = root.get();
        root->resume(root->body->handle);
    });
}

void TaskRoot::resume(std::coroutine_handle<> waiting) {
    const auto kept = shared_from_this(); // the body may drop the last handle
    isRunning = true;
    waiting.resume();
    isRunning = false;
    if (body->handle.done()) {
        // Nobody awaits a started task: an exception has nowhere to go.
        if (body->handle.promise().exception) std::terminate();
        stop();
    } else if (isStopped) {
        stop();
    }
}

void TaskRoot::stop() {
    isStopped = true;
    if (isRunning || !body) return;
    // Destroying the frame may come back here through what the frame owned.
    const auto kept = shared_from_this();
    const Task<void> dying = std::move(*body);
    body.reset();
}

TaskHandle& TaskHandle::operator=(TaskHandle&& other) noexcept {
    if (this != &other) {
        reset();
        root = std::move(other.root);
    }
    return *this;
}

void TaskHandle::reset() {
    if (const auto stopped = std::exchange(root, nullptr)) stopped->stop();
}

TaskHandle startTask(MainActor& actor, Task<void> body) {
    auto root = std::make_shared<TaskRoot>(actor, std::move(body));
    root->postStart();
    return TaskHandle(std::move(root));
}

void TaskScope::start(Task<void> body) {
    std::erase_if(tasks, [](const TaskHandle& task) { return !task.isRunning(); });
    tasks.push_back(startTask(actor, std::move(body)));
}

} // namespace nimbe
