#pragma once

#include <QColor>
#include <QImage>
#include <QPainterPath>
#include <QRectF>

class QPainter;

// The battery picture, drawn by code so it is sharp at any size: a rounded outline with the
// terminal on the right, the inside filled to the charge level, and a bolt over it while
// charging. Every battery view draws through this, in the variant for a dark or a light
// background.
namespace BatteryImage {

// The level fill: green while charging, red at 20 % and below, else the plain ink of the
// appearance (white on dark, black on light).
QColor levelColor(double percentage, bool charging, bool dark);
// The outline and terminal colour of the appearance.
QColor outlineColor(bool dark);

// The parts within target: the body (without the terminal), the terminal, the inside that
// the level fills at 100 %, and the level fill for percentage (clamped to 0...100).
struct Geometry {
    QRectF body;
    QRectF terminal;
    QRectF inside;
    QRectF level;
};
Geometry geometry(const QRectF& target, double percentage);
// The charging bolt centred in the body.
QPainterPath boltPath(const QRectF& body);

void draw(QPainter& p, const QRectF& target, double percentage, bool charging, bool dark);
// The picture on a transparent image of size points at devicePixelRatio.
QImage image(const QSizeF& size, qreal devicePixelRatio, double percentage, bool charging,
             bool dark);

} // namespace BatteryImage
