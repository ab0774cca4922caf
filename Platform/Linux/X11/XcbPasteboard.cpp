#include "PlatformX11/XcbPasteboard.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <mutex>
#include <utility>
#include <vector>
#include <xcb/xfixes.h>

#include "PlatformX11/XcbSelectionOwner.h"
#include "PlatformX11/XcbSelectionReader.h"

namespace nimbe {
namespace {

// The port's second, and what a reading may take of it.
constexpr Seconds limit = 1.0;
constexpr Seconds readingLimit = 0.9;
constexpr std::chrono::seconds endingLimit{1};

bool isConcealed(const PasteboardContents& contents) {
    return std::any_of(contents.forms.begin(), contents.forms.end(), [](const auto& form) {
        return form.type == PasteboardContents::concealedType ||
               form.type == PasteboardContents::passwordManagerHint;
    });
}

/// Called on another thread.
template <typename T>
std::function<void(T)> poster(MainActor& actor, const Completion<T>& completion) {
    return [&actor, completion](T value) {
        const auto shared = std::make_shared<T>(std::move(value));
        actor.post([completion, shared] { completion.complete(std::move(*shared)); });
    };
}

template <typename T>
Task<T> answerOf(Completion<T> completion, Token /*deadline*/) {
    T value = co_await completion;
    co_return value;
}

/// What `completion` comes to be, or `late` when the loop's thread does not get that far.
template <typename T>
Task<T> answerInTime(MainActor& actor, Completion<T> completion, T late) {
    auto deadline = actor.schedule(limit, [completion, late] { completion.complete(late); });
    return answerOf(std::move(completion), std::move(deadline));
}

} // namespace

struct XcbPasteboard::Reads {
    std::mutex mutex;
    std::map<Change, int> times; // of those that were read at all
};

class XcbPasteboard::Worker {
public:
    Worker(XcbLoop& loop, const std::string& selection, std::shared_ptr<Reads> reads, Log log)
        : loop(loop), log(log), selection(loop.atom(selection)), selectionName(selection),
          manager(loop.atom("CLIPBOARD_MANAGER")), requestors(loop),
          owner(loop, this->selection, [reads = std::move(reads)](Change change) {
              const std::lock_guard guard(reads->mutex);
              ++reads->times[change];
          }) {
        watchOwners();
    }

    void take(XcbSelectionOwner::Taking taking) { owner.take(std::move(taking)); }
    void read(const XcbSelectionReader::Done& done) {
        owner.whenTaken([this, done] { readNow(done); });
    }
    /// Carries out what was to be written and hands it over.
    void close(std::function<void()> done) {
        owner.whenTaken([this, done = std::move(done)]() mutable { handOver(std::move(done)); });
    }
    void handle(const xcb_generic_event_t& event);
    void giveUp();

private:
    XcbLoop& loop;
    Log log;
    xcb_atom_t selection;
    std::string selectionName;
    xcb_atom_t manager;
    XcbRequestors requestors;
    XcbSelectionOwner owner;
    std::vector<std::shared_ptr<XcbSelectionReader>> readers;
    std::function<void()> onHandedOver;
    std::uint8_t ownerEvent = 0; // 0: the server does not tell of owners

