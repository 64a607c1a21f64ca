#pragma once

#include <memory>

class QWindow;

// What the window system is told about the app's own small windows beyond Qt's flags.
class WindowHints {
public:
    virtual ~WindowHints() = default;
    // Keeps window above other windows, on every workspace, and out of the task bar and the
    // pager. Call it before the window is first shown and again once it is shown.
    virtual void keepAboveEverywhere(QWindow& window) = 0;
    // Asks the compositing manager for a shadow under window, or for none.
    virtual void setShadow(QWindow& window, bool shadow) = 0;
    // True when a compositing manager runs, so that translucent pixels blend with what is
    // below instead of showing black.
    virtual bool compositorRunning() = 0;

    // The hints for the display the app runs on: EWMH on X11, nothing elsewhere (the
    // offscreen platform of tests, a native Wayland session).
    static std::shared_ptr<WindowHints> forCurrentPlatform();
};
