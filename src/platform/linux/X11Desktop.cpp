#include "X11Desktop.h"

#include <QGuiApplication>
#include <QScreen>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

xcb_connection_t* connection() {
    auto* app = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return app ? app->connection() : nullptr;
}

template <typename T> using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T> Reply<T> reply(T* r) {
    return Reply<T>(r, &std::free);
}

xcb_atom_t atom(xcb_connection_t* c, const char* name, bool onlyIfExists = false) {
    auto r = reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, onlyIfExists, static_cast<uint16_t>(std::strlen(name)), name),
        nullptr));
    return r ? r->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// The screen number DISPLAY names (":0.1" -> 1), the default screen otherwise.
int defaultScreenNumber() {
    const char* display = std::getenv("DISPLAY");
    if (!display)
        return 0;
    const char* colon = std::strrchr(display, ':');
    const char* dot = colon ? std::strchr(colon, '.') : nullptr;
    return dot ? std::atoi(dot + 1) : 0;
}

xcb_window_t rootWindow(xcb_connection_t* c) {
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int n = defaultScreenNumber(); n > 0 && it.rem > 1; --n)
        xcb_screen_next(&it);
    return it.data ? it.data->root : xcb_window_t{XCB_WINDOW_NONE};
}

qreal pixelRatio() {
    QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1.0;
}

} // namespace

namespace X11Desktop {

bool available() {
    return connection() != nullptr;
}

bool compositorRunning() {
    xcb_connection_t* c = connection();
    if (!c)
        return false;
    const std::string name = "_NET_WM_CM_S" + std::to_string(defaultScreenNumber());
    const xcb_atom_t selection = atom(c, name.c_str());
    if (selection == XCB_ATOM_NONE)
        return false;
    auto owner =
        reply(xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

std::optional<QRect> topLevelFrameAt(QPoint point, const QWindow* exclude) {
    xcb_connection_t* c = connection();
    if (!c)
        return std::nullopt;
    const xcb_window_t root = rootWindow(c);
    auto tree = reply(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr));
    if (!tree)
        return std::nullopt;
    const qreal ratio = pixelRatio();
    const QPoint native(qRound(point.x() * ratio), qRound(point.y() * ratio));
    const xcb_window_t excluded = exclude ? static_cast<xcb_window_t>(exclude->winId()) : 0;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());
    // Children come bottom to top: ask for every window's state at once, then look from the
    // top down.
    std::vector<xcb_get_window_attributes_cookie_t> attributes(count);
    std::vector<xcb_get_geometry_cookie_t> geometries(count);
    for (int i = 0; i < count; ++i) {
        attributes[i] = xcb_get_window_attributes(c, children[i]);
        geometries[i] = xcb_get_geometry(c, children[i]);
    }
    std::optional<QRect> found;
    for (int i = count - 1; i >= 0; --i) {
        auto a = reply(xcb_get_window_attributes_reply(c, attributes[i], nullptr));
        auto g = reply(xcb_get_geometry_reply(c, geometries[i], nullptr));
        if (found || !a || !g || children[i] == excluded ||
            a->map_state != XCB_MAP_STATE_VIEWABLE || a->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        const QRect frame(g->x, g->y, g->width + 2 * g->border_width,
                          g->height + 2 * g->border_width);
        if (frame.contains(native))
            found = QRect(qRound(frame.x() / ratio), qRound(frame.y() / ratio),
                          qRound(frame.width() / ratio), qRound(frame.height() / ratio));
    }
    return found;
}

void setBlurBehind(QWindow* window, bool blur) {
    xcb_connection_t* c = connection();
    if (!c || !window)
        return;
    const xcb_atom_t property = atom(c, "_KDE_NET_WM_BLUR_BEHIND_REGION");
    if (property == XCB_ATOM_NONE)
        return;
    const auto id = static_cast<xcb_window_t>(window->winId());
    if (blur)
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, id, property, XCB_ATOM_CARDINAL, 32, 0,
                            nullptr);
    else
        xcb_delete_property(c, id, property);
    xcb_flush(c);
}

} // namespace X11Desktop
