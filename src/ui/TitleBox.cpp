#include "TitleBox.h"

#include "HomeStyle.h"
#include "network/ActivityObject.h"
#include "network/NetActivities.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QPainter>
#include <QToolButton>

namespace {

// A circled "i", 20 points, in colour.
QIcon infoIcon(const QColor& colour) {
    return HomeStyle::drawnIcon(QSizeF(20, 20), [&](QPainter& p) {
        p.setPen(QPen(colour, 1.5));
        p.drawEllipse(QRectF(1.75, 1.75, 16.5, 16.5));
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawEllipse(QRectF(9, 5.2, 2, 2));
        p.drawRoundedRect(QRectF(9.1, 8.6, 1.8, 6.6), 0.9, 0.9);
    });
}

} // namespace

TitleBox::TitleBox(QWidget* parent) : QWidget(parent), button_(new QToolButton(this)) {
    setFixedHeight(kHeight);
    button_->setAutoRaise(true);
    button_->setCursor(Qt::PointingHandCursor);
    button_->setIconSize(QSize(20, 20));
    button_->setFocusPolicy(Qt::TabFocus);
    button_->setHidden(true);
    updateButtonIcon();
    connect(button_, &QToolButton::clicked, this, [this] {
        if (buttonHandler)
            buttonHandler();
    });
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        updateButtonIcon();
        QWidget::update();
    });
}

void TitleBox::updateButtonIcon() {
    button_->setIcon(infoIcon(DynamicColor::dynamicTintColor()));
}

void TitleBox::setTitle(std::optional<QString> title) {
    if (title == title_)
        return;
    title_ = std::move(title);
    QWidget::update();
}

void TitleBox::setSubtitle(std::optional<QString> subtitle) {
    if (subtitle == subtitle_)
        return;
    subtitle_ = std::move(subtitle);
    QWidget::update();
}

void TitleBox::applyRecord(const ActivityObject& record, bool showsAddress) {
    if (record.netMode == NotReachable) {
        setTitle(Language::getLocalizedString(QStringLiteral("NO NETWORK")));
        setSubtitle(std::nullopt);
    } else {
        std::optional<QString> title = record.ssid;
        if (!title && record.netMode == ReachableViaWiFi)
            title = QStringLiteral("Wi-Fi");
        else if (!title && record.netMode == ReachableViaWWAN)
            title = QStringLiteral("WWAN");
        setTitle(title);
        setSubtitle(showsAddress ? record.IPLocation : std::nullopt);
    }
    button_->setHidden(record.netMode == NotReachable);
}

void TitleBox::resizeEvent(QResizeEvent*) {
    button_->setGeometry(width() - inset.right() - 24, 22, 24, 24);
}

void TitleBox::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    const QRectF area = QRectF(rect()).marginsRemoved(inset);
    HomeStyle::drawHeading(p, area, Language::getLocalizedString(QStringLiteral("NETWORK")));
    // The text stops short of the info button.
    const qreal textWidth = area.width() - 32;
    p.setPen(DynamicColor::dynamicTextColor());
    const QString title = title_.value_or(QString());
    const QFont titleFont = MenuDrawing::systemFont(subtitle_ ? 18 : 21, QFont::Bold);
    p.setFont(titleFont);
    const qreal titleTop = area.top() + 12;
    const qreal titleHeight = subtitle_ ? 24 : 30;
    p.drawText(QRectF(area.left(), titleTop, textWidth, titleHeight),
               Qt::AlignLeft | Qt::AlignVCenter,
               p.fontMetrics().elidedText(title, Qt::ElideRight, int(textWidth)));
    if (subtitle_) {
        p.setFont(MenuDrawing::systemFont(11, QFont::Normal));
        p.setPen(DynamicColor::dynamicSecondaryTextColor());
        p.drawText(QRectF(area.left(), titleTop + titleHeight - 2, textWidth, 14),
                   Qt::AlignLeft | Qt::AlignVCenter,
                   p.fontMetrics().elidedText(*subtitle_, Qt::ElideRight, int(textWidth)));
    }
}
