#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <utility>

#include "PlatformX11/XcbForm.h"

namespace nimbe {

/// Hands out large data piece by piece, to any number of requestors at once (INCR, ICCCM
/// 2.7.2). Each keeps the data that it began with. One that has gone is forgotten at once,
/// one that takes nothing for `patience` then. On the loop's thread.
class XcbIncrementalSender {
public:
    /// Bytes; what is larger goes in pieces of this size, or of the server's longest request.
    static constexpr std::size_t pieceSize = 256 * 1024;
    static constexpr std::chrono::seconds patience{10};

    explicit XcbIncrementalSender(XcbLoop& loop);

    [[nodiscard]] bool isNeeded(const XcbForm& form) const { return form.data->size() > piece; }

    /// Announces the data in the property; the caller notifies the requestor then.
    /// `onTaken` is called when it has taken all.
    void begin(
        xcb_window_t requestor, xcb_atom_t property, XcbForm form, std::function<void()> onTaken);

    /// A requestor has deleted a property: it wants the next piece.
    void handleDeletion(xcb_window_t requestor, xcb_atom_t property);
    /// It has gone.
    void forget(xcb_window_t requestor);

private:
    using Clock = std::chrono::steady_clock;
    struct Transfer {
        XcbForm form;
        std::function<void()> onTaken;
        std::size_t sent = 0;
        Clock::time_point lastStep;
    };
    using Transfers = std::map<std::pair<xcb_window_t, xcb_atom_t>, Transfer>;

    XcbLoop& loop;
    xcb_atom_t incremental;
    std::size_t piece = pieceSize;
    Transfers transfers;
    bool isWatching = false;

    void end(Transfers::iterator transfer);
    void watch();
};

} // namespace nimbe
