#include "PlatformX11/XcbSelectionOwner.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace nimbe {
namespace {

constexpr std::uint32_t longestMultiple = 1024; // pairs of atoms

template <typename Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

/// Server times wrap around after 49 days.
bool isLater(xcb_timestamp_t a, xcb_timestamp_t b) {
    return static_cast<std::int32_t>(a - b) > 0;
}

} // namespace

XcbSelectionOwner::XcbSelectionOwner(
    XcbLoop& loop, xcb_atom_t selection, std::function<void(Change)> onTextRead)
    : loop(loop), selection(selection), onTextRead(std::move(onTextRead)),
      ownWindow(xcb_generate_id(loop.connection())), timeProperty(loop.atom("_NIMBE_TIME")),
      targetsTarget(loop.atom("TARGETS")), timestampTarget(loop.atom("TIMESTAMP")),
      multipleTarget(loop.atom("MULTIPLE")), sender(loop) {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(loop.connection(), 0, ownWindow, loop.root(), -1, -1, 1, 1, 0,
        XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
}

void XcbSelectionOwner::take(Taking taking) {
    if (!loop.isConnected()) return taking.done(false);
    // The event that this appending of nothing leads to tells the server's time.
    xcb_change_property(loop.connection(), XCB_PROP_MODE_APPEND, ownWindow, timeProperty,
        XCB_ATOM_INTEGER, 32, 0, nullptr);
    pending.push_back({std::move(taking), {}});
}

void XcbSelectionOwner::whenTaken(std::function<void()> job) {
    if (pending.empty()) return job();
    pending.back().after.push_back(std::move(job));
}

std::shared_ptr<const PasteboardContents> XcbSelectionOwner::contents() const {
    return owned ? owned->contents : nullptr;
}

std::shared_ptr<const PasteboardContents> XcbSelectionOwner::presentContents() {
    if (owned && !isOwner()) owned.reset();
    return contents();
}

void XcbSelectionOwner::settle(xcb_timestamp_t now) {
    if (pending.empty()) return;
    const auto settled = std::move(pending.front());
    pending.pop_front();
    settled.taking.done(own(settled.taking, now));
    for (const auto& job : settled.after) job();
}

bool XcbSelectionOwner::own(const Taking& taking, xcb_timestamp_t now) {
    if (std::chrono::steady_clock::now() > taking.deadline) return false;
    auto since = now;
    if (taking.insteadOf) {
        if (!owned || owned->change != *taking.insteadOf) return false;
        // The server refuses whoever comes with an earlier time than the present owner's.
        // So a program that has just taken the selection, of which we do not know yet,
        // keeps it; with the present time we would take it away.
        if (isLater(now, owned->since)) since = owned->since + 1;
        if (since == XCB_CURRENT_TIME) ++since;
    }
    xcb_set_selection_owner(loop.connection(), ownWindow, selection, since);
    owned.reset();
    if (!isOwner()) return false;
    owned = {taking.change, since, taking.contents, XcbForm::all(loop, taking.contents)};
    return true;
}

bool XcbSelectionOwner::isOwner() const {
    auto* xcb = loop.connection();
    const auto asked = xcb_get_selection_owner(xcb, selection);
    const XcbPointer<xcb_get_selection_owner_reply_t> reply{
        xcb_get_selection_owner_reply(xcb, asked, nullptr)};
    return reply && reply->owner == ownWindow;
}

void XcbSelectionOwner::handle(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7FU) {
    case 0: {
        const auto& error = as<xcb_generic_error_t>(event);
        if (error.error_code == XCB_WINDOW) sender.forget(error.resource_id);
        return;
    }
    case XCB_PROPERTY_NOTIFY: {
        const auto& change = as<xcb_property_notify_event_t>(event);
        if (change.window == ownWindow) {
            if (change.atom == timeProperty) settle(change.time);
        } else if (change.state == XCB_PROPERTY_DELETE) {
            sender.handleDeletion(change.window, change.atom);
        }
        return;
    }
    case XCB_DESTROY_NOTIFY: return sender.forget(as<xcb_destroy_notify_event_t>(event).window);
    case XCB_SELECTION_REQUEST: return answer(as<xcb_selection_request_event_t>(event));
    case XCB_SELECTION_CLEAR:
        // It may be of another program's turn between two of ours.
        if (as<xcb_selection_clear_event_t>(event).selection == selection && !isOwner())
            owned.reset();
        return;
    default: return;
    }
}

