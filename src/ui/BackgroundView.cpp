#include "BackgroundView.h"

#include "settings/DynamicAppearance.h"

#include <QPainter>
#include <QPainterPath>

BackgroundView::BackgroundView(QWidget* parent) : QWidget(parent) {
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void BackgroundView::setTranslucent(bool translucent) {
    if (translucent == translucent_)
        return;
    translucent_ = translucent;
    update();
}

QColor BackgroundView::fillColor() const {
    QColor colour = DynamicColor::dynamicContentBackgroundColor();
    colour.setAlphaF(translucent_ ? kTranslucentAlpha : 1.0);
    return colour;
}

void BackgroundView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
    p.fillPath(path, fillColor());
}
