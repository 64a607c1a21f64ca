#include "MenuDrawing.h"

#include "settings/AppFont.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

namespace MenuDrawing {

QFont systemFont(qreal size, QFont::Weight weight) {
    return AppFont::systemFont(size, weight);
}

QFont appFont(qreal size, QFont::Weight weight) {
    return sairaFontOf(size, weight);
}

QPainterPath uploadArrowPath() {
    QPainterPath path;
    path.moveTo(6, 6);
    path.lineTo(6, 16);
    path.moveTo(3, 9);
    path.lineTo(6, 6);
    path.lineTo(9, 9);
    return path;
}

QPainterPath downloadArrowPath() {
    QPainterPath path;
    path.moveTo(6, 6);
    path.lineTo(6, 16);
    path.moveTo(3, 13);
    path.lineTo(6, 16);
    path.lineTo(9, 13);
    return path;
}

QPainterPath doubleArrowPath() {
    QPainterPath path;
    path.moveTo(3, 7);
    path.lineTo(6, 4);
    path.lineTo(9, 7);
    path.moveTo(6, 4);
    path.lineTo(6, 18);
    path.lineTo(3, 15);
    path.moveTo(6, 18);
    path.lineTo(9, 15);
    return path;
}

QPainterPath iconPicturePath() {
    QPainterPath path;
    path.addRoundedRect(QRectF(1, 1, 14, 14), 3.5, 3.5);
    // up arrow on the left, down arrow on the right
    path.moveTo(5.5, 12);
    path.lineTo(5.5, 4.5);
    path.moveTo(3.5, 6.5);
    path.lineTo(5.5, 4.5);
    path.lineTo(7.5, 6.5);
    path.moveTo(10.5, 4);
    path.lineTo(10.5, 11.5);
    path.moveTo(8.5, 9.5);
    path.lineTo(10.5, 11.5);
    path.lineTo(12.5, 9.5);
    return path;
}

void strokeImage(QPainter& p, const QPainterPath& path, QPointF origin, const QColor& colour) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing, true);
    p.translate(origin);
    QPen pen(colour, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    p.drawPath(path);
    p.restore();
}

} // namespace MenuDrawing

QString MenuLabel::text() const {
    QString out;
    for (const TextRun& r : runs)
        out += r.text;
    return out;
}

QSizeF MenuLabel::fittingSize() const {
    qreal w = 0;
    qreal h = 0;
    for (const TextRun& r : runs) {
        const QFontMetricsF fm(r.font);
        w += fm.horizontalAdvance(r.text);
        h = std::max(h, fm.height());
    }
    return {w, h};
}

QRectF MenuLabel::frame() const {
    const QSizeF size = fittingSize();
    switch (anchor) {
    case Anchor::TopLeft:
        return {origin, size};
    case Anchor::BottomLeft:
        return {QPointF(origin.x(), origin.y() - size.height()), size};
    case Anchor::CenterLeft:
        return {QPointF(origin.x(), origin.y() - size.height() / 2), size};
    case Anchor::Center:
        break;
    }
    return {QPointF(origin.x() - size.width() / 2, origin.y() - size.height() / 2), size};
}

void MenuLabel::paint(QPainter& p, const QColor& colour) const {
    if (hidden || runs.empty())
        return;
    const QRectF box = frame();
    // Runs share one baseline: the largest ascent below the top of the frame.
    qreal ascent = 0;
    qreal height = 0;
    for (const TextRun& r : runs) {
        const QFontMetricsF fm(r.font);
        ascent = std::max(ascent, fm.ascent());
        height = std::max(height, fm.height());
    }
    const qreal baseline = box.top() + ascent;
    qreal x = box.left();
    p.save();
    p.setRenderHint(QPainter::TextAntialiasing, true);
    p.setPen(colour);
    if (maxWidth > 0 && box.width() > maxWidth) {
        p.translate(box.left(), 0);
        p.scale(maxWidth / box.width(), 1.0);
        p.translate(-box.left(), 0);
    }
    for (const TextRun& r : runs) {
        p.setFont(r.font);
        p.drawText(QPointF(x, baseline), r.text);
        x += QFontMetricsF(r.font).horizontalAdvance(r.text);
    }
    p.restore();
    (void)height;
}
