#include "TransitionController.h"

#include "MenuPopoverWindow.h"
#include "TitleView.h"
#include "settings/DynamicAppearance.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPropertyAnimation>
#include <QWheelEvent>

int TransitionController::animationDuration = 250;

TransitionController::TransitionController(QWidget* parent)
    : QWidget(parent), titleView_(new TitleView(this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    titleView_->backHandler = [this] { dismiss(); };
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

TransitionController::~TransitionController() = default;

QString TransitionController::title() const {
    return titleView_->title();
}

void TransitionController::setTitle(const QString& title) {
    titleView_->setTitle(title);
}

QRect TransitionController::contentRect() const {
    if (titleView_->isHidden())
        return rect();
    return rect().adjusted(0, TitleView::kHeight, 0, 0);
}

void TransitionController::present(QWidget* parent) {
    setParent(parent);
    dismissing_ = false;
    // Equal size to the parent, kept so while the panel grows or shrinks.
    parent->installEventFilter(this);
    setGeometry(0, parent->height(), parent->width(), parent->height());
    show();
    raise();
    updateWindowSize();
    slideTo(0, [this] { emit presented(); });
}

void TransitionController::dismiss() {
    if (dismissing_)
        return;
    dismissing_ = true;
    QWidget* parent = parentWidget();
    updateWindowSize();
    slideTo(parent ? parent->height() : height(), [this] {
        emit dismissed();
        if (QWidget* p = parentWidget())
            p->removeEventFilter(this);
        hide();
        setParent(nullptr);
        deleteLater();
    });
}

void TransitionController::slideTo(int y, std::function<void()> done) {
    if (animation_) {
        // A slide in progress ends where it is; the new one starts from there.
        animation_->disconnect(this);
        animation_->stop();
        animation_->deleteLater();
        animation_ = nullptr;
    }
    if (animationDuration <= 0) {
        move(0, y);
        done();
        return;
    }
    animation_ = new QPropertyAnimation(this, "pos", this);
    animation_->setDuration(animationDuration);
    animation_->setEasingCurve(QEasingCurve::InOutQuad);
    animation_->setStartValue(pos());
    animation_->setEndValue(QPoint(0, y));
    connect(animation_, &QPropertyAnimation::finished, this, [this, done = std::move(done)] {
        animation_->deleteLater();
        animation_ = nullptr;
        done();
    });
    animation_->start();
}

void TransitionController::updateWindowSize() {
    if (auto* panel = qobject_cast<MenuPopoverWindow*>(window()))
        panel->setPanelContentSize(MenuPopoverWindow::homePanelContentSize());
}

bool TransitionController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize) {
        auto* parent = parentWidget();
        const bool shown = !dismissing_ && !animation_;
        resize(parent->size());
        if (shown)
            move(0, 0);
    }
    return QWidget::eventFilter(watched, event);
}

void TransitionController::resizeEvent(QResizeEvent*) {
    titleView_->setGeometry(0, 0, width(), TitleView::kHeight);
    layoutContent();
}

void TransitionController::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), DynamicColor::dynamicContentBackgroundColor());
}

void TransitionController::mousePressEvent(QMouseEvent* event) {
    event->accept();
}
void TransitionController::mouseReleaseEvent(QMouseEvent* event) {
    event->accept();
}
void TransitionController::mouseMoveEvent(QMouseEvent* event) {
    event->accept();
}
void TransitionController::wheelEvent(QWheelEvent* event) {
    event->accept();
}
