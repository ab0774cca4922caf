#include "PlatformDesktop/SessionEnd.h"

#include <atomic>
#include <memory>
#include <poll.h>
#include <thread>

#include "PlatformDesktop/InterruptEvent.h"

namespace nimbe {
namespace {

class Watch {
public:
    Watch(MainActor& actor, std::function<void()> onEnd)
        : actor(actor), onEnd(std::make_shared<std::function<void()>>(std::move(onEnd))),
          thread([this] { watch(); }) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        isDropped = true;
        interrupts.wake();
        thread.join();
    }

private:
    MainActor& actor;
    std::shared_ptr<std::function<void()>> onEnd; // of the main thread, which may drop it
    InterruptEvent interrupts;
    std::atomic<bool> isDropped = false;
    std::thread thread; // last: it uses the others

    void watch() {
        pollfd watched{interrupts.descriptor(), POLLIN, 0};
        while (::poll(&watched, 1, -1) < 0) {
        }
        if (isDropped) return;
        actor.post([weak = std::weak_ptr(onEnd)] {
            if (const auto held = weak.lock()) (*held)();
        });
    }
};

} // namespace

Token watchSessionEnd(MainActor& actor, std::function<void()> onEnd) {
    return Token(std::make_shared<Watch>(actor, std::move(onEnd)));
}

} // namespace nimbe
