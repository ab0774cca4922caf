#pragma once

#include <memory>

#include "NimbeApp/DesktopSurroundings.h"

namespace nimbe {

/// Keeps a DesktopSurroundings true: compositor and tray by X11 selections, the rest from
/// the session bus. Without X11 or without a bus those parts keep their first values. Main
/// thread; within the life of a QGuiApplication.
class QtSurroundings {
public:
    /// Lent; outlives this.
    explicit QtSurroundings(DesktopSurroundings& surroundings);
    QtSurroundings(const QtSurroundings&) = delete;
    QtSurroundings& operator=(const QtSurroundings&) = delete;
    ~QtSurroundings();

private:
    struct Watches;
    std::unique_ptr<Watches> watches;
};

} // namespace nimbe
