#include "TabBarButton.h"

#include "TabBarImages.h"
#include "menubar/MenuDrawing.h"
#include "settings/DynamicAppearance.h"

#include <QKeyEvent>
#include <QPainter>

namespace {
// The picture sits centred in a 24-point slot 6 points below the top; the title below it.
constexpr int kImageTop = 6;
constexpr int kImageSlot = 24;
constexpr int kTitleTop = kImageTop + kImageSlot + 2;
} // namespace

TabBarButton::TabBarButton(const QString& title, QString image, QSize imageSize, QWidget* parent)
    : QAbstractButton(parent), image_(std::move(image)), imageSize_(imageSize) {
    setText(title);
    setAccessibleName(title);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (tapHandler)
            tapHandler();
    });
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void TabBarButton::setSelected(bool selected) {
    if (selected == selected_)
        return;
    selected_ = selected;
    update();
}

QRect TabBarButton::imageRect() const {
    const int slotCentreY = kImageTop + kImageSlot / 2;
    return QRect(QPoint((width() - imageSize_.width()) / 2, slotCentreY - imageSize_.height() / 2),
                 imageSize_);
}

void TabBarButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void TabBarButton::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor colour =
        selected_ ? DynamicColor::dynamicTintColor() : DynamicColor::dynamicSecondaryTextColor();
    if (hasFocus()) {
        QColor ring = DynamicColor::dynamicTintColor();
        ring.setAlphaF(0.5);
        p.setPen(QPen(ring, 2));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(QRectF(rect()).adjusted(3, 3, -3, -3), 8, 8);
    }
    TabBarImages::draw(p, image_, imageRect(), colour);
    p.setFont(MenuDrawing::systemFont(10, QFont::Medium));
    p.setPen(colour);
    const QRect titleRect(2, kTitleTop, width() - 4, height() - kTitleTop);
    p.drawText(titleRect, Qt::AlignHCenter | Qt::AlignTop,
               p.fontMetrics().elidedText(text(), Qt::ElideRight, titleRect.width()));
}
