#include "EndOfInput.h"

#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace nimbe {
namespace {

// Where the signal handler writes: it may do nothing else.
std::atomic<int> interruptEvent = -1;

void onInterrupt(int /*number*/) {
    const std::uint64_t one = 1;
    if (::write(interruptEvent, &one, sizeof one) < 0) return;
}

class Watch {
public:
    Watch(MainActor& actor, std::function<void()> onEnd)
        : actor(actor), onEnd(std::make_shared<std::function<void()>>(std::move(onEnd))),
          event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        interruptEvent = event;
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        ::sigaction(SIGINT, &action, &earlierInterrupt);
        ::sigaction(SIGTERM, &action, &earlierTerm);
        thread = std::thread([this] { watch(); });
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        ::sigaction(SIGINT, &earlierInterrupt, nullptr);
        ::sigaction(SIGTERM, &earlierTerm, nullptr);
        onInterrupt(0);
        thread.join();
        interruptEvent = -1;
        ::close(event);
    }

private:
    MainActor& actor;
    std::shared_ptr<std::function<void()>> onEnd; // of the main thread, which may drop it
    int event;
    struct sigaction earlierInterrupt {};
    struct sigaction earlierTerm {};
    std::thread thread;

    /// Its thread takes everything up to the line's end, or to an interrupt.
    void watch() {
        std::array<pollfd, 2> watched{pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{event, POLLIN, 0}};
        std::array<char, 4096> bytes{};
        bool isEnded = false;
        while (!isEnded) {
            if (::poll(watched.data(), watched.size(), -1) < 0) continue;
            if (watched[1].revents != 0) break;
            if (watched[0].revents == 0) continue;
            const auto count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
            isEnded = count <= 0;
            for (ssize_t i = 0; i < count; ++i)
                isEnded = isEnded || bytes.at(static_cast<std::size_t>(i)) == '\n';
        }
        actor.post([weak = std::weak_ptr(onEnd)] {
            if (const auto held = weak.lock()) (*held)();
        });
    }
};

} // namespace

Token watchEndOfInput(MainActor& actor, std::function<void()> onEnd) {
    return Token(std::make_shared<Watch>(actor, std::move(onEnd)));
}

} // namespace nimbe
