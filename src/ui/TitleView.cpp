#include "TitleView.h"

#include "HomeStyle.h"
#include "menubar/MenuDrawing.h"
#include "settings/DynamicAppearance.h"

#include <QPainter>
#include <QPainterPath>
#include <QToolButton>

namespace {

// A left-pointing chevron, 2 points wide, in a 24 x 24 box.
QIcon chevronIcon(const QColor& colour) {
    return HomeStyle::drawnIcon(QSizeF(24, 24), [&](QPainter& p) {
        QPainterPath path;
        path.moveTo(14.5, 5.5);
        path.lineTo(8, 12);
        path.lineTo(14.5, 18.5);
        p.setPen(QPen(colour, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.drawPath(path);
    });
}

} // namespace

TitleView::TitleView(QWidget* parent) : QWidget(parent), backButton_(new QToolButton(this)) {
    setFixedHeight(kHeight);
    backButton_->setAutoRaise(true);
    backButton_->setCursor(Qt::PointingHandCursor);
    backButton_->setIconSize(QSize(24, 24));
    backButton_->setFocusPolicy(Qt::TabFocus);
    backButton_->setAccessibleName(tr("Back"));
    backButton_->setStyleSheet(
        QStringLiteral("QToolButton { border: none; background: transparent; }"));
    backButton_->setIcon(chevronIcon(DynamicColor::dynamicTextColor()));
    connect(backButton_, &QToolButton::clicked, this, [this] {
        if (backHandler)
            backHandler();
    });
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        backButton_->setIcon(chevronIcon(DynamicColor::dynamicTextColor()));
        update();
    });
}

void TitleView::setTitle(const QString& title) {
    if (title == title_)
        return;
    title_ = title;
    update();
}

void TitleView::resizeEvent(QResizeEvent*) {
    backButton_->setGeometry(8, 8, 28, 28);
}

void TitleView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setFont(MenuDrawing::systemFont(13, QFont::Bold));
    p.setPen(DynamicColor::dynamicTextColor());
    const QRect textRect = rect().adjusted(44, 0, -44, 0);
    const QString shown = p.fontMetrics().elidedText(title_, Qt::ElideRight, textRect.width());
    p.drawText(textRect, Qt::AlignCenter, shown);
}
