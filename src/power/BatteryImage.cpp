#include "BatteryImage.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace BatteryImage {

QColor levelColor(double percentage, bool charging, bool dark) {
    if (charging)
        return QColor(52, 199, 89);
    if (percentage <= 20)
        return QColor(255, 59, 48);
    return dark ? QColor(255, 255, 255) : QColor(0, 0, 0);
}

QColor outlineColor(bool dark) {
    return dark ? QColor(255, 255, 255, 128) : QColor(0, 0, 0, 102);
}

Geometry geometry(const QRectF& target, double percentage) {
    Geometry g;
    const double h = target.height();
    const double terminalWidth = std::max(1.5, h * 0.12);
    const double gap = std::max(0.5, h * 0.05);
    g.body = QRectF(target.left(), target.top(), target.width() - terminalWidth - gap, h);
    const double terminalHeight = h * 0.36;
    g.terminal = QRectF(g.body.right() + gap, target.center().y() - terminalHeight / 2,
                        terminalWidth, terminalHeight);
    const double inset = std::max(1.5, h * 0.14);
    g.inside = g.body.adjusted(inset, inset, -inset, -inset);
    const double share = std::isnan(percentage) ? 0.0 : std::clamp(percentage, 0.0, 100.0) / 100;
    g.level = QRectF(g.inside.topLeft(), QSizeF(g.inside.width() * share, g.inside.height()));
    return g;
}

QPainterPath boltPath(const QRectF& body) {
    const double h = body.height() * 0.84;
    const double w = h * 0.62;
    const double x = body.center().x() - w / 2;
    const double y = body.center().y() - h / 2;
    QPainterPath bolt;
    bolt.moveTo(x + w * 0.64, y);
    bolt.lineTo(x, y + h * 0.58);
    bolt.lineTo(x + w * 0.46, y + h * 0.58);
    bolt.lineTo(x + w * 0.36, y + h);
    bolt.lineTo(x + w, y + h * 0.42);
    bolt.lineTo(x + w * 0.54, y + h * 0.42);
    bolt.closeSubpath();
    return bolt;
}

void draw(QPainter& p, const QRectF& target, double percentage, bool charging, bool dark) {
    if (target.width() <= 0 || target.height() <= 0)
        return;
    const Geometry g = geometry(target, percentage);
    const double radius = target.height() * 0.27;
    p.save();
    p.setRenderHint(QPainter::Antialiasing, true);

    const QColor outline = outlineColor(dark);
    p.setPen(QPen(outline, 1.0));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(g.body.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    p.setPen(Qt::NoPen);
    p.setBrush(outline);
    const double r = g.terminal.width() * 0.6;
    QPainterPath terminal;
    terminal.moveTo(g.terminal.topLeft());
    terminal.arcTo(QRectF(g.terminal.right() - 2 * r, g.terminal.top(), 2 * r, 2 * r), 90, -90);
    terminal.arcTo(QRectF(g.terminal.right() - 2 * r, g.terminal.bottom() - 2 * r, 2 * r, 2 * r), 0,
                   -90);
    terminal.lineTo(g.terminal.bottomLeft());
    terminal.closeSubpath();
    p.drawPath(terminal);

    if (g.level.width() > 0) {
        const double innerRadius = std::max(0.0, radius - (g.inside.left() - g.body.left()));
        p.setBrush(levelColor(percentage, charging, dark));
        p.drawRoundedRect(g.level, innerRadius, innerRadius);
    }

    if (charging) {
        // The bolt keeps a rim in the background's colour so it reads over any fill.
        const QPainterPath bolt = boltPath(g.body);
        p.setPen(QPen(dark ? QColor(0, 0, 0) : QColor(255, 255, 255), 1.0));
        p.setBrush(dark ? QColor(255, 255, 255) : QColor(0, 0, 0));
        p.drawPath(bolt);
    }
    p.restore();
}

QImage image(const QSizeF& size, qreal devicePixelRatio, double percentage, bool charging,
             bool dark) {
    const qreal dpr = devicePixelRatio > 0 ? devicePixelRatio : 1.0;
    QImage out(std::max(1, int(std::ceil(size.width() * dpr))),
               std::max(1, int(std::ceil(size.height() * dpr))),
               QImage::Format_ARGB32_Premultiplied);
    out.setDevicePixelRatio(dpr);
    out.fill(Qt::transparent);
    QPainter p(&out);
    draw(p, QRectF(QPointF(0, 0), size), percentage, charging, dark);
    return out;
}

} // namespace BatteryImage
