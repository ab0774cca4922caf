#include "EndOfInput.h"

#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
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
        // The first asks for the end, the second is one.
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        for (std::size_t i = 0; i < signals.size(); ++i)
            ::sigaction(signals.at(i), &action, &earlier.at(i));
        silence();
        thread = std::thread([this] { watch(); });
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        for (std::size_t i = 0; i < signals.size(); ++i)
            ::sigaction(signals.at(i), &earlier.at(i), nullptr);
        if (terminal) ::tcsetattr(STDIN_FILENO, TCSADRAIN, &*terminal);
        onInterrupt(0);
        thread.join();
        interruptEvent = -1;
        ::close(event);
    }

private:
    MainActor& actor;
    std::shared_ptr<std::function<void()>> onEnd; // of the main thread, which may drop it
    int event;
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, signals.size()> earlier{};
    std::optional<termios> terminal; // as it was
    std::thread thread;

    /// The Enter that ends the dictation is not shown: the live line stands there.
    void silence() {
        termios state{};
        const bool isOurs = ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
        if (!isOurs || ::tcgetattr(STDIN_FILENO, &state) != 0) return;
        terminal = state;
        state.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSADRAIN, &state);
    }

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
