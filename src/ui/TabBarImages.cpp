#include "TabBarImages.h"

#include <QPainter>
#include <QPainterPathStroker>
#include <QPolygonF>
#include <QTransform>

namespace TabBarImages {

namespace {

QPainterPath boltHeart() {
    QPainterPath heart;
    heart.moveTo(15, 26.5);
    heart.cubicTo(9, 22, 2.5, 17.5, 2.5, 10.5);
    heart.cubicTo(2.5, 6.4, 5.6, 3.5, 9.3, 3.5);
    heart.cubicTo(11.8, 3.5, 13.8, 4.9, 15, 7);
    heart.cubicTo(16.2, 4.9, 18.2, 3.5, 20.7, 3.5);
    heart.cubicTo(24.4, 3.5, 27.5, 6.4, 27.5, 10.5);
    heart.cubicTo(27.5, 17.5, 21, 22, 15, 26.5);
    heart.closeSubpath();
    QPainterPath bolt;
    bolt.addPolygon(QPolygonF({{17.2, 7.8},
                               {10.2, 16.2},
                               {14.4, 16.2},
                               {12.8, 23.2},
                               {19.8, 14.2},
                               {15.6, 14.2},
                               {17.2, 7.8}}));
    return heart.subtracted(bolt);
}

QPainterPath clock() {
    QPainterPath face;
    face.addEllipse(QPointF(15, 15), 13, 13);
    QPainterPath hands;
    hands.moveTo(15, 7);
    hands.lineTo(15, 15);
    hands.lineTo(20.5, 18.2);
    QPainterPathStroker stroker;
    stroker.setWidth(2.4);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return face.subtracted(stroker.createStroke(hands).simplified());
}

} // namespace

QPainterPath path(const QString& name) {
    if (name == QLatin1String("bolt_heart_fill_30"))
        return boltHeart();
    if (name == QLatin1String("clock_fill_30"))
        return clock();
    return {};
}

void draw(QPainter& p, const QString& name, const QRectF& target, const QColor& colour) {
    QTransform t;
    t.translate(target.x(), target.y());
    t.scale(target.width() / 30.0, target.height() / 30.0);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawPath(t.map(path(name)));
    p.restore();
}

} // namespace TabBarImages
