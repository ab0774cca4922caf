#include "PlatformX11/XcbForm.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace nimbe {
namespace {

/// Absent: it is not UTF-8, or has letters beyond Latin-1.
std::optional<Bytes> latin1(const Bytes& utf8) {
    Bytes result;
    result.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        const unsigned lead = utf8[at];
        if (lead < 0x80) {
            result.push_back(utf8[at]);
            continue;
        }
        if (lead != 0xC2 && lead != 0xC3) return std::nullopt;
        if (++at == utf8.size() || (utf8[at] & 0xC0U) != 0x80) return std::nullopt;
        result.push_back(static_cast<std::uint8_t>(((lead & 3U) << 6U) | (utf8[at] & 0x3FU)));
    }
    return result;
}

bool isText(std::string_view target) {
    return target == "UTF8_STRING" || target == "STRING" || target == "TEXT" ||
           target == "COMPOUND_TEXT" || target.starts_with("text/");
}

/// Its data and the name of their type; null: it cannot be offered.
std::pair<std::shared_ptr<const Bytes>, std::string> encoded(
    const PasteboardContents::Form& form, std::shared_ptr<const Bytes> data) {
    if (!form.encoding.empty()) return {std::move(data), form.encoding};
    if (form.type != "STRING" && form.type != "TEXT") return {std::move(data), form.type};
    if (auto converted = latin1(form.data))
        return {std::make_shared<const Bytes>(*std::move(converted)), "STRING"};
    if (form.type == "STRING") return {};
    return {std::move(data), "UTF8_STRING"};
}

} // namespace

std::vector<XcbForm> XcbForm::all(
    XcbLoop& loop, const std::shared_ptr<const PasteboardContents>& contents) {
    std::vector<XcbForm> forms;
    for (const auto& form : contents->forms) {
        if (!isContent(form.type)) continue;
        const auto [data, typeName] = encoded(form, {contents, &form.data});
        const auto target = loop.atom(form.type);
        const bool isOffered = std::any_of(
            forms.begin(), forms.end(), [target](const auto& o) { return o.target == target; });
        if (!data || isOffered || target == XCB_ATOM_NONE) continue;
        const bool isWide = form.unit == 16 || form.unit == 32;
        forms.push_back({target, loop.atom(typeName),
            static_cast<std::uint8_t>(isWide ? form.unit : 8), data, nimbe::isText(form.type)});
    }
    return forms;
}

bool XcbForm::isContent(const std::string& target) {
    static constexpr std::string_view others[] = {"", "TARGETS", "TIMESTAMP", "MULTIPLE",
        "SAVE_TARGETS", "DELETE", "INSERT_SELECTION", "INSERT_PROPERTY", "PIXMAP", "BITMAP",
        "DRAWABLE", "COLORMAP", "WINDOW", "CLIENT_WINDOW"};
    return std::find(std::begin(others), std::end(others), target) == std::end(others);
}

void XcbForm::put(xcb_connection_t* xcb, xcb_window_t window, xcb_atom_t property, std::size_t from,
    std::size_t count) const {
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, property, type, unit,
        static_cast<std::uint32_t>(count / (unit / 8U)), data->data() + from);
}

} // namespace nimbe
