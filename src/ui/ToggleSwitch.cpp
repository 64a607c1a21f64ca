#include "ToggleSwitch.h"

#include "settings/DynamicAppearance.h"

#include <QPainter>
#include <QPainterPath>

ToggleSwitch::ToggleSwitch(QWidget* parent) : QAbstractButton(parent) {
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(sizeHint());
}

void ToggleSwitch::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(track, track.height() / 2, track.height() / 2);
    p.fillPath(path, isChecked() ? DynamicColor::dynamicTintColor()
                                 : DynamicColor::dynamicTogglerBackgroundColor());
    const qreal d = track.height() - 4;
    const qreal x = isChecked() ? track.right() - 2 - d : track.left() + 2;
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QRectF(x, track.top() + 2, d, d));
}
