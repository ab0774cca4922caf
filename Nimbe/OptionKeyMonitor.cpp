#include "NimbeApp/OptionKeyMonitor.h"

#include <utility>

namespace nimbe {
namespace {

/// Caps Lock is a state of typing, not a key of a chord.
bool hasOtherModifier(const ModifierFlags& flags) {
    return flags.command || flags.control || flags.shift || flags.function;
}

} // namespace

std::shared_ptr<OptionKeyMonitor> OptionKeyMonitor::create(Platform platform, Callbacks callbacks) {
    return std::shared_ptr<OptionKeyMonitor>(new OptionKeyMonitor(platform, std::move(callbacks)));
}

OptionKeyMonitor::OptionKeyMonitor(Platform platform, Callbacks callbacks)
    : platform(platform), callbacks(std::move(callbacks)) {}

void OptionKeyMonitor::start() {
    if (platform.launch.isFinished()) {
        install();
    } else if (!launchObserver.isSet()) {
        launchObserver = platform.launch.observeFinish([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self) return;
            self->launchObserver.reset();
            self->install();
        });
    }
}

void OptionKeyMonitor::install() {
    if (globalFlags.isSet()) return;
    if (!platform.trust.isTrusted()) {
        if (!trustTask.isRunning())
            trustTask = startTask(platform.actor, waitForTrust(weak_from_this(), platform.actor));
        return;
    }
    trustTask.reset();
    using enum KeyEventSource::Scope;
    using Interest = KeyEventSource::Interest;
    globalFlags = platform.keys.monitor(otherApplications, Interest::flagsChanged, handler());
    globalKeys = platform.keys.monitor(otherApplications, Interest::keyDown, handler());
    localMonitor = platform.keys.monitor(ownWindows, Interest::both, handler());
}

/// Comes on the source's thread: takes the event over to the main one.
KeyEventSource::Handler OptionKeyMonitor::handler() {
    return [weak = weak_from_this(), &actor = platform.actor](const KeyEvent& event) {
        actor.post([weak, event] {
            if (const auto self = weak.lock()) self->handle(event);
        });
    };
}

void OptionKeyMonitor::handle(const KeyEvent& event) {
    switch (event.kind) {
    case KeyEvent::Kind::flagsChanged: flagsChanged(event.flags); break;
    case KeyEvent::Kind::keyDown: feed(Policy::Event::otherKeyDown); break;
    }
}

void OptionKeyMonitor::flagsChanged(const ModifierFlags& flags) {
    const bool wasDown = std::exchange(optionWasDown, flags.option);
    if (flags.option) {
        if (hasOtherModifier(flags))
            feed(Policy::Event::otherKeyDown);
        else if (!wasDown)
            feed(Policy::Event::optionDown);
    } else if (wasDown) {
        feed(Policy::Event::optionUp);
    }
}

/// The callback comes last: it may have dropped this object's owner.
void OptionKeyMonitor::feed(Policy::Event event) {
    const auto [next, action] = Policy::next(state, event);
    state = next;
    switch (action) {
    case Policy::Action::none:
    case Policy::Action::lock: break;
    case Policy::Action::scheduleArm:
        armTask = startTask(platform.actor, armAfterDelay(weak_from_this(), platform.actor));
        break;
    case Policy::Action::cancelArm: armTask.reset(); break;
    case Policy::Action::cancelArmTap:
        armTask.reset();
        cleanTap();
        break;
    case Policy::Action::press:
        lastCleanTapAt.reset();
        callbacks.press();
        break;
    case Policy::Action::release: callbacks.release(); break;
    }
}

void OptionKeyMonitor::cleanTap() {
    const Seconds now = platform.actor.now();
    if (lastCleanTapAt && now - *lastCleanTapAt <= doubleTapWindow) {
        lastCleanTapAt.reset();
        callbacks.doubleTap();
    } else {
        lastCleanTapAt = now;
    }
}

Task<void> OptionKeyMonitor::waitForTrust(
    std::weak_ptr<OptionKeyMonitor> weakSelf, MainActor& actor) {
    for (;;) {
        co_await sleep(actor, trustInterval);
        const auto self = weakSelf.lock();
        if (!self) co_return;
        if (!self->platform.trust.isTrusted()) continue;
        self->install();
        co_return;
    }
}

Task<void> OptionKeyMonitor::armAfterDelay(
    std::weak_ptr<OptionKeyMonitor> weakSelf, MainActor& actor) {
    co_await sleep(actor, Policy::armDelay);
    if (const auto self = weakSelf.lock()) self->feed(Policy::Event::armTimerFired);
}

} // namespace nimbe
