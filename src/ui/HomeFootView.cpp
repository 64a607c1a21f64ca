#include "HomeFootView.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QPainter>
#include <QPainterPath>
#include <QToolButton>

namespace {

using HomeStyle::drawnIcon;

// A screen with a small window in its lower right corner.
QIcon pipIcon(const QColor& colour) {
    return drawnIcon(QSizeF(18, 16), [&](QPainter& p) {
        p.setPen(QPen(colour, 1.4));
        p.drawRoundedRect(QRectF(1, 2, 16, 12), 2.5, 2.5);
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawRoundedRect(QRectF(9, 8, 6, 4.5), 1, 1);
    });
}

// A gear of eight teeth.
QIcon gearIcon(const QColor& colour) {
    return drawnIcon(QSizeF(16, 16), [&](QPainter& p) {
        p.translate(8, 8);
        p.setPen(QPen(colour, 2.2, Qt::SolidLine, Qt::RoundCap));
        for (int i = 0; i < 8; ++i) {
            p.drawLine(QPointF(0, 5), QPointF(0, 6.8));
            p.rotate(45);
        }
        p.setPen(QPen(colour, 1.6));
        p.drawEllipse(QPointF(0, 0), 4.6, 4.6);
        p.drawEllipse(QPointF(0, 0), 1.6, 1.6);
    });
}

// A battery with a bolt, in a box height points high.
QIcon batteryIcon(const QColor& colour, qreal height) {
    const qreal k = height / 16.0;
    return drawnIcon(QSizeF(26 * k, height), [&](QPainter& p) {
        p.scale(k, k);
        p.setPen(QPen(colour, 1.4));
        p.drawRoundedRect(QRectF(1, 3, 21, 10), 2.8, 2.8);
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawRoundedRect(QRectF(23, 6, 2, 4), 1, 1);
        QPainterPath bolt;
        bolt.moveTo(12.5, 4.5);
        bolt.lineTo(8, 8.6);
        bolt.lineTo(11, 8.6);
        bolt.lineTo(10, 11.5);
        bolt.lineTo(14.5, 7.4);
        bolt.lineTo(11.5, 7.4);
        bolt.closeSubpath();
        p.drawPath(bolt);
    });
}

QToolButton* makeButton(QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setAutoRaise(true);
    button->setCursor(Qt::PointingHandCursor);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

} // namespace

HomeFootView::HomeFootView(bool hasBattery, QWidget* parent)
    : QWidget(parent), floatingWindowButton_(makeButton(this)), settingsButton_(makeButton(this)) {
    setFixedHeight(kHeight);
    floatingWindowButton_->setText(
        Language::getLocalizedString(QStringLiteral("settings.floatWindow.title")));
    floatingWindowButton_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    floatingWindowButton_->setIconSize(QSize(18, 16));
    floatingWindowButton_->setFont(MenuDrawing::systemFont(12, QFont::Medium));
    connect(floatingWindowButton_, &QToolButton::clicked, this, [this] {
        if (floatingWindowHandler)
            floatingWindowHandler();
    });
    settingsButton_->setIconSize(QSize(16, 16));
    settingsButton_->setToolTip(Language::getLocalizedString(QStringLiteral("settings.title")));
    connect(settingsButton_, &QToolButton::clicked, this, [this] {
        if (settingsHandler)
            settingsHandler();
    });
    if (hasBattery) {
        batteryButton_ = makeButton(this);
        batteryButton_->setToolTip(
            Language::getLocalizedString(QStringLiteral("batteryHealth.title")));
        connect(batteryButton_, &QToolButton::clicked, this, [this] {
            if (batteryHandler)
                batteryHandler();
        });
    }
    updateIcons();
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        updateIcons();
        update();
    });
}

void HomeFootView::updateIcons() {
    const QColor colour = DynamicColor::dynamicTextColor();
    floatingWindowButton_->setIcon(pipIcon(colour));
    QPalette palette = floatingWindowButton_->palette();
    palette.setColor(QPalette::ButtonText, colour);
    floatingWindowButton_->setPalette(palette);
    settingsButton_->setIcon(gearIcon(colour));
    if (batteryButton_)
        batteryButton_->setIcon(batteryIcon(colour, batteryButton_->iconSize().height()));
}

void HomeFootView::sizeBatteryImage() {
    if (!batteryButton_)
        return;
    batteryButton_->setIconSize(QSize(26, 16));
    batteryButton_->setIcon(batteryIcon(DynamicColor::dynamicTextColor(), 16));
}

void HomeFootView::resizeEvent(QResizeEvent*) {
    const int m = HomeStyle::kMargin - 4;
    floatingWindowButton_->setGeometry(m, 10, width() / 2, 30);
    int right = width() - m;
    for (QToolButton* b : {settingsButton_, batteryButton_}) {
        if (!b || b->isHidden())
            continue;
        b->setGeometry(right - 34, 10, 34, 30);
        right -= 38;
    }
}

void HomeFootView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 0.5));
    p.drawLine(QPointF(HomeStyle::kMargin, 0.5), QPointF(width() - HomeStyle::kMargin, 0.5));
}
