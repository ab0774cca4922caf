#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>
#include <xcb/xcb.h>

#include "NimbeApp/Pasteboard.h"

// Other programs, as odd as needed, each with its own connection to the X server.

namespace nimbe {

using Form = PasteboardContents::Form;

class XcbStranger {
public:
    XcbStranger();
    virtual ~XcbStranger();
    XcbStranger(const XcbStranger&) = delete;
    XcbStranger& operator=(const XcbStranger&) = delete;

    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;
    [[nodiscard]] std::string name(xcb_atom_t atom) const;
    /// Gone from the server, as if the program had been killed.
    void die();

protected:
    xcb_connection_t* xcb = nullptr;
    xcb_window_t window = XCB_NONE;

    /// Null: none came in time.
    [[nodiscard]] xcb_generic_event_t* waitForEvent(double seconds) const;
};

/// Copies something, and answers on a thread of its own.
class StrangeOwner final : public XcbStranger {
public:
    struct Behaviour {
        bool hangs = false; // answers nothing at all
        bool knowsTargets = true;
        std::set<std::string> silent = {}; // never answered
        std::set<std::string> refused = {};
        double work = 0;                      // seconds for every form
        int diesAfterPieces = -1;             // of an incremental transfer
        std::size_t piece = 200'000;          // larger forms go incrementally
        bool announcesSize = true;            // of a form that goes so
        std::function<void()> onRequest = {}; // of a form, before its answer
    };
    explicit StrangeOwner(std::vector<Form> forms, Behaviour behaviour, std::string selection);
    explicit StrangeOwner(std::vector<Form> forms)
        : StrangeOwner(std::move(forms), Behaviour(), "CLIPBOARD") {}
    StrangeOwner(std::vector<Form> forms, Behaviour behaviour)
        : StrangeOwner(std::move(forms), std::move(behaviour), "CLIPBOARD") {}
    ~StrangeOwner() override;

    std::atomic<int> requests = 0;
    std::atomic<int> deletions = 0; // DELETE asked for: the marked text would be gone

    /// Once more; it has it when this returns.
    void takeSelection();

private:
    std::vector<Form> forms;
    Behaviour behaviour;
    std::string selection;
    std::atomic<bool> isStopping = false;
    struct Transfer {
        xcb_window_t requestor;
        xcb_atom_t property;
        const Form* form;
        std::size_t sent;
    };
    std::vector<Transfer> transfers;
    int pieces = 0;
    std::thread thread;

    void run();
    void answer(const xcb_selection_request_event_t& request);
    [[nodiscard]] bool convert(const xcb_selection_request_event_t& request);
    void sendPiece(const xcb_property_notify_event_t& deleted);
};

/// Pastes, on the calling thread.
class StrangeRequestor final : public XcbStranger {
public:
    /// Absent: refused, or not within five seconds.
    [[nodiscard]] std::optional<Form> fetch(
        const std::string& target, const std::string& selection = "CLIPBOARD");
    /// The same in two steps: takes some pieces of large data and stops; then the rest.
    void begin(const std::string& target, int pieces);
    [[nodiscard]] std::optional<Form> finish();
    /// Names, in the owner's order; none when it was refused.
    [[nodiscard]] std::vector<std::string> targets(const std::string& selection = "CLIPBOARD");
    /// MULTIPLE: what came for each, in order.
    [[nodiscard]] std::vector<std::optional<Form>> fetchTogether(
        const std::vector<std::string>& names);

private:
    std::optional<Form> fetched;
    bool isIncremental = false;

    void ask(const std::string& target, const std::string& selection);
    void takePieces(int count);
    [[nodiscard]] bool isGiven();
    [[nodiscard]] Form take(xcb_atom_t property, bool& exists);
};

} // namespace nimbe
