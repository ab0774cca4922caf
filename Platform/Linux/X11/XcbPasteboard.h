#pragma once

#include <memory>
#include <string>

#include "Foundation/Log.h"
#include "NimbeApp/Pasteboard.h"
#include "PlatformX11/XcbLoop.h"

namespace nimbe {

/// A selection of the X server: CLIPBOARD, or PRIMARY (what is marked with the mouse).
///
/// A selection has no contents of its own: programs ask its owner each time. So what this
/// program has written, and what it has put back, is gone when it ends. At its end it
/// gives contents of CLIPBOARD to the desktop's clipboard manager, if one runs
/// (CLIPBOARD_MANAGER; the larger desktops have one) - but not what is marked as concealed,
/// which no list shall keep. Without a manager there is then nothing to paste.
///
/// A pasteboard that was emptied is owned by this program without any contents, and not by
/// nobody: Qt 6.4 crashes programs that paste from that.
///
/// When the server goes, what is under way ends: empty, absent, false.
class XcbPasteboard final : public Pasteboard {
public:
    /// Null when the display of the environment cannot be reached.
    [[nodiscard]] static std::unique_ptr<XcbPasteboard> create(
        MainActor& actor, const std::string& selection, LogSink& sink);
    /// The loop is not started yet.
    XcbPasteboard(MainActor& actor, std::unique_ptr<XcbLoop> loop, const std::string& selection,
        LogSink& sink);
    /// Ends what is under way; takes a second at most to carry out the last writes and to
    /// hand over, and another one when the server does not answer.
    ~XcbPasteboard() override;

    [[nodiscard]] Task<PasteboardContents> snapshot() override;
    [[nodiscard]] Task<std::optional<Change>> write(PasteboardContents contents) override;
    [[nodiscard]] Task<bool> replace(Change change, PasteboardContents contents) override;
    /// A clipboard manager that fetches text counts, too; one that asks what there is does not.
    [[nodiscard]] int timesRead(Change change) const override;

private:
    class Worker; // all that is done on the loop's thread
    struct Reads;

    MainActor& actor;
    std::unique_ptr<XcbLoop> loop;
    std::shared_ptr<Reads> reads;
    std::unique_ptr<Worker> worker;
    Change lastChange = 0;

    void take(Change change, PasteboardContents contents, std::optional<Change> insteadOf,
        std::function<void(bool)> done);
};

} // namespace nimbe
