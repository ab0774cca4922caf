#pragma once

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <optional>
#include <vector>

#include "NimbeApp/RunningApplication.h"

namespace nimbe {

/// A screen as the toolkit has it: its origin in native pixels, everything else in
/// pixels of the interface, of which each is `scale` native ones.
struct ScreenArea {
    QRect geometry;
    QRect available; // without the panels
    qreal scale = 1;

    [[nodiscard]] QRect native() const {
        return {geometry.topLeft(), (QSizeF(geometry.size()) * scale).toSize()};
    }
};

/// Where the overlay goes.
struct OverlayPlace {
    // Between the overlay's pill and the panel or edge below it.
    static constexpr int bottomMargin = 36;

    /// The index of the screen that shows most of the window; without a window, or when
    /// it is on none, the pointer's (in pixels of the interface), else the first.
    [[nodiscard]] static std::size_t screen(const std::vector<ScreenArea>& screens,
        const std::optional<RunningApplication::Frame>& target, QPoint pointer);

    /// Centred above the lower edge, and within the screen.
    [[nodiscard]] static QRect geometry(const ScreenArea& screen, QSize size);
};

} // namespace nimbe
