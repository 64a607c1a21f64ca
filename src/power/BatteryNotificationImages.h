#pragma once

#include <QImage>
#include <QString>

// The battery pictures of the level notifications, drawn by code. Names are
// "battery_<level>_<dark|light>" for the levels 10, 20, 30, 40, 50 and 100; the dark
// variant is drawn for a dark desktop (light strokes), the light one for a light desktop.
namespace BatteryNotificationImages {

inline constexpr int kImageWidth = 192;
inline constexpr int kImageHeight = 98;
inline constexpr int kCanvasSize = 192;

// The 192 x 98 picture; a null image for an unknown name.
QImage image(const QString& name);
// The 192 x 192 notification canvas: the picture's 192 x 98 region copied to (0, 47), the
// rest transparent. An unknown name gives a fully transparent canvas.
QImage canvas(const QString& name);

} // namespace BatteryNotificationImages
