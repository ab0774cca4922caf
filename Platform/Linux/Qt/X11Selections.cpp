#include "PlatformQt/X11Selections.h"

#include <QtGui/QGuiApplication>
#include <cstdlib>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace nimbe {
namespace {

template <typename T>
auto freed(T* reply) {
    return std::unique_ptr<T, decltype(&std::free)>(reply, &std::free);
}

QNativeInterface::QX11Application* x11() {
    return qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
}

int defaultScreen() {
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen) != 0) std::free(host);
    return screen;
}

xcb_window_t rootWindow(xcb_connection_t* connection, int number) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
    return screens.data->root;
}

} // namespace

X11Selections::X11Selections() {
    if (!x11()) return;
    auto* connection = x11()->connection();
    screen = defaultScreen();
    const auto* extension = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (!extension || !extension->present) return;
    // It must hear which version is spoken before anything else.
    const auto version = freed(xcb_xfixes_query_version_reply(
        connection, xcb_xfixes_query_version(connection, 1, 0), nullptr));
    if (!version) return;
    firstEvent = extension->first_event;
    qGuiApp->installNativeEventFilter(this);
}

X11Selections::~X11Selections() {
    if (qGuiApp) qGuiApp->removeNativeEventFilter(this);
}

void X11Selections::watch(const std::string& name, Published<bool>& isOwned) {
    if (firstEvent == 0) return;
    std::string full = name;
    if (const auto at = full.find('%'); at != full.npos)
        full.replace(at, 1, std::to_string(screen));
    auto* connection = x11()->connection();
    const auto atom = freed(xcb_intern_atom_reply(connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(full.size()), full.c_str()),
        nullptr));
    if (!atom) return;
    watched[atom->atom] = &isOwned;
    constexpr std::uint32_t mask = XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                   XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                   XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE;
    xcb_xfixes_select_selection_input(connection, rootWindow(connection, screen), atom->atom, mask);
    // Asked for after the events: no change can fall between.
    const auto owner = freed(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
    isOwned.set(owner && owner->owner != XCB_NONE);
}

bool X11Selections::nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) {
    if (type != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != firstEvent + XCB_XFIXES_SELECTION_NOTIFY) return false;
    const auto* change = static_cast<const xcb_xfixes_selection_notify_event_t*>(message);
    const auto found = watched.find(change->selection);
    if (found != watched.end())
        found->second->set(change->owner != XCB_NONE &&
                           change->subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER);
    return false; // the toolkit wants to know, too
}

} // namespace nimbe
