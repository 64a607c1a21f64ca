#include "NetAppToggleView.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QKeyEvent>
#include <QPainter>
#include <QVariantAnimation>

namespace {

// A pill-shaped on/off switch in the palette's colours, dimmed while it takes no taps.
class Switch : public QAbstractButton {
public:
    explicit Switch(QWidget* parent) : QAbstractButton(parent) {
        setCheckable(true);
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::TabFocus);
        setFixedSize(40, 24);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        if (!isEnabled())
            p.setOpacity(0.5);
        const QRectF track = QRectF(rect()).adjusted(1, 1, -1, -1);
        p.setPen(hasFocus() ? QPen(DynamicColor::dynamicTintColor(), 1.5) : Qt::NoPen);
        p.setBrush(isChecked() ? DynamicColor::dynamicTintColor()
                               : DynamicColor::dynamicTogglerBackgroundColor());
        p.drawRoundedRect(track, track.height() / 2, track.height() / 2);
        const qreal d = track.height() - 4;
        const qreal x = isChecked() ? track.right() - 2 - d : track.left() + 2;
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::white);
        p.drawEllipse(QRectF(x, track.top() + 2, d, d));
    }
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            click();
            return;
        }
        QAbstractButton::keyPressEvent(event);
    }
};

} // namespace

NetAppToggleView::NetAppToggleView(QWidget* parent)
    : QWidget(parent), toggleControl_(new Switch(this)), sweep_(new QVariantAnimation(this)) {
    setFixedHeight(kHeight);
    // The page sets the switch's position; a tap only asks.
    connect(toggleControl_, &QAbstractButton::clicked, this, [this] {
        toggleControl_->setChecked(isRunning_);
        emit toggled();
    });
    sweep_->setStartValue(0.0);
    sweep_->setEndValue(1.0);
    sweep_->setDuration(700);
    connect(sweep_, &QVariantAnimation::valueChanged, this, [this] { update(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void NetAppToggleView::setRunning(bool running) {
    isRunning_ = running;
    toggleControl_->setChecked(running);
    update();
}

void NetAppToggleView::animate() {
    sweep_->stop();
    sweep_->start();
}

void NetAppToggleView::resizeEvent(QResizeEvent*) {
    toggleControl_->move(width() - HomeStyle::kMargin - 4 - toggleControl_->width(),
                         (height() - toggleControl_->height()) / 2);
}

void NetAppToggleView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.fillRect(QRectF(0, 0, width(), 1), DynamicColor::dynamicSeparatorColor());
    if (sweep_->state() == QAbstractAnimation::Running) {
        const qreal f = sweep_->currentValue().toReal();
        p.fillRect(QRectF(0, 0, width() * f, 2), DynamicColor::dynamicTintColor());
    }
    const qreal left = 16;
    const qreal room = toggleControl_->x() - left - 8;
    p.setFont(MenuDrawing::systemFont(13, QFont::Medium));
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(QRectF(left, 8, room, 18), Qt::AlignLeft | Qt::AlignVCenter,
               Language::getLocalizedString(QStringLiteral("dataUsage.name")));
    p.setFont(MenuDrawing::systemFont(10, QFont::Normal));
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(QRectF(left, 27, room, 16), Qt::AlignLeft | Qt::AlignVCenter,
               Language::getLocalizedString(isRunning_ ? QStringLiteral("dataUsage.running")
                                                       : QStringLiteral("Off")));
}
