#include "BatteryHistoryChartView.h"

#include "BatteryHistoryListView.h"
#include "HomeStyle.h"
#include "platform/DecimalText.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QLocale>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <limits>

namespace {

using TimeRange = BatteryHistoryChartView::TimeRange;

constexpr qreal kInset = 16;
constexpr qreal kPlotTop = 34;
constexpr qreal kPlotBottomGap = 20;
constexpr qreal kLabelColumn = 34;

struct RangeShape {
    int count;
    const char* key; // the slot's key, as the log's dates begin
};

RangeShape shapeOf(TimeRange range) {
    switch (range) {
    case TimeRange::Day:
        return {90, "yyyy-MM-dd"};
    case TimeRange::Week:
        return {7, "yyyy-MM-dd"};
    case TimeRange::Month:
        return {12, "yyyy-MM"};
    case TimeRange::Year:
        return {5, "yyyy"};
    }
    return {0, ""};
}

QDate back(TimeRange range, QDate today, int i) {
    switch (range) {
    case TimeRange::Day:
    case TimeRange::Week:
        return today.addDays(-i);
    case TimeRange::Month:
        return today.addMonths(-i);
    case TimeRange::Year:
        return today.addYears(-i);
    }
    return today;
}

QString keyText(QDate date, const char* format) {
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(date, QLatin1String(format));
}

} // namespace

std::optional<BatteryHistoryChartView::TimeRange> BatteryHistoryChartView::timeRange(int raw) {
    if (raw < 0 || raw > 3)
        return std::nullopt;
    return TimeRange(raw);
}

const char* BatteryHistoryChartView::titleKey(TimeRange range) {
    switch (range) {
    case TimeRange::Day:
        return "batteryHistory.chart.title.LAST90DAYS";
    case TimeRange::Week:
        return "batteryHistory.chart.title.LAST7DAYS";
    case TimeRange::Month:
        return "batteryHistory.chart.title.LAST12MONTHS";
    case TimeRange::Year:
        return "batteryHistory.chart.title.LAST5YEARS";
    }
    return "";
}

std::vector<BatteryHistoryChartView::Atom> BatteryHistoryChartView::slotsFor(
    TimeRange range, const std::vector<BatteryHealthLogger::Item>& items, QDate today) {
    const RangeShape shape = shapeOf(range);
    const bool wholeDay = range == TimeRange::Day || range == TimeRange::Week;
    std::vector<Atom> atoms(size_t(shape.count));
    for (int i = 0; i < shape.count; ++i) {
        Atom& atom = atoms[size_t(shape.count - 1 - i)];
        atom.date = back(range, today, i);
        const QString key = keyText(atom.date, shape.key);
        // A month or year shows its earliest logged day, not an average.
        for (const BatteryHealthLogger::Item& item : items)
            if (wholeDay ? item.date == key : item.date.contains(key)) {
                atom.item = item;
                break;
            }
    }
    return atoms;
}

double BatteryHistoryChartView::health(const BatteryHealthLogger::Item& item) {
    if (item.maxCapacity == 0)
        return 0;
    const double h = double(item.fullCapacity) / double(item.maxCapacity);
    return std::clamp(h, 0.0, 1.0);
}

int BatteryHistoryChartView::minAnchorFor(const std::vector<Atom>& atoms, int previous) {
    double smallest = std::numeric_limits<double>::infinity();
    for (const Atom& atom : atoms)
        if (atom.item)
            smallest = std::min(smallest, health(*atom.item));
    if (smallest == std::numeric_limits<double>::infinity())
        return previous;
    return smallest > 0.8 ? 80 : smallest > 0.6 ? 60 : 0;
}

BatteryHistoryChartView::BatteryHistoryChartView(DayClock clock, QWidget* parent)
    : QWidget(parent), clock_(std::move(clock)) {
    if (!clock_)
        clock_ = [] { return QDate::currentDate(); };
    setMouseTracking(true);
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        layoutBars();
        update();
    });
}

void BatteryHistoryChartView::reload(TimeRange range,
                                     const std::vector<BatteryHealthLogger::Item>& items) {
    timeRange_ = range;
    data_ = slotsFor(range, items, clock_());
    isEmptyData_ = std::none_of(data_.begin(), data_.end(), [](const Atom& a) { return a.item; });
    minAnchor_ = minAnchorFor(data_, minAnchor_);
    selectedTimeline_.reset();
    layoutBars();
    update();
}

QRectF BatteryHistoryChartView::plotRect() const {
    return QRectF(kInset, kPlotTop, std::max(0.0, width() - 2 * kInset - kLabelColumn),
                  std::max(0.0, height() - kPlotTop - kPlotBottomGap));
}

