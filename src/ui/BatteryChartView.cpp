#include "BatteryChartView.h"

#include "power/PowerPercentageLogger.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"

#include <QMouseEvent>
#include <QPainter>

BatteryChartView::BatteryChartView(DatasetSource source, QWidget* parent)
    : QWidget(parent), source_(std::move(source)) {
    if (!source_)
        source_ = [] { return PowerPercentageLogger::shared().dataset(); };
    setFixedSize(kWidth, kHeight);
    setMouseTracking(true);
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(PowerPercentageLogger::DidUpdateNotification),
        [this](const Notification&) { render(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) { render(); });
    render();
}

void BatteryChartView::render() {
    const qreal ratio = devicePixelRatioF();
    image_ = QImage(QSize(kWidth, kHeight) * ratio, QImage::Format_ARGB32_Premultiplied);
    image_.setDevicePixelRatio(ratio);
    image_.fill(Qt::transparent);
    const auto atoms = PowerPercentageChart::atoms(source_());
    const PowerPercentageChart::Style style{DynamicColor::dynamicBatteryStockLineColor(),
                                            DynamicColor::dynamicSeparatorColor(),
                                            DynamicColor::dynamicSecondaryTextColor()};
    rects_ = PowerPercentageChart::draw(image_, atoms, PowerPercentageChart::ranges(atoms), style);
    update();
}

std::pair<QString, QColor> BatteryChartView::textAt(const QPointF& point) const {
    for (const TrackableRect& r : rects_)
        if (r.text && r.frame.contains(point))
            return {*r.text, r.textColor};
    return {QString(), QColor()};
}

void BatteryChartView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.drawImage(QPointF(0, 0), image_);
}

void BatteryChartView::mouseMoveEvent(QMouseEvent* event) {
    if (hoverHandler) {
        const auto [text, colour] = textAt(event->position());
        hoverHandler(text, colour);
    }
}

void BatteryChartView::leaveEvent(QEvent*) {
    if (hoverHandler)
        hoverHandler(QString(), QColor());
}
