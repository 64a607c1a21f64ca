#pragma once

#include "platform/WindowHints.h"

#include <cstdint>

struct xcb_connection_t;

// WindowHints over the application's X11 connection: the EWMH states above, sticky and
// skip-taskbar/pager plus "all desktops", and the shadow property compositors such as picom
// read.
class X11WindowHints : public WindowHints {
public:
    // connection is Qt's own.
    explicit X11WindowHints(xcb_connection_t* connection);

    void keepAboveEverywhere(QWindow& window) override;
    void setShadow(QWindow& window, bool shadow) override;
    bool compositorRunning() override;

private:
    uint32_t atom(const char* name);

    xcb_connection_t* connection_;
};