void BatteryHistoryChartView::layoutBars() {
    const QRectF plot = plotRect();
    const qreal n = qreal(std::max<size_t>(1, data_.size()));
    const qreal slot = plot.width() / n;
    // Thin slots touch; wide ones keep a gap.
    const qreal gap = slot >= 8 ? std::min(slot * 0.3, 10.0) : slot * 0.2;
    const qreal floor = minAnchor_ / 100.0;
    for (size_t i = 0; i < data_.size(); ++i) {
        Atom& atom = data_[i];
        atom.timeline.reset();
        if (!atom.item)
            continue;
        const double h = health(*atom.item);
        const qreal share = floor >= 1 ? 0 : std::clamp((h - floor) / (1 - floor), 0.0, 1.0);
        const qreal height = std::max<qreal>(2, plot.height() * share);
        const QRectF frame(plot.left() + qreal(i) * slot + gap / 2, plot.bottom() - height,
                           slot - gap, height);
        atom.timeline = TimelineAtom{frame,
                                     atom.item->date + QStringLiteral("  ") +
                                         decimalText(h * 100, 2) + QLatin1Char('%'),
                                     BatteryHistoryListView::healthColor(h), h};
    }
}

void BatteryHistoryChartView::resizeEvent(QResizeEvent*) {
    layoutBars();
}

void BatteryHistoryChartView::mouseMoveEvent(QMouseEvent* event) {
    std::optional<TimelineAtom> hit;
    const QPointF at = event->position();
    for (const Atom& atom : data_)
        // A bar answers over its slot's full height, so short bars are easy to point at.
        if (atom.timeline && at.x() >= atom.timeline->frame.left() &&
            at.x() <= atom.timeline->frame.right() && plotRect().contains(at)) {
            hit = atom.timeline;
            break;
        }
    const bool changed = hit.has_value() != selectedTimeline_.has_value() ||
                         (hit && hit->frame != selectedTimeline_->frame);
    selectedTimeline_ = hit;
    if (changed)
        update();
}

void BatteryHistoryChartView::leaveEvent(QEvent*) {
    if (selectedTimeline_) {
        selectedTimeline_.reset();
        update();
    }
}

void BatteryHistoryChartView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const QRectF plot = plotRect();
    const QString title = Language::getLocalizedString(QLatin1String(titleKey(timeRange_)));
    const QRectF titleRect(kInset, 8, width() - 2 * kInset, 16);
    HomeStyle::drawHeading(p, titleRect, title);
    if (selectedTimeline_) {
        const qreal used = QFontMetricsF(HomeStyle::headingFont()).horizontalAdvance(title) + 8;
        const QRectF room = titleRect.adjusted(used, -2, 0, 0);
        p.setFont(HomeStyle::fitted(MenuDrawing::appFont(12, QFont::DemiBold),
                                    selectedTimeline_->text, room.width()));
        p.setPen(selectedTimeline_->textColor);
        p.drawText(room, Qt::AlignRight | Qt::AlignTop, selectedTimeline_->text);
    }

    // Guides at the top, the middle and the floor, labelled on the right.
    const QColor separator = DynamicColor::dynamicSeparatorColor();
    const QColor secondary = DynamicColor::dynamicSecondaryTextColor();
    p.setFont(MenuDrawing::systemFont(9, QFont::Medium));
    const int mid = (100 + minAnchor_) / 2;
    const std::pair<qreal, int> guides[] = {
        {plot.top(), 100}, {plot.center().y(), mid}, {plot.bottom(), minAnchor_}};
    for (const auto& [y, percent] : guides) {
        QPen pen(separator, 1);
        if (percent == mid)
            pen.setDashPattern({2, 3});
        p.setPen(pen);
        p.drawLine(QPointF(plot.left(), y + 0.5), QPointF(plot.right(), y + 0.5));
        p.setPen(secondary);
        p.drawText(QRectF(plot.right() + 4, y - 8, kLabelColumn, 16),
                   Qt::AlignLeft | Qt::AlignVCenter, QString::number(percent) + QLatin1Char('%'));
    }

    for (const Atom& atom : data_) {
        if (!atom.timeline)
            continue;
        QColor colour = atom.timeline->textColor;
        if (selectedTimeline_ && selectedTimeline_->frame != atom.timeline->frame)
            colour.setAlphaF(0.55);
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        const qreal r = std::min<qreal>(2, atom.timeline->frame.width() / 2);
        p.drawRoundedRect(atom.timeline->frame, r, r);
    }

    // The first and the last slot under the plot.
    if (!data_.empty()) {
        const char* format = timeRange_ == TimeRange::Year    ? "yyyy"
                             : timeRange_ == TimeRange::Month ? "yyyy-MM"
                                                              : "MM-dd";
        const QRectF under(plot.left(), plot.bottom() + 3, plot.width(), 14);
        p.setPen(secondary);
        p.drawText(under, Qt::AlignLeft | Qt::AlignTop, keyText(data_.front().date, format));
        p.drawText(under, Qt::AlignRight | Qt::AlignTop, keyText(data_.back().date, format));
    }

    if (isEmptyData_) {
        p.setFont(MenuDrawing::systemFont(13, QFont::DemiBold));
        p.setPen(secondary);
        p.drawText(plot, Qt::AlignCenter,
                   Language::getLocalizedString(QStringLiteral("common.noData")));
    }
}
