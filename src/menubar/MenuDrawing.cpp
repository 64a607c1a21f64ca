#include "MenuDrawing.h"

#include "settings/AppFont.h"

#include <QFontMetricsF>
#include <QHash>
#include <QPainter>

#include <algorithm>
#include <utility>

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

namespace {
// Shaping a text is the dearest part of laying out a label, and the labels measure the
// same few figures every second: the widths are kept per font and text. A label set that
// keeps changing (speeds) fills the table, which then starts again.
struct LineMetrics {
    qreal ascent = 0;
    qreal height = 0;
};

const LineMetrics& lineMetrics(const QFont& font) {
    thread_local QHash<QFont, LineMetrics> cache;
    auto it = cache.constFind(font);
    if (it == cache.constEnd()) {
        if (cache.size() >= 64)
            cache.clear();
        const QFontMetricsF fm(font);
        it = cache.insert(font, LineMetrics{fm.ascent(), fm.height()});
    }
    return *it;
}
} // namespace

qreal textAdvance(const QFont& font, const QString& text) {
    thread_local QHash<std::pair<QFont, QString>, qreal> cache;
    const std::pair<QFont, QString> key(font, text);
    auto it = cache.constFind(key);
    if (it == cache.constEnd()) {
        if (cache.size() >= 512)
            cache.clear();
        it = cache.insert(key, QFontMetricsF(font).horizontalAdvance(text));
    }
    return *it;
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
        w += MenuDrawing::textAdvance(r.font, r.text);
        h = std::max(h, MenuDrawing::lineMetrics(r.font).height);
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
    for (const TextRun& r : runs)
        ascent = std::max(ascent, MenuDrawing::lineMetrics(r.font).ascent);
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
        x += MenuDrawing::textAdvance(r.font, r.text);
    }
    p.restore();
}
