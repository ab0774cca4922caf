#include "NimbeUI/OverlayPlace.h"

#include <algorithm>

namespace nimbe {
namespace {

std::int64_t area(const QRect& rect) {
    return rect.isEmpty() ? 0 : std::int64_t{rect.width()} * rect.height();
}

} // namespace

std::size_t OverlayPlace::screen(const std::vector<ScreenArea>& screens,
    const std::optional<RunningApplication::Frame>& target, QPoint pointer) {
    std::optional<std::size_t> best;
    if (target) {
        const QRect window(target->x, target->y, target->width, target->height);
        std::int64_t most = 0;
        for (std::size_t i = 0; i < screens.size(); ++i) {
            const auto shown = area(screens[i].native().intersected(window));
            if (shown <= most) continue;
            most = shown;
            best = i;
        }
    }
    for (std::size_t i = 0; !best && i < screens.size(); ++i)
        if (screens[i].geometry.contains(pointer)) best = i;
    return best.value_or(0);
}

QRect OverlayPlace::geometry(const ScreenArea& screen, QSize size) {
    const QRect& room = screen.available.isEmpty() ? screen.geometry : screen.available;
    const int left = room.x() + (room.width() - size.width()) / 2;
    const int top = room.y() + room.height() - size.height() - bottomMargin;
    return {QPoint(left, std::max(top, screen.geometry.y())), size};
}

} // namespace nimbe
