#include "BatteryNotificationImages.h"

#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>

namespace BatteryNotificationImages {

namespace {

QColor fillColor(int level) {
    if (level <= 20)
        return QColor::fromRgbF(255 / 255.0, 69 / 255.0, 58 / 255.0);
    if (level < 100)
        return QColor::fromRgbF(239 / 255.0, 181 / 255.0, 13 / 255.0);
    return QColor::fromRgbF(34 / 255.0, 164 / 255.0, 50 / 255.0);
}

} // namespace

QImage image(const QString& name) {
    static const QRegularExpression pattern(
        QStringLiteral("^battery_(10|20|30|40|50|100)_(dark|light)$"));
    const auto match = pattern.match(name);
    if (!match.hasMatch())
        return QImage();
    const int level = match.captured(1).toInt();
    const bool dark = match.captured(2) == QLatin1String("dark");

    QImage out(kImageWidth, kImageHeight, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter p(&out);
    p.setRenderHint(QPainter::Antialiasing);

    const QColor stroke = dark ? QColor(255, 255, 255, 230) : QColor(0, 0, 0, 210);
    // Body, terminal cap and the charge inside, centred in the strip.
    const QRectF body(28.5, 17.5, 124, 63);
    const QRectF cap(body.right() + 4, body.center().y() - 12, 8, 24);
    QPen pen(stroke, 5);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(body, 14, 14);
    p.setPen(Qt::NoPen);
    p.setBrush(stroke);
    QPainterPath capPath;
    capPath.addRoundedRect(cap, 3, 3);
    p.drawPath(capPath);

    const QRectF inner = body.adjusted(7, 7, -7, -7);
    QRectF charge = inner;
    charge.setWidth(inner.width() * level / 100.0);
    p.setBrush(fillColor(level));
    p.drawRoundedRect(charge, 7, 7);
    p.end();
    return out;
}

QImage canvas(const QString& name) {
    QImage out(kCanvasSize, kCanvasSize, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    const QImage picture = image(name);
    if (picture.isNull())
        return out;
    QPainter p(&out);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    p.setOpacity(1.0);
    p.drawImage(QPointF(0, 47), picture, QRectF(0, 0, kImageWidth, kImageHeight));
    p.end();
    return out;
}

} // namespace BatteryNotificationImages
