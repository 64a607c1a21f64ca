#pragma once

#include <QRect>
#include <QWindow>

#include <optional>

// What the app asks of an X11 desktop for placing its own windows. Every call answers
// "nothing known" (or does nothing) when the app does not run on an X server, so callers
// need no platform test of their own.
namespace X11Desktop {

// True when the application talks to an X server.
bool available();

// True when a compositing manager owns the _NET_WM_CM_S<n> selection of the default
// screen: only then do translucent windows show the desktop behind them.
bool compositorRunning();

// The frame of the top-most viewable top-level window that contains point (device
// independent pixels, global), ignoring exclude. For a click on a tray or panel item this
// is the panel's window. Absent off X11 or when no window contains the point.
std::optional<QRect> topLevelFrameAt(QPoint point, const QWindow* exclude = nullptr);

// Asks the compositor to blur what lies behind window (KWin and compatible compositors
// read _KDE_NET_WM_BLUR_BEHIND_REGION), or stops asking.
void setBlurBehind(QWindow* window, bool blur);

} // namespace X11Desktop