void XcbSelectionOwner::giveUp() {
    owned.reset();
    while (!pending.empty()) {
        const auto given = std::move(pending.front());
        pending.pop_front();
        given.taking.done(false);
        for (const auto& job : given.after) job();
    }
}

void XcbSelectionOwner::answer(const xcb_selection_request_event_t& request) {
    // The time of the request is not looked at: one from before our ownership is of a
    // program that uses the time of the key that pasted, and refusing it loses the paste.
    const auto property = request.property != XCB_ATOM_NONE ? request.property : request.target;
    bool isDone = false;
    if (owned && request.owner == ownWindow && request.selection == selection)
        isDone = request.target == multipleTarget
                     ? convertMultiple(request.requestor, request.property)
                     : convert(request.requestor, request.target, property);
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    if (isDone) notify.property = property;
    char message[32] = {}; // the size of every event
    static_assert(sizeof notify <= sizeof message);
    std::memcpy(message, &notify, sizeof notify);
    xcb_send_event(loop.connection(), 0, request.requestor, 0, message);
}

bool XcbSelectionOwner::convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) {
    auto* xcb = loop.connection();
    if (target == targetsTarget) {
        putTargets(requestor, property);
        return true;
    }
    if (target == timestampTarget) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_INTEGER, 32,
            1, &owned->since);
        return true;
    }
    const auto form = std::find_if(owned->forms.begin(), owned->forms.end(),
        [target](const auto& f) { return f.target == target; });
    if (form == owned->forms.end()) return false;
    std::function<void()> onTaken = [this, change = owned->change, isText = form->isText] {
        if (isText) onTextRead(change);
    };
    if (sender.isNeeded(*form)) {
        sender.begin(requestor, property, *form, std::move(onTaken));
    } else {
        form->put(xcb, requestor, property, 0, form->data->size());
        onTaken();
    }
    return true;
}

bool XcbSelectionOwner::convertMultiple(xcb_window_t requestor, xcb_atom_t property) {
    if (property == XCB_ATOM_NONE) return false;
    auto* xcb = loop.connection();
    const auto asked = xcb_get_property(
        xcb, 0, requestor, property, XCB_GET_PROPERTY_TYPE_ANY, 0, longestMultiple * 2);
    const XcbPointer<xcb_get_property_reply_t> reply{xcb_get_property_reply(xcb, asked, nullptr)};
    if (!reply || reply->format != 32 || reply->bytes_after != 0) return false;
    const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
    std::vector<xcb_atom_t> pairs(atoms, atoms + reply->value_len);
    for (std::size_t at = 0; at + 1 < pairs.size(); at += 2) {
        if (pairs[at + 1] != XCB_ATOM_NONE && convert(requestor, pairs[at], pairs[at + 1]))
            continue;
        // ICCCM has the target replaced; some requestors look at the property.
        pairs[at] = pairs[at + 1] = XCB_ATOM_NONE;
    }
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, reply->type, 32,
        static_cast<std::uint32_t>(pairs.size()), pairs.data());
    return true;
}

void XcbSelectionOwner::putTargets(xcb_window_t requestor, xcb_atom_t property) const {
    std::vector<xcb_atom_t> targets{targetsTarget, timestampTarget};
    if (!owned->forms.empty()) targets.push_back(multipleTarget);
    for (const auto& form : owned->forms) targets.push_back(form.target);
    xcb_change_property(loop.connection(), XCB_PROP_MODE_REPLACE, requestor, property,
        XCB_ATOM_ATOM, 32, static_cast<std::uint32_t>(targets.size()), targets.data());
}

} // namespace nimbe
