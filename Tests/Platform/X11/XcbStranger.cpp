#include "XcbStranger.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>

namespace nimbe {
namespace {

using Clock = std::chrono::steady_clock;

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
std::unique_ptr<T, Free> owned(T* reply) {
    return std::unique_ptr<T, Free>(reply);
}

std::uint32_t elements(std::size_t bytes, int unit) {
    return static_cast<std::uint32_t>(bytes / (static_cast<std::size_t>(unit) / 8));
}

} // namespace

XcbStranger::XcbStranger() : xcb(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(xcb) != 0) throw std::runtime_error("no display");
    window = xcb_generate_id(xcb);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data;
    xcb_create_window(xcb, 0, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
        XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    xcb_flush(xcb);
}

XcbStranger::~XcbStranger() {
    xcb_disconnect(xcb);
}

void XcbStranger::die() {
    ::shutdown(xcb_get_file_descriptor(xcb), SHUT_RDWR);
}

xcb_atom_t XcbStranger::atom(const std::string& wanted) const {
    const auto reply = owned(xcb_intern_atom_reply(xcb,
        xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(wanted.size()), wanted.data()),
        nullptr));
    return reply ? reply->atom : XCB_NONE;
}

std::string XcbStranger::name(xcb_atom_t wanted) const {
    const auto reply = owned(xcb_get_atom_name_reply(xcb, xcb_get_atom_name(xcb, wanted), nullptr));
    if (!reply) return {};
    return {xcb_get_atom_name_name(reply.get()),
        static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

xcb_generic_event_t* XcbStranger::waitForEvent(double seconds) const {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (xcb_connection_has_error(xcb) == 0) {
        xcb_flush(xcb);
        if (auto* event = xcb_poll_for_event(xcb)) return event;
        if (Clock::now() >= end) break;
        pollfd file{xcb_get_file_descriptor(xcb), POLLIN, 0};
        ::poll(&file, 1, 2);
    }
    return nullptr;
}

StrangeOwner::StrangeOwner(std::vector<Form> offered, Behaviour how, std::string name)
    : forms(std::move(offered)), behaviour(std::move(how)), selection(std::move(name)) {
    takeSelection();
    thread = std::thread([this] { run(); });
}

void StrangeOwner::takeSelection() {
    xcb_set_selection_owner(xcb, window, atom(selection), XCB_CURRENT_TIME);
    (void)atom("INCR"); // a round trip
}

StrangeOwner::~StrangeOwner() {
    isStopping = true;
    thread.join();
}

void StrangeOwner::run() {
    while (!isStopping) {
        const auto event = owned(waitForEvent(0.002));
        if (xcb_connection_has_error(xcb) != 0) return;
        if (!event) continue;
        switch (event->response_type & 0x7F) {
        case XCB_SELECTION_REQUEST:
            ++requests;
            if (!behaviour.hangs)
                answer(*reinterpret_cast<xcb_selection_request_event_t*>(event.get()));
            break;
        case XCB_PROPERTY_NOTIFY:
            sendPiece(*reinterpret_cast<xcb_property_notify_event_t*>(event.get()));
            break;
        default: break;
        }
    }
}

void StrangeOwner::answer(const xcb_selection_request_event_t& request) {
    if (behaviour.silent.contains(name(request.target))) return;
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    if (convert(request)) notify.property = request.property;
    char message[32] = {};
    std::memcpy(message, &notify, sizeof notify);
    xcb_send_event(xcb, 0, request.requestor, 0, message);
}

bool StrangeOwner::convert(const xcb_selection_request_event_t& request) {
    if (request.target == atom("TARGETS")) {
        if (!behaviour.knowsTargets) return false;
        std::vector<xcb_atom_t> list{request.target, atom("TIMESTAMP"), atom("MULTIPLE"),
            atom("DELETE"), atom("SAVE_TARGETS")};
        for (const auto& form : forms) list.push_back(atom(form.type));
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
            XCB_ATOM_ATOM, 32, static_cast<std::uint32_t>(list.size()), list.data());
        return true;
    }
    if (request.target == atom("DELETE")) ++deletions;
    if (behaviour.onRequest) behaviour.onRequest();
    const auto target = name(request.target);
    const auto form = std::find_if(
        forms.begin(), forms.end(), [&](const Form& each) { return each.type == target; });
    if (form == forms.end() || behaviour.refused.contains(target)) return false;
    std::this_thread::sleep_for(std::chrono::duration<double>(behaviour.work));
    if (form->data.size() > behaviour.piece) {
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(xcb, request.requestor, XCB_CW_EVENT_MASK, &events);
        const auto atLeast =
            static_cast<std::uint32_t>(behaviour.announcesSize ? form->data.size() : 1);
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
            atom("INCR"), 32, 1, &atLeast);
        transfers.push_back({request.requestor, request.property, &*form, 0});
    } else {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
            atom(form->encoding), static_cast<std::uint8_t>(form->unit),
            elements(form->data.size(), form->unit), form->data.data());
    }
    return true;
}

