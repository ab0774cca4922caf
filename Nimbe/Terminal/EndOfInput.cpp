#include "EndOfInput.h"

#include <array>
#include <memory>
#include <optional>
#include <poll.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include "PlatformDesktop/InterruptEvent.h"

namespace nimbe {
namespace {

class Watch {
public:
    Watch(MainActor& actor, std::function<void()> onEnd)
        : actor(actor), onEnd(std::make_shared<std::function<void()>>(std::move(onEnd))) {
        silence();
        thread = std::thread([this] { watch(); });
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        if (terminal) ::tcsetattr(STDIN_FILENO, TCSADRAIN, &*terminal);
        interrupts.wake();
        thread.join();
    }

private:
    MainActor& actor;
    std::shared_ptr<std::function<void()>> onEnd; // of the main thread, which may drop it
    InterruptEvent interrupts;
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
        std::array<pollfd, 2> watched{
            pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{interrupts.descriptor(), POLLIN, 0}};
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
