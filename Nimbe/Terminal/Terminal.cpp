#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace nimbe::terminal {

bool isOne(int descriptor) {
    return ::isatty(descriptor) == 1;
}

int columns(int descriptor) {
    constexpr int usual = 80;
    if (!isOne(descriptor)) return 0;
    winsize size{};
    const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : usual;
}

} // namespace nimbe::terminal
