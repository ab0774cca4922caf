#include "PlatformX11/XcbIncrementalSender.h"

#include <algorithm>
#include <limits>

namespace nimbe {
namespace {

/// For its deletions of properties and its end; ours alone, other programs have their own.
void select(xcb_connection_t* xcb, xcb_window_t window, std::uint32_t events) {
    xcb_change_window_attributes(xcb, window, XCB_CW_EVENT_MASK, &events);
}

} // namespace

XcbIncrementalSender::XcbIncrementalSender(XcbLoop& loop)
    : loop(loop), incremental(loop.atom("INCR")) {
    // In units of four bytes; the request itself needs 24 of them.
    const std::size_t longest = std::size_t{xcb_get_maximum_request_length(loop.connection())} * 4;
    if (longest > 64) piece = std::min(piece, (longest - 64) / 4 * 4);
}

void XcbIncrementalSender::begin(
    xcb_window_t requestor, xcb_atom_t property, XcbForm form, std::function<void()> onTaken) {
    auto* xcb = loop.connection();
    select(xcb, requestor, XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    const auto size = static_cast<std::uint32_t>(
        std::min<std::size_t>(form.data->size(), std::numeric_limits<std::uint32_t>::max()));
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, incremental, 32, 1, &size);
    transfers.insert_or_assign(
        {requestor, property}, Transfer{std::move(form), std::move(onTaken), 0, Clock::now()});
    watch();
}

void XcbIncrementalSender::handleDeletion(xcb_window_t requestor, xcb_atom_t property) {
    const auto found = transfers.find({requestor, property});
    if (found == transfers.end()) return;
    auto& transfer = found->second;
    const auto count = std::min(piece, transfer.form.data->size() - transfer.sent);
    // Nothing left: the empty piece tells the requestor that it has all.
    transfer.form.put(loop.connection(), requestor, property, transfer.sent, count);
    transfer.sent += count;
    transfer.lastStep = Clock::now();
    if (count > 0) return;
    const auto onTaken = std::move(transfer.onTaken);
    end(found);
    onTaken();
}

void XcbIncrementalSender::forget(xcb_window_t requestor) {
    std::erase_if(transfers, [requestor](const auto& t) { return t.first.first == requestor; });
}

void XcbIncrementalSender::end(Transfers::iterator transfer) {
    const auto requestor = transfer->first.first;
    transfers.erase(transfer);
    const auto other = transfers.lower_bound({requestor, 0});
    if (other == transfers.end() || other->first.first != requestor)
        select(loop.connection(), requestor, 0);
}

void XcbIncrementalSender::watch() {
    if (isWatching || transfers.empty()) return;
    isWatching = true;
    loop.schedule(static_cast<Seconds>(patience.count()) / 2, [this] {
        isWatching = false;
        for (auto transfer = transfers.begin(); transfer != transfers.end();) {
            const auto stalled = transfer++;
            if (Clock::now() - stalled->second.lastStep >= patience) end(stalled);
        }
        watch();
    });
}

} // namespace nimbe
