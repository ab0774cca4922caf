#include "Interrupt.h"

#include <atomic>
#include <csignal>

namespace nimbe::interrupt {
namespace {

std::atomic<bool> isNoted = false;

void note(int /*number*/) {
    isNoted = true;
}

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

} // namespace nimbe::interrupt
