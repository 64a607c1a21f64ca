#include "X11WindowHints.h"

#include "X11Desktop.h"

#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr uint32_t kAllDesktops = 0xFFFFFFFF;
constexpr uint32_t kNetWmStateAdd = 1;
constexpr uint32_t kSourceApplication = 1;

const char* const kKeptStates[] = {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY",
                                   "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"};

class NoWindowHints : public WindowHints {
public:
    void keepAboveEverywhere(QWindow&) override {}
    void setShadow(QWindow&, bool) override {}
    bool compositorRunning() override { return false; }
};

xcb_window_t rootOf(xcb_connection_t* c, xcb_window_t window) {
    xcb_get_geometry_reply_t* reply =
        xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr);
    if (!reply)
        return XCB_NONE;
    const xcb_window_t root = reply->root;
    std::free(reply);
    return root;
}

} // namespace

std::shared_ptr<WindowHints> WindowHints::forCurrentPlatform() {
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        if (x11 && x11->connection())
            return std::make_shared<X11WindowHints>(x11->connection());
    }
    return std::make_shared<NoWindowHints>();
}

X11WindowHints::X11WindowHints(xcb_connection_t* connection) : connection_(connection) {}

uint32_t X11WindowHints::atom(const char* name) {
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        connection_, xcb_intern_atom(connection_, 0, uint16_t(std::strlen(name)), name), nullptr);
    if (!reply)
        return XCB_ATOM_NONE;
    const xcb_atom_t a = reply->atom;
    std::free(reply);
    return a;
}

void X11WindowHints::keepAboveEverywhere(QWindow& window) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_atom_t netWmState = atom("_NET_WM_STATE");
    const xcb_atom_t netWmDesktop = atom("_NET_WM_DESKTOP");
    std::vector<xcb_atom_t> kept;
    for (const char* name : kKeptStates)
        kept.push_back(atom(name));

    if (!window.isVisible()) {
        // A withdrawn window carries its states as a property the window manager reads when
        // the window is mapped; Qt merges its own states into it then.
        std::vector<xcb_atom_t> states;
        xcb_get_property_reply_t* reply = xcb_get_property_reply(
            connection_, xcb_get_property(connection_, 0, id, netWmState, XCB_ATOM_ATOM, 0, 1024),
            nullptr);
        if (reply) {
            const auto* existing = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
            if (reply->format == 32)
                states.assign(existing, existing + xcb_get_property_value_length(reply) / 4);
            std::free(reply);
        }
        for (xcb_atom_t a : kept)
            if (std::find(states.begin(), states.end(), a) == states.end())
                states.push_back(a);
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, id, netWmState, XCB_ATOM_ATOM, 32,
                            uint32_t(states.size()), states.data());
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, id, netWmDesktop, XCB_ATOM_CARDINAL,
                            32, 1, &kAllDesktops);
        xcb_flush(connection_);
        return;
    }

    // A mapped window asks the window manager through the root window.
    const xcb_window_t root = rootOf(connection_, id);
    if (root == XCB_NONE)
        return;
    const auto send = [&](xcb_atom_t type, uint32_t d0, uint32_t d1, uint32_t d2) {
        xcb_client_message_event_t event;
        std::memset(&event, 0, sizeof event);
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = id;
        event.type = type;
        event.data.data32[0] = d0;
        event.data.data32[1] = d1;
        event.data.data32[2] = d2;
        event.data.data32[3] = kSourceApplication;
        xcb_send_event(connection_, 0, root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    };
    send(netWmState, kNetWmStateAdd, kept[0], kept[1]);
    send(netWmState, kNetWmStateAdd, kept[2], kept[3]);
    send(netWmDesktop, kAllDesktops, kSourceApplication, 0);
    xcb_flush(connection_);
}

void X11WindowHints::setShadow(QWindow& window, bool shadow) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    const uint32_t value = shadow ? 1 : 0;
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, id, atom("_COMPTON_SHADOW"),
                        XCB_ATOM_CARDINAL, 32, 1, &value);
    xcb_flush(connection_);
}

bool X11WindowHints::compositorRunning() {
    return X11Desktop::compositorRunning();
}
