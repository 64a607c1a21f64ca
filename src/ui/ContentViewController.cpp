#include "ContentViewController.h"

#include "BackgroundView.h"
#include "MenuPopoverWindow.h"

#include <QPainterPath>
#include <QRegion>

ContentViewController::ContentViewController(QWidget* embedded, QWidget* parent)
    : QWidget(parent), backgroundView_(new BackgroundView(this)),
      contentContainer_(new QWidget(this)), embedded_(embedded) {
    if (embedded_) {
        embedded_->setParent(contentContainer_);
        embedded_->show();
    }
}

QRect ContentViewController::contentFrame(QSize windowSize) {
    return QRect(kLeft, kTop, MenuPopoverWindow::kContentWidth,
                 std::max(0, windowSize.height() - kTop - kBottom));
}

void ContentViewController::resizeEvent(QResizeEvent*) {
    const QRect frame = contentFrame(size());
    backgroundView_->setGeometry(frame);
    contentContainer_->setGeometry(frame);
    // Pages paint square; the container clips them to the background's rounded shape.
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(0, 0, frame.width(), frame.height()), 16, 16);
    contentContainer_->setMask(QRegion(rounded.toFillPolygon().toPolygon()));
    if (embedded_)
        embedded_->setGeometry(0, 0, frame.width(), frame.height());
}
