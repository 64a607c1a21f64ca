#include "WelcomeView.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QEvent>
#include <QPainter>
#include <QPushButton>

WelcomeView::WelcomeView(QWidget* parent) : QWidget(parent), startButton_(new QPushButton(this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    startButton_->setText(Language::getLocalizedString(QStringLiteral("welcome.start")));
    startButton_->setCursor(Qt::PointingHandCursor);
    startButton_->setFont(MenuDrawing::systemFont(13, QFont::DemiBold));
    connect(startButton_, &QPushButton::clicked, this, [this] {
        hide();
        deleteLater();
    });
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
    // Covers the page, and keeps covering it when the page changes size.
    parent->installEventFilter(this);
    setGeometry(parent->rect());
}

bool WelcomeView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void WelcomeView::resizeEvent(QResizeEvent*) {
    startButton_->setGeometry(24, height() - 76, width() - 48, 36);
}

void WelcomeView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.fillRect(rect(), DynamicColor::dynamicContentBackgroundColor());
    // The two arrows of the app, large, above the greeting.
    const QPointF centre(width() / 2.0, height() * 0.28);
    p.save();
    p.translate(centre - QPointF(30, 33));
    p.scale(3, 3);
    MenuDrawing::strokeImage(p, MenuDrawing::uploadArrowPath(), QPointF(0, 0),
                             DynamicColor::dynamicStockRedColor());
    MenuDrawing::strokeImage(p, MenuDrawing::downloadArrowPath(), QPointF(8, 0),
                             DynamicColor::dynamicStockBlueColor());
    p.restore();

    const QRectF textArea(24, height() * 0.42, width() - 48, height() * 0.5);
    p.setFont(MenuDrawing::systemFont(20, QFont::Bold));
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(QRectF(textArea.left(), textArea.top(), textArea.width(), 56),
               Qt::AlignHCenter | Qt::AlignBottom | Qt::TextWordWrap,
               Language::getLocalizedString(QStringLiteral("welcome.title")));
    p.setFont(MenuDrawing::systemFont(13, QFont::Normal));
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(QRectF(textArea.left(), textArea.top() + 68, textArea.width(), 120),
               Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap,
               Language::getLocalizedString(QStringLiteral("welcome.message")));
}