void StrangeOwner::sendPiece(const xcb_property_notify_event_t& deleted) {
    if (deleted.state != XCB_PROPERTY_DELETE) return;
    const auto found = std::find_if(transfers.begin(), transfers.end(), [&](const Transfer& t) {
        return t.requestor == deleted.window && t.property == deleted.atom;
    });
    if (found == transfers.end()) return;
    if (pieces++ == behaviour.diesAfterPieces) return die();
    const auto count = std::min(behaviour.piece, found->form->data.size() - found->sent);
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, found->requestor, found->property,
        atom(found->form->encoding), static_cast<std::uint8_t>(found->form->unit),
        elements(count, found->form->unit), found->form->data.data() + found->sent);
    found->sent += count;
    if (count == 0) transfers.erase(found);
}

bool StrangeRequestor::isGiven() {
    while (const auto event = owned(waitForEvent(5)))
        if ((event->response_type & 0x7F) == XCB_SELECTION_NOTIFY)
            return reinterpret_cast<xcb_selection_notify_event_t*>(event.get())->property != 0;
    return false;
}

/// Deletes the property.
Form StrangeRequestor::take(xcb_atom_t property, bool& exists) {
    const auto reply = owned(xcb_get_property_reply(xcb,
        xcb_get_property(xcb, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 1U << 28U),
        nullptr));
    exists = reply && reply->type != XCB_ATOM_NONE;
    if (!exists) return {};
    const auto* bytes = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
    return {{}, Bytes(bytes, bytes + xcb_get_property_value_length(reply.get())), name(reply->type),
        reply->format};
}

void StrangeRequestor::ask(const std::string& target, const std::string& selection) {
    fetched.reset();
    isIncremental = false;
    xcb_delete_property(xcb, window, atom("ANSWER"));
    xcb_convert_selection(
        xcb, window, atom(selection), atom(target), atom("ANSWER"), XCB_CURRENT_TIME);
    bool exists = false;
    if (!isGiven()) return;
    auto form = take(atom("ANSWER"), exists);
    if (!exists) return;
    isIncremental = form.encoding == "INCR";
    fetched = isIncremental ? Form() : std::move(form);
    fetched->type = target;
}

/// As many as there are, when `count` is negative.
void StrangeRequestor::takePieces(int count) {
    while (isIncremental && count != 0) {
        const auto event = owned(waitForEvent(5));
        if (!event) return fetched.reset();
        if ((event->response_type & 0x7F) != XCB_PROPERTY_NOTIFY) continue;
        const auto& change = *reinterpret_cast<xcb_property_notify_event_t*>(event.get());
        if (change.state != XCB_PROPERTY_NEW_VALUE || change.atom != atom("ANSWER")) continue;
        bool exists = false;
        const auto piece = take(change.atom, exists);
        if (!exists) continue; // the announcement's own event
        fetched->encoding = piece.encoding;
        fetched->unit = piece.unit;
        fetched->data.insert(fetched->data.end(), piece.data.begin(), piece.data.end());
        if (piece.data.empty()) isIncremental = false;
        --count;
    }
}

std::optional<Form> StrangeRequestor::fetch(
    const std::string& target, const std::string& selection) {
    ask(target, selection);
    return finish();
}

void StrangeRequestor::begin(const std::string& target, int pieces) {
    ask(target, "CLIPBOARD");
    takePieces(pieces);
}

std::optional<Form> StrangeRequestor::finish() {
    if (fetched) takePieces(-1);
    return std::exchange(fetched, std::nullopt);
}

std::vector<std::string> StrangeRequestor::targets(const std::string& selection) {
    std::vector<std::string> names;
    const auto list = fetch("TARGETS", selection);
    for (std::size_t at = 0; list && at + 4 <= list->data.size(); at += 4) {
        xcb_atom_t each = 0;
        std::memcpy(&each, list->data.data() + at, 4);
        names.push_back(name(each));
    }
    return names;
}

std::vector<std::optional<Form>> StrangeRequestor::fetchTogether(
    const std::vector<std::string>& names) {
    std::vector<xcb_atom_t> pairs;
    for (const auto& each : names) {
        pairs.push_back(atom(each));
        pairs.push_back(atom("ANSWER_" + each));
    }
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, atom("PAIRS"), atom("ATOM_PAIR"), 32,
        static_cast<std::uint32_t>(pairs.size()), pairs.data());
    xcb_convert_selection(
        xcb, window, atom("CLIPBOARD"), atom("MULTIPLE"), atom("PAIRS"), XCB_CURRENT_TIME);
    (void)isGiven();
    bool exists = false;
    const auto answered = take(atom("PAIRS"), exists);
    std::vector<std::optional<Form>> answers;
    for (std::size_t at = 0; at < names.size(); ++at) {
        xcb_atom_t target = 0;
        if (answered.data.size() >= at * 8 + 4)
            std::memcpy(&target, answered.data.data() + at * 8, 4);
        auto form = take(atom("ANSWER_" + names[at]), exists);
        form.type = names[at];
        answers.push_back(target != 0 ? std::optional(form) : std::nullopt);
    }
    return answers;
}

} // namespace nimbe
