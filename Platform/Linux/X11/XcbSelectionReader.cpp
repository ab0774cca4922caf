#include "PlatformX11/XcbSelectionReader.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

#include "PlatformX11/XcbForm.h"

namespace nimbe {
namespace {

/// What to ask for first: the images that are made on demand from another one come last.
int rank(std::string_view target) {
    if (!target.starts_with("image/")) return 0;
    return target == "image/png" ? 1 : 2;
}

/// Of an owner that does not know TARGETS.
constexpr const char* oldTargets[] = {"UTF8_STRING", "STRING"};

} // namespace

XcbSelectionReader::XcbSelectionReader(XcbLoop& loop, XcbRequestors& requestors,
    xcb_atom_t selection, Log log, Done done, std::size_t room)
    : loop(loop), requestors(requestors), selection(selection), log(log), done(std::move(done)),
      property(loop.atom("_NIMBE_SELECTION")), targetsTarget(loop.atom("TARGETS")),
      incremental(loop.atom("INCR")), wholeRoom(room), room(room) {}

xcb_window_t XcbSelectionReader::owner() const {
    auto* xcb = loop.connection();
    const auto asked = xcb_get_selection_owner(xcb, selection);
    const XcbPointer<xcb_get_selection_owner_reply_t> reply{
        xcb_get_selection_owner_reply(xcb, asked, nullptr)};
    return reply ? reply->owner : XCB_NONE;
}

void XcbSelectionReader::start() {
    if (owner() == XCB_NONE) return finish();
    ask({targetsTarget, {}, 0});
}

void XcbSelectionReader::handleOwnerChange() {
    if (isFinished()) return;
    if (owner() == XCB_NONE) return finish();
    for (auto& question : questions) requestors.retire(question.window);
    questions.clear();
    waiting.clear();
    forms.clear();
    room = wholeRoom;
    lost = {};
    start();
}

void XcbSelectionReader::ask(Target target) {
    const auto window = requestors.take();
    // With the present time: an owner that took the selection after any event that we know
    // of may refuse an older one.
    xcb_delete_property(loop.connection(), window, property);
    xcb_convert_selection(
        loop.connection(), window, selection, target.atom, property, XCB_CURRENT_TIME);
    questions.push_back({window, std::move(target)});
}

void XcbSelectionReader::askNext() {
    while (questions.size() < atATime && !waiting.empty()) {
        auto target = std::move(waiting.front());
        waiting.pop_front();
        ask(std::move(target));
    }
    if (questions.empty()) finish();
}

void XcbSelectionReader::handle(const xcb_generic_event_t& event) {
    if (isFinished()) return;
    const auto find = [this](xcb_window_t window) {
        return std::find_if(questions.begin(), questions.end(),
            [window](const auto& question) { return question.window == window; });
    };
    const auto kind = event.response_type & 0x7FU;
    if (kind == XCB_SELECTION_NOTIFY) {
        const auto& notify = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        const auto question = find(notify.requestor);
        if (question == questions.end() || question->isIncremental) return;
        if (notify.selection == selection && notify.target == question->target.atom)
            takeAnswer(*question, notify.property != XCB_ATOM_NONE);
    } else if (kind == XCB_PROPERTY_NOTIFY) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        const auto question = find(change.window);
        if (question == questions.end() || !question->isIncremental) return;
        if (change.atom == property && change.state == XCB_PROPERTY_NEW_VALUE) takePiece(*question);
    }
}

/// Deletes it too, by which the owner of incremental data knows that it may go on.
XcbPointer<xcb_get_property_reply_t> XcbSelectionReader::fetch(const Question& question) const {
    const auto most = static_cast<std::uint32_t>(room / 4 + 1);
    const auto asked = xcb_get_property(
        loop.connection(), 1, question.window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, most);
    return XcbPointer<xcb_get_property_reply_t>{
        xcb_get_property_reply(loop.connection(), asked, nullptr)};
}

