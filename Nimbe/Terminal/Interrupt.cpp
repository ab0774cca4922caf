#include "Interrupt.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <memory>
#include <poll.h>
#include <thread>

#include "PlatformDesktop/InterruptEvent.h"

namespace nimbe::interrupt {
namespace {

std::atomic<bool> isNoted = false;

void note(int /*number*/) {
    isNoted = true;
}

/// A thread that waits for the interrupt, and for its own end.
class Watch {
public:
    Watch(MainActor& actor, std::function<void()> onInterrupt)
        : actor(actor),
          onInterrupt(std::make_shared<std::function<void()>>(std::move(onInterrupt))),
          thread([this] { wait(); }) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        interrupts.wake();
        thread.join();
    }

private:
    MainActor& actor;
    std::shared_ptr<std::function<void()>> onInterrupt; // of the main thread, which may drop it
    InterruptEvent interrupts;
    std::thread thread;

    void wait() {
        pollfd watched{interrupts.descriptor(), POLLIN, 0};
        while (::poll(&watched, 1, -1) < 0 && errno == EINTR) continue;
        actor.post([weak = std::weak_ptr(onInterrupt)] {
            if (const auto held = weak.lock()) (*held)();
        });
    }
};

} // namespace

void watch() {
    struct sigaction action {};
    action.sa_handler = note;
    // Reading goes on: it is the reader who asks.
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(number, &action, nullptr);
}

bool hasCome() {
    return isNoted;
}

Token observe(MainActor& actor, std::function<void()> onInterrupt) {
    return Token(std::make_shared<Watch>(actor, std::move(onInterrupt)));
}

} // namespace nimbe::interrupt
