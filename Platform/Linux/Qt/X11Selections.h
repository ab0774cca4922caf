#pragma once

#include <QtCore/QAbstractNativeEventFilter>
#include <QtCore/QByteArray>
#include <map>
#include <memory>
#include <string>

#include "Foundation/Published.h"

namespace nimbe {

/// Whether X11 selections have owners, over the toolkit's own connection: that is how a
/// compositor and a system tray say that they are there. Not on X11, or without the
/// XFIXES extension: none has one. Main thread; needs a QGuiApplication.
class X11Selections final : private QAbstractNativeEventFilter {
public:
    X11Selections();
    X11Selections(const X11Selections&) = delete;
    X11Selections& operator=(const X11Selections&) = delete;
    ~X11Selections() override;

    /// Sets `isOwned` now and whenever it changes. "%" in the name stands for the number
    /// of the default screen. Lent; outlives this.
    void watch(const std::string& name, Published<bool>& isOwned);

private:
    std::uint8_t firstEvent = 0; // of XFIXES; 0: not there
    int screen = 0;
    std::map<std::uint32_t, Published<bool>*> watched; // by atom

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
};

} // namespace nimbe
