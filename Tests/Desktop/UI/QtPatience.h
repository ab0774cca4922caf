#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <functional>

namespace nimbe {

/// Runs the event loop until something is so; false: it was not within ten seconds. It is
/// asked after every event and a hundred times a second.
inline bool until(const std::function<bool()>& isSo) {
    QElapsedTimer clock;
    clock.start();
    QTimer ticking;
    ticking.start(10);
    while (!isSo()) {
        if (clock.elapsed() > 10'000) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/// Runs it that long, as long as something is so.
inline bool throughout(int milliseconds, const std::function<bool()>& isSo) {
    QElapsedTimer clock;
    clock.start();
    QTimer ticking;
    ticking.start(10);
    while (clock.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (!isSo()) return false;
    }
    return true;
}

} // namespace nimbe