    void watchOwners();
    void readNow(const XcbSelectionReader::Done& done);
    void handOver(std::function<void()> done);
    void dropFinished() {
        std::erase_if(readers, [](const auto& reader) { return reader->isFinished(); });
    }
};

void XcbPasteboard::Worker::watchOwners() {
    auto* xcb = loop.connection();
    const auto* extension = xcb_get_extension_data(xcb, &xcb_xfixes_id);
    if (!extension || !extension->present) return;
    const XcbPointer<xcb_xfixes_query_version_reply_t> version{xcb_xfixes_query_version_reply(xcb,
        xcb_xfixes_query_version(xcb, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION),
        nullptr)};
    if (!version) return;
    ownerEvent = static_cast<std::uint8_t>(extension->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    xcb_xfixes_select_selection_input(xcb, owner.window(), selection,
        XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

void XcbPasteboard::Worker::readNow(const XcbSelectionReader::Done& done) {
    if (const auto own = owner.presentContents()) return done(*own);
    auto reader = std::make_shared<XcbSelectionReader>(loop, requestors, selection, log, done);
    reader->start();
    if (reader->isFinished()) return;
    readers.push_back(reader);
    loop.schedule(readingLimit, [this, weak = std::weak_ptr(reader)] {
        if (const auto late = weak.lock()) late->finish();
        dropFinished();
    });
}

void XcbPasteboard::Worker::handOver(std::function<void()> done) {
    const auto own = owner.presentContents();
    if (selectionName != "CLIPBOARD" || !own || own->forms.empty() || isConcealed(*own))
        return done();
    auto* xcb = loop.connection();
    const XcbPointer<xcb_get_selection_owner_reply_t> reply{
        xcb_get_selection_owner_reply(xcb, xcb_get_selection_owner(xcb, manager), nullptr)};
    if (!reply || reply->owner == XCB_NONE) return done();
    onHandedOver = std::move(done);
    // It asks for everything, as any program would, and says when it has it.
    xcb_convert_selection(xcb, owner.window(), manager, loop.atom("SAVE_TARGETS"),
        loop.atom("_NIMBE_SELECTION"), XCB_CURRENT_TIME);
}

void XcbPasteboard::Worker::handle(const xcb_generic_event_t& event) {
    const auto kind = event.response_type & 0x7FU;
    if (ownerEvent != 0 && kind == ownerEvent) {
        // What this program has written since is not what the reading is about.
        for (const auto& reader : readers)
            if (owner.contents())
                reader->finish();
            else
                reader->handleOwnerChange();
        return dropFinished();
    }
    if (kind == XCB_SELECTION_NOTIFY) {
        const auto& notify = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        if (onHandedOver && notify.selection == manager) {
            if (notify.property == XCB_ATOM_NONE)
                log.warning("clipboard: the clipboard manager did not take the contents");
            return std::exchange(onHandedOver, nullptr)();
        }
    }
    owner.handle(event);
    for (const auto& reader : readers) reader->handle(event);
    dropFinished();
}

void XcbPasteboard::Worker::giveUp() {
    owner.giveUp();
    for (const auto& reader : readers) reader->finish();
    dropFinished();
    if (onHandedOver) std::exchange(onHandedOver, nullptr)();
}

std::unique_ptr<XcbPasteboard> XcbPasteboard::create(
    MainActor& actor, const std::string& selection, LogSink& sink) {
    auto loop = XcbLoop::connect(sink, "x11-" + selection);
    if (!loop) return nullptr;
    return std::make_unique<XcbPasteboard>(actor, std::move(loop), selection, sink);
}

XcbPasteboard::XcbPasteboard(
    MainActor& actor, std::unique_ptr<XcbLoop> ownLoop, const std::string& selection, LogSink& sink)
    : actor(actor), loop(std::move(ownLoop)), reads(std::make_shared<Reads>()),
      worker(std::make_unique<Worker>(*loop, selection, reads, Log(sink, "clipboard"))) {
    loop->start([this](const xcb_generic_event_t& event) { worker->handle(event); },
        [this] { worker->giveUp(); });
}

XcbPasteboard::~XcbPasteboard() {
    const auto closed = std::make_shared<std::promise<void>>();
    const auto end = closed->get_future();
    loop->post([this, closed] { worker->close([closed] { closed->set_value(); }); });
    end.wait_for(endingLimit);
    loop->stop();
}

Task<PasteboardContents> XcbPasteboard::snapshot() {
    const Completion<PasteboardContents> completion(actor);
    loop->post([this, done = poster(actor, completion)] { worker->read(done); });
    return answerInTime(actor, completion, PasteboardContents());
}

Task<std::optional<Pasteboard::Change>> XcbPasteboard::write(PasteboardContents contents) {
    const auto change = ++lastChange;
    const Completion<std::optional<Change>> completion(actor);
    take(change, std::move(contents), std::nullopt,
        [change, done = poster(actor, completion)](
            bool isTaken) { done(isTaken ? std::optional(change) : std::nullopt); });
    return answerInTime(actor, completion, std::optional<Change>());
}

Task<bool> XcbPasteboard::replace(Change change, PasteboardContents contents) {
    const Completion<bool> completion(actor);
    take(++lastChange, std::move(contents), change, poster(actor, completion));
    return answerInTime(actor, completion, false);
}

void XcbPasteboard::take(Change change, PasteboardContents contents,
    std::optional<Change> insteadOf, std::function<void(bool)> done) {
    using Clock = std::chrono::steady_clock;
    XcbSelectionOwner::Taking taking{change,
        std::make_shared<const PasteboardContents>(std::move(contents)), insteadOf,
        Clock::now() +
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<Seconds>(limit)),
        std::move(done)};
    loop->post([this, taking] { worker->take(taking); });
}

int XcbPasteboard::timesRead(Change change) const {
    const std::lock_guard guard(reads->mutex);
    const auto found = reads->times.find(change);
    return found == reads->times.end() ? 0 : found->second;
}

} // namespace nimbe
