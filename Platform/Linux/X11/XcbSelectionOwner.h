#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "PlatformX11/XcbIncrementalSender.h"

namespace nimbe {

/// Puts contents of this program into a selection and answers whoever asks for them. On
/// the loop's thread, but for the constructor, which comes before that.
class XcbSelectionOwner {
public:
    using Change = Pasteboard::Change;
    struct Taking {
        Change change = 0;
        std::shared_ptr<const PasteboardContents> contents;
        std::optional<Change> insteadOf; // only while this one is the newest of all
        std::chrono::steady_clock::time_point deadline;
        std::function<void(bool)> done; // called once
    };

    /// `onTextRead`: another program has taken text of that change.
    XcbSelectionOwner(XcbLoop& loop, xcb_atom_t selection, std::function<void(Change)> onTextRead);

    /// In the order of the calls.
    void take(Taking taking);
    /// Runs `job` once what was to be taken has been, or not.
    void whenTaken(std::function<void()> job);
    /// Null: the selection is not this program's, as far as the events have told.
    [[nodiscard]] std::shared_ptr<const PasteboardContents> contents() const;
    /// The same, having asked the server.
    [[nodiscard]] std::shared_ptr<const PasteboardContents> presentContents();
    [[nodiscard]] xcb_window_t window() const { return ownWindow; }

    void handle(const xcb_generic_event_t& event);
    /// The server has gone.
    void giveUp();

private:
    struct Pending {
        Taking taking;
        std::vector<std::function<void()>> after;
    };
    struct Owned {
        Change change = 0;
        xcb_timestamp_t since = 0;
        std::shared_ptr<const PasteboardContents> contents;
        std::vector<XcbForm> forms;
    };

    XcbLoop& loop;
    xcb_atom_t selection;
    std::function<void(Change)> onTextRead;
    xcb_window_t ownWindow;
    xcb_atom_t timeProperty;
    xcb_atom_t targetsTarget;
    xcb_atom_t timestampTarget;
    xcb_atom_t multipleTarget;
    XcbIncrementalSender sender;
    std::deque<Pending> pending; // each waits for the server's time
    std::optional<Owned> owned;

    void settle(xcb_timestamp_t now);
    [[nodiscard]] bool own(const Taking& taking, xcb_timestamp_t now);
    [[nodiscard]] bool isOwner() const;
    void answer(const xcb_selection_request_event_t& request);
    [[nodiscard]] bool convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
    [[nodiscard]] bool convertMultiple(xcb_window_t requestor, xcb_atom_t property);
    void putTargets(xcb_window_t requestor, xcb_atom_t property) const;
};

} // namespace nimbe
