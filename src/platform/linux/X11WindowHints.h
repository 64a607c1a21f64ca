#pragma once

#include "platform/WindowHints.h"

#include <QByteArray>

#include <cstdint>

struct xcb_connection_t;

// WindowHints over the application's X11 connection: the EWMH states above, sticky and
// skip-taskbar/pager plus "all desktops", the shadow property compositors such as picom
// read, and the compositing manager's selection.
class X11WindowHints : public WindowHints {
public:
    // connection is Qt's own; screenNumber picks the _NET_WM_CM_S<n> selection.
    X11WindowHints(xcb_connection_t* connection, int screenNumber);

    void keepAboveEverywhere(QWindow& window) override;
    void setShadow(QWindow& window, bool shadow) override;
    bool compositorRunning() override;

    // The screen number of an X display name (":61" -> 0, "host:0.1" -> 1).
    static int screenNumberOf(const QByteArray& display);

private:
    uint32_t atom(const char* name);

    xcb_connection_t* connection_;
    int screenNumber_;
};
