#include "PageSegmentedControl.h"

#include "HomeStyle.h"
#include "settings/NotificationCenter.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

PageSegmentedControl::PageSegmentedControl(QStringList titles, QWidget* parent)
    : QWidget(parent), titles_(std::move(titles)) {
    setFixedHeight(kHeight);
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void PageSegmentedControl::setSelectedIndex(int index) {
    if (index < 0 || index >= titles_.size() || index == selected_)
        return;
    selected_ = index;
    update();
}

QRectF PageSegmentedControl::segmentRect(int index) const {
    const qreal w = titles_.isEmpty() ? width() : qreal(width() - 4) / titles_.size();
    return QRectF(2 + index * w, 2, w, height() - 4);
}

void PageSegmentedControl::choose(int index) {
    if (index < 0 || index >= titles_.size() || index == selected_)
        return;
    selected_ = index;
    update();
    if (selectionHandler)
        selectionHandler(index);
}

void PageSegmentedControl::mousePressEvent(QMouseEvent* event) {
    for (int i = 0; i < titles_.size(); ++i)
        if (segmentRect(i).contains(event->position())) {
            choose(i);
            return;
        }
}

void PageSegmentedControl::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Left:
        choose(selected_ - 1);
        break;
    case Qt::Key_Right:
        choose(selected_ + 1);
        break;
    case Qt::Key_Home:
        choose(0);
        break;
    case Qt::Key_End:
        choose(int(titles_.size()) - 1);
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void PageSegmentedControl::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(DynamicColor::dynamicSegmentedControlBackgroundColor());
    p.drawRoundedRect(QRectF(rect()), 7, 7);
    if (selected_ >= 0 && selected_ < titles_.size()) {
        p.setBrush(DynamicColor::dynamicSegmentedControlPitchBackgroundColor());
        p.drawRoundedRect(segmentRect(selected_), 5.5, 5.5);
    }
    for (int i = 0; i < titles_.size(); ++i) {
        const QRectF r = segmentRect(i);
        // Hairlines between unselected neighbours.
        if (i > 0 && i != selected_ && i - 1 != selected_) {
            p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 1));
            p.drawLine(QPointF(r.left(), r.top() + 6), QPointF(r.left(), r.bottom() - 6));
        }
        const QFont font = HomeStyle::fitted(
            MenuDrawing::systemFont(12, i == selected_ ? QFont::DemiBold : QFont::Medium),
            titles_[i], r.width() - 8);
        p.setFont(font);
        p.setPen(DynamicColor::dynamicTextColor());
        p.drawText(r, Qt::AlignCenter, titles_[i]);
    }
    if (hasFocus()) {
        p.setPen(QPen(DynamicColor::dynamicTintColor(), 1.5));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 7, 7);
    }
}
