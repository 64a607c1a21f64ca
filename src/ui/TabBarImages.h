#pragma once

#include <QColor>
#include <QPainterPath>
#include <QRectF>
#include <QString>

class QPainter;

// The tab bar's pictures, drawn by code: "bolt_heart_fill_30" (a heart with a bolt cut out)
// and "clock_fill_30" (a clock face with its hands cut out), each in a 30 x 30 box.
namespace TabBarImages {

// The filled outline of a picture in its 30 x 30 box; empty for an unknown name.
QPainterPath path(const QString& name);
// Fills the picture scaled into target with colour.
void draw(QPainter& p, const QString& name, const QRectF& target, const QColor& colour);

} // namespace TabBarImages
