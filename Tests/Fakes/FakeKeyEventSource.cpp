#include "Fakes/FakeKeyEventSource.h"

#include <algorithm>

namespace nimbe {

Token FakeKeyEventSource::monitor(Scope scope, Interest interest, Handler handler) {
    auto held = std::make_shared<Handler>(std::move(handler));
    monitors.push_back({scope, interest, held});
    return Token(std::move(held));
}

void FakeKeyEventSource::changeFlags(ModifierFlags flags, Scope scope) {
    send({KeyEvent::Kind::flagsChanged, flags}, scope);
}

void FakeKeyEventSource::keyDown(Scope scope) {
    send({KeyEvent::Kind::keyDown, {}}, scope);
}

std::size_t FakeKeyEventSource::monitorCount() const {
    return static_cast<std::size_t>(std::count_if(monitors.begin(), monitors.end(),
        [](const auto& monitor) { return !monitor.handler.expired(); }));
}

void FakeKeyEventSource::send(const KeyEvent& event, Scope scope) {
    const auto wanted =
        event.kind == KeyEvent::Kind::keyDown ? Interest::keyDown : Interest::flagsChanged;
    for (const auto& monitor : monitors) {
        const bool isInterested = monitor.interest == Interest::both || monitor.interest == wanted;
        const auto handler = monitor.handler.lock();
        if (handler && monitor.scope == scope && isInterested) (*handler)(event);
    }
}

} // namespace nimbe
