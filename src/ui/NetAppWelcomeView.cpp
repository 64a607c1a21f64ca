#include "NetAppWelcomeView.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QGraphicsOpacityEffect>
#include <QPainter>
#include <QPropertyAnimation>
#include <QPushButton>

int NetAppWelcomeView::fadeDuration = 250;

namespace {

// Up and down arrows beside a small app window, in an 80 x 80 box.
void drawPicture(QPainter& p, const QRectF& box) {
    p.save();
    p.translate(box.topLeft());
    p.scale(box.width() / 80, box.height() / 80);
    p.save();
    p.translate(6, 8);
    p.scale(2, 2);
    MenuDrawing::strokeImage(p, MenuDrawing::uploadArrowPath(), QPointF(0, 0),
                             DynamicColor::dynamicStockRedColor());
    MenuDrawing::strokeImage(p, MenuDrawing::downloadArrowPath(), QPointF(9, 0),
                             DynamicColor::dynamicStockBlueColor());
    p.restore();
    p.setPen(QPen(DynamicColor::dynamicTextColor(), 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(46, 40, 30, 30), 7, 7);
    p.drawLine(QPointF(46, 49), QPointF(76, 49));
    p.restore();
}

} // namespace

NetAppWelcomeView::NetAppWelcomeView(bool canRunScript, QWidget* parent)
    : QWidget(parent), canRunScript_(canRunScript), button_(new QPushButton(this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    button_->setText(Language::getLocalizedString(QStringLiteral("dataUsage.welcome.continue")));
    button_->setCursor(Qt::PointingHandCursor);
    button_->setFont(MenuDrawing::systemFont(13, QFont::DemiBold));
    connect(button_, &QPushButton::clicked, this, &NetAppWelcomeView::fadeOut);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void NetAppWelcomeView::fadeOut() {
    button_->setEnabled(false);
    emit dismissed();
    if (fadeDuration <= 0) {
        hide();
        deleteLater();
        return;
    }
    auto* effect = new QGraphicsOpacityEffect(this);
    setGraphicsEffect(effect);
    auto* fade = new QPropertyAnimation(effect, "opacity", this);
    fade->setDuration(fadeDuration);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    connect(fade, &QPropertyAnimation::finished, this, [this] {
        hide();
        deleteLater();
    });
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void NetAppWelcomeView::resizeEvent(QResizeEvent*) {
    button_->setGeometry(24, height() - (canRunScript_ ? 60 : 56), width() - 48, 34);
}

void NetAppWelcomeView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.fillRect(rect(), DynamicColor::dynamicContentBackgroundColor());
    drawPicture(p, QRectF(width() / 2.0 - 32, 16, 64, 64));
    const QRectF text(16, 88, width() - 32, height() - 88);
    p.setFont(MenuDrawing::systemFont(20, QFont::Bold));
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(QRectF(text.left(), text.top(), text.width(), 28), Qt::AlignHCenter | Qt::AlignTop,
               Language::getLocalizedString(QStringLiteral("dataUsage.name")));
    p.setFont(MenuDrawing::systemFont(13, QFont::Normal));
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(QRectF(text.left(), text.top() + 28 + 14, text.width(), 120),
               Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap,
               Language::getLocalizedString(QStringLiteral("dataUsage.warning.message")));
    if (!canRunScript_) {
        p.setFont(MenuDrawing::systemFont(13, QFont::Medium));
        p.setPen(DynamicColor::dynamicStockRedColor());
        p.drawText(QRectF(16, height() - 80 - 40, width() - 32, 80),
                   Qt::AlignCenter | Qt::TextWordWrap,
                   Language::getLocalizedString(QStringLiteral("dataUsage.notAvailabel")));
    }
}