void XcbSelectionReader::takeAnswer(Question& question, bool isGiven) {
    const auto reply = isGiven ? fetch(question) : nullptr;
    if (!reply || reply->type == XCB_ATOM_NONE) return close(question, &lost.refused);
    if (reply->type == incremental) {
        question.isIncremental = true;
        std::uint32_t atLeast = 0;
        if (reply->format == 32 && reply->value_len > 0)
            std::memcpy(&atLeast, xcb_get_property_value(reply.get()), sizeof atLeast);
        if (atLeast > room) return close(question, &lost.tooLarge);
        question.form.data.reserve(atLeast);
        return;
    }
    close(question, append(question, *reply) ? nullptr : &lost.tooLarge);
}

void XcbSelectionReader::takePiece(Question& question) {
    const auto reply = fetch(question);
    // One fetch may have taken two pieces of an owner that does not wait.
    if (!reply || reply->type == XCB_ATOM_NONE) return;
    if (!append(question, *reply)) return close(question, &lost.tooLarge);
    if (reply->value_len > 0) return;
    question.isIncremental = false; // that was its end
    close(question, nullptr);
}

/// False: there is no room for it.
bool XcbSelectionReader::append(Question& question, const xcb_get_property_reply_t& reply) {
    auto& form = question.form;
    const auto count = static_cast<std::size_t>(xcb_get_property_value_length(&reply));
    if (reply.bytes_after > 0 || count > room) return false;
    if (form.encoding.empty()) {
        form.encoding = loop.atomName(reply.type);
        form.unit = reply.format;
    }
    const auto* bytes = static_cast<const std::uint8_t*>(xcb_get_property_value(&reply));
    form.data.insert(form.data.end(), bytes, bytes + count);
    room -= count;
    return true;
}

/// `loss`: counts why the form is not there; null: it is.
void XcbSelectionReader::close(Question& question, std::size_t* loss) {
    auto closed = std::move(question);
    std::erase_if(questions, [&](const auto& q) { return q.window == closed.window; });
    // What is too large may still be on its way.
    if (loss == &lost.tooLarge)
        requestors.retire(closed.window);
    else
        requestors.giveBack(closed.window);
    const bool isList = closed.target.atom == targetsTarget;
    if (loss || isList) room += closed.form.data.size();

    if (isList) {
        takeTargets(loss ? Bytes() : closed.form.data);
    } else if (loss) {
        ++*loss;
    } else {
        closed.form.type = std::move(closed.target.name);
        forms[closed.target.place] = std::move(closed.form);
    }
    askNext();
}

void XcbSelectionReader::takeTargets(const Bytes& data) {
    std::set<xcb_atom_t> seen;
    const auto add = [&](xcb_atom_t atom, std::string name) {
        if (seen.insert(atom).second && XcbForm::isContent(name))
            waiting.push_back({atom, std::move(name), waiting.size()});
    };
    if (data.empty())
        for (const char* name : oldTargets) add(loop.atom(name), name);
    for (std::size_t at = 0; at + 4 <= data.size() && waiting.size() < mostTargets; at += 4) {
        xcb_atom_t atom = XCB_ATOM_NONE;
        std::memcpy(&atom, data.data() + at, sizeof atom);
        if (atom != XCB_ATOM_NONE) add(atom, loop.atomName(atom));
    }
    forms.resize(waiting.size());
    std::stable_sort(waiting.begin(), waiting.end(),
        [](const auto& a, const auto& b) { return rank(a.name) < rank(b.name); });
}

void XcbSelectionReader::finish() {
    if (isFinished()) return;
    lost.late = questions.size() + waiting.size();
    for (auto& question : questions) requestors.retire(question.window);
    questions.clear();
    waiting.clear();

    PasteboardContents contents;
    for (auto& form : forms)
        if (form) contents.forms.push_back(std::move(*form));
    if (lost.refused + lost.tooLarge + lost.late > 0)
        log.warning("clipboard: read %zu of %zu forms; refused %zu, too large %zu, late %zu",
            contents.forms.size(), forms.size(), lost.refused, lost.tooLarge, lost.late);
    std::exchange(done, nullptr)(std::move(contents));
}

} // namespace nimbe
