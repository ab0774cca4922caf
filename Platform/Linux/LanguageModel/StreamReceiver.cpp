#include "PlatformLanguageModel/StreamReceiver.h"

#include <utility>

namespace nimbe {

bool StreamReceiver::begin(const HttpResponse& head) {
    const std::lock_guard lock(mutex);
    pending.head = head;
    return true;
}

bool StreamReceiver::receive(std::span<const std::uint8_t> bytes) {
    const std::lock_guard lock(mutex);
    pending.isTooMuch = bytes.size() > mostPending - pending.bytes.size();
    if (pending.isTooMuch) return false;
    pending.bytes.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!std::exchange(isTold, true)) actor.post([news = news] { news.yield(true); });
    return true;
}

StreamReceiver::Taken StreamReceiver::take() {
    const std::lock_guard lock(mutex);
    isTold = false;
    Taken taken{pending.head, std::exchange(pending.bytes, {}), pending.isTooMuch};
    return taken;
}

} // namespace nimbe
