#include "PlatformDesktop/InterruptEvent.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace nimbe {
namespace {

// Where the signal handler writes: it may do nothing else.
std::atomic<int> interruptEvent = -1;

void count(int event) {
    const std::uint64_t one = 1;
    if (::write(event, &one, sizeof one) < 0) return;
}

} // namespace

void InterruptEvent::onInterrupt(int /*number*/) {
    const int error = errno;
    count(interruptEvent);
    // The first asks for the end, the second is one.
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (const int number : signals) {
        struct sigaction current {};
        ::sigaction(number, nullptr, &current);
        if (current.sa_handler == onInterrupt) ::sigaction(number, &action, nullptr);
    }
    errno = error;
}

InterruptEvent::InterruptEvent() : event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    interruptEvent = event;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART; // other threads' reading and writing goes on
    for (std::size_t i = 0; i < signals.size(); ++i) {
        ::sigaction(signals.at(i), nullptr, &earlier.at(i));
        if (earlier.at(i).sa_handler != SIG_IGN) ::sigaction(signals.at(i), &action, nullptr);
    }
}

InterruptEvent::~InterruptEvent() {
    for (std::size_t i = 0; i < signals.size(); ++i)
        ::sigaction(signals.at(i), &earlier.at(i), nullptr);
    interruptEvent = -1;
    ::close(event);
}

void InterruptEvent::wake() const {
    count(event);
}

} // namespace nimbe
