#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Log.h"
#include "NimbeApp/Pasteboard.h"
#include "PlatformX11/XcbRequestors.h"

namespace nimbe {

/// Reads all that another owner of a selection gives: once. On the loop's thread.
///
/// A few forms are asked for at a time, each with a window of its own: an owner answers one
/// after the other, but it needs not wait for us in between. What an image program derives
/// from an image comes last, so that a deadline costs the least. When another program takes
/// the selection meanwhile, reading begins anew, so that the contents are of one program.
class XcbSelectionReader {
public:
    using Done = std::function<void(PasteboardContents)>;

    static constexpr std::size_t largestContents = 64 * 1024 * 1024; // bytes, all forms
    static constexpr std::size_t mostTargets = 500;
    static constexpr std::size_t atATime = 4;

    /// `done` is called once. `room`: for all forms together.
    XcbSelectionReader(XcbLoop& loop, XcbRequestors& requestors, xcb_atom_t selection, Log log,
        Done done, std::size_t room = largestContents);

    void start();
    /// Of those, the answers to its questions are what it takes.
    void handle(const xcb_generic_event_t& event);
    /// The selection is another program's, or nobody's, or was taken again by the same one.
    void handleOwnerChange();
    /// With what has come.
    void finish();
    [[nodiscard]] bool isFinished() const { return !done; }

private:
    using Form = PasteboardContents::Form;
    struct Target {
        xcb_atom_t atom = XCB_ATOM_NONE;
        std::string name;
        std::size_t place = 0; // in the owner's order
    };
    struct Question {
        xcb_window_t window = XCB_NONE;
        Target target;
        bool isIncremental = false;
        Form form = {};
    };
    struct Lost {
        std::size_t refused = 0;
        std::size_t tooLarge = 0;
        std::size_t late = 0;
    };

    XcbLoop& loop;
    XcbRequestors& requestors;
    xcb_atom_t selection;
    Log log;
    Done done;
    xcb_atom_t property;
    xcb_atom_t targetsTarget;
    xcb_atom_t incremental;
    std::vector<Question> questions;        // asked, not answered
    std::deque<Target> waiting;             // not asked yet
    std::vector<std::optional<Form>> forms; // in the owner's order
    std::size_t wholeRoom;
    std::size_t room; // what is left of it
    Lost lost;

    [[nodiscard]] xcb_window_t owner() const;
    void ask(Target target);
    void askNext();
    void takeAnswer(Question& question, bool isGiven);
    void takePiece(Question& question);
    [[nodiscard]] XcbPointer<xcb_get_property_reply_t> fetch(const Question& question) const;
    [[nodiscard]] bool append(Question& question, const xcb_get_property_reply_t& reply);
    void close(Question& question, std::size_t* loss);
    void takeTargets(const Bytes& data);
};

} // namespace nimbe
