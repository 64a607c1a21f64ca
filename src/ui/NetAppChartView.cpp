#include "NetAppChartView.h"

#include "HomeStyle.h"
#include "network/SpeedText.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QDateTime>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace {

constexpr qreal kSide = 16;
constexpr qreal kPlotTop = 64;
constexpr qreal kPlotBottomGap = 28;
constexpr qreal kMinimumBar = 4;

QString bytesText(int64_t bytes) {
    return SpeedText::binaryByteCountText(bytes);
}

int64_t entrySum(const std::vector<NetApp>& apps) {
    int64_t sum = 0;
    for (const NetApp& app : apps)
        sum += app.bytesIn + app.bytesOut;
    return sum;
}

} // namespace

std::array<int64_t, 24> NetAppChartView::hourTotals(const DataSnapshot& snapshot) {
    std::array<int64_t, 24> totals{};
    std::array<bool, 24> seen{};
    for (const NetDatasetPtr& set : snapshot.datasets.datasets) {
        if (!set || set->date.size() < 2)
            continue;
        bool ok = false;
        const int hour = set->date.right(2).toInt(&ok);
        if (!ok || hour < 0 || hour > 23 || seen[size_t(hour)])
            continue;
        seen[size_t(hour)] = true;
        totals[size_t(hour)] = entrySum(set->apps);
    }
    return totals;
}

int64_t NetAppChartView::dayTotal(const CookedDataset& day) {
    return entrySum(day.apps);
}

NetAppChartView::NetAppChartView(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void NetAppChartView::setDateRange(DateRange range) {
    dateRange_ = range;
    rebuildTimeline();
}

void NetAppChartView::setDataSnapshot(std::optional<DataSnapshot> snapshot) {
    dataSnapshot_ = std::move(snapshot);
    rebuildTimeline();
}

void NetAppChartView::setLastLoadedTime(double seconds) {
    lastLoadedTime_ = seconds;
    update();
}

void NetAppChartView::setNotAttributed(std::optional<int64_t> bytes) {
    notAttributed_ = bytes;
    update();
}

int64_t NetAppChartView::scaleMaximum() const {
    if (!dataSnapshot_)
        return 0;
    if (dateRange_ == DateRange::Week)
        return dataSnapshot_->weekMaxBytes;
    const auto hours = hourTotals(*dataSnapshot_);
    return *std::max_element(hours.begin(), hours.end());
}

qreal NetAppChartView::labelColumnWidth() const {
    const int64_t top = scaleMaximum();
    const QFontMetricsF metrics(MenuDrawing::systemFont(10, QFont::Normal));
    const qreal widest = std::max(metrics.horizontalAdvance(bytesText(top)),
                                  metrics.horizontalAdvance(bytesText(top / 2)));
    return std::min<qreal>(widest + 4, 72);
}

QRectF NetAppChartView::plotRect() const {
    return QRectF(kSide, kPlotTop, std::max<qreal>(0, width() - 2 * kSide),
                  std::max<qreal>(0, height() - kPlotTop - kPlotBottomGap));
}

void NetAppChartView::rebuildTimeline() {
    timeline_.clear();
    hovered_ = -1;
    update();
    if (!dataSnapshot_)
        return;
    const QRectF plot = plotRect();
    const qreal barsWidth = std::max<qreal>(0, plot.width() - labelColumnWidth());
    const int64_t top = scaleMaximum();
    const auto heightOf = [&](int64_t value) {
        return top > 0 ? plot.height() * qreal(value) / qreal(top) : 0.0;
    };
    if (dateRange_ == DateRange::Day) {
        const auto hours = hourTotals(*dataSnapshot_);
        const qreal slot = barsWidth / 24;
        for (int h = 0; h < 24; ++h) {
            qreal height = heightOf(hours[size_t(h)]);
            if (height <= 0)
                continue;
            height = std::max(height, kMinimumBar);
            timeline_.push_back({QRectF(plot.left() + h * slot + 1, plot.bottom() - height,
                                        std::max<qreal>(0, slot - 2), height),
                                 QString::number(h) + QLatin1Char('H'),
                                 bytesText(hours[size_t(h)])});
        }
        return;
    }
    const qreal slot = barsWidth / 7;
    const QStringList& days = dataSnapshot_->weekdays;
    for (int i = 0; i < 7 && i < days.size(); ++i) {
        const auto day = dataSnapshot_->data.find(days[i]);
        if (day == dataSnapshot_->data.end())
            continue;
        const int64_t total = dayTotal(day->second);
        const qreal height = std::max(heightOf(total), kMinimumBar);
        const QDate date = QDate::fromString(days[i], QStringLiteral("yyyy-MM-dd"));
        timeline_.push_back(
            {QRectF(plot.left() + i * slot + 4, plot.bottom() - height,
                    std::max<qreal>(0, slot - 8), height),
             date.isValid() ? QLocale().toString(date, QLocale::ShortFormat) : days[i],
             bytesText(total)});
    }
}

QString NetAppChartView::hoverText() const {
    if (hovered_ < 0 || size_t(hovered_) >= timeline_.size())
        return QString();
    return timeline_[size_t(hovered_)].title + QLatin1Char('\n') + timeline_[size_t(hovered_)].body;
}

void NetAppChartView::setHovered(int index) {
    if (index == hovered_)
        return;
    hovered_ = index;
    update();
}

void NetAppChartView::mouseMoveEvent(QMouseEvent* event) {
    for (size_t i = 0; i < timeline_.size(); ++i)
        if (timeline_[i].frame.contains(event->position())) {
            setHovered(int(i));
            return;
        }
    setHovered(-1);
}

void NetAppChartView::leaveEvent(QEvent*) {
    setHovered(-1);
}

void NetAppChartView::resizeEvent(QResizeEvent*) {
    rebuildTimeline();
}

void NetAppChartView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const QColor text = DynamicColor::dynamicTextColor();
    const QColor secondary = DynamicColor::dynamicSecondaryTextColor();
    const bool week = dateRange_ == DateRange::Week;

    // Title line: the range, then when the snapshot was built.
    const QString title =
        Language::getLocalizedString(week ? QStringLiteral("dataUsage.chart.title.THISWEEK")
                                          : QStringLiteral("dataUsage.chart.title.TODAY"));
    const QFont titleFont = MenuDrawing::systemFont(10, QFont::Bold);
    p.setFont(titleFont);
    p.setPen(text);
    const QRectF titleRect(kSide, kSide, width() - 2 * kSide, 14);
    p.drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter, title);
    if (lastLoadedTime_ != 0) {
        const qreal x = kSide + QFontMetricsF(titleFont).horizontalAdvance(title);
        const QString updated =
            QStringLiteral(" · ") +
            Language::getLocalizedString(QStringLiteral("dataUsage.updatedAt")) + QLatin1Char(' ') +
            QDateTime::fromMSecsSinceEpoch(qint64(lastLoadedTime_ * 1000))
                .toString(QStringLiteral("HH:mm"));
        p.setFont(MenuDrawing::systemFont(10, QFont::Medium));
        p.setPen(secondary);
        p.drawText(QRectF(x, kSide, width() - kSide - x, 14), Qt::AlignLeft | Qt::AlignVCenter,
                   updated);
    }
    // The total of the range, and what the links moved beyond it.
    const int64_t total =
        dataSnapshot_ ? (week ? dataSnapshot_->weekTotalBytes : dataSnapshot_->totalBytes) : 0;
    const QString totalText = total >= 1
                                  ? bytesText(total)
                                  : Language::getLocalizedString(QStringLiteral("common.noData"));
    const QFont totalFont = MenuDrawing::appFont(20, QFont::DemiBold);
    p.setFont(totalFont);
    p.setPen(text);
    const QRectF totalRect(kSide, kSide + 15, width() - 2 * kSide, 26);
    p.drawText(totalRect, Qt::AlignLeft | Qt::AlignVCenter, totalText);
    if (notAttributed_ && dataSnapshot_ && hovered_ < 0) {
        const qreal x = kSide + QFontMetricsF(totalFont).horizontalAdvance(totalText) + 8;
        const QString line =
            Language::getLocalizedString(QStringLiteral("dataUsage.notAttributed")) +
            QStringLiteral(": ") + bytesText(*notAttributed_);
        const QRectF room(x, totalRect.top() + 8, width() - kSide - x, 16);
        p.setFont(
            HomeStyle::fitted(MenuDrawing::systemFont(10, QFont::Medium), line, room.width()));
        p.setPen(secondary);
        p.drawText(room, Qt::AlignLeft | Qt::AlignVCenter, line);
    }

    // Scale and guides.
    const QRectF plot = plotRect();
    const qreal labels = labelColumnWidth();
    const qreal barsRight = plot.right() - labels;
    const QColor separator = DynamicColor::dynamicSeparatorColor();
    const qreal hairline = 1.0 / devicePixelRatioF();
    p.setPen(QPen(separator, hairline));
    p.drawLine(QPointF(plot.left(), plot.top()), QPointF(barsRight, plot.top()));
    p.drawLine(QPointF(plot.left(), plot.bottom()), QPointF(barsRight, plot.bottom()));
    QPen dashed(separator, hairline);
    const qreal step = std::max<qreal>(0.5, (barsRight - plot.left()) / 72);
    dashed.setDashPattern({step / hairline, step / hairline});
    p.setPen(dashed);
    for (qreal f : {0.25, 0.5, 0.75}) {
        const qreal y = plot.top() + plot.height() * f;
        p.drawLine(QPointF(plot.left(), y), QPointF(barsRight, y));
    }
    const int64_t top = scaleMaximum();
    p.setFont(MenuDrawing::systemFont(10, QFont::Normal));
    p.setPen(secondary);
    const std::pair<qreal, QString> scale[] = {{plot.top(), bytesText(top)},
                                               {plot.center().y(), bytesText(top / 2)},
                                               {plot.bottom(), QStringLiteral("0 KB")}};
    for (const auto& [y, label] : scale)
        if (dataSnapshot_)
            p.drawText(QRectF(barsRight + 4, y - 7, labels, 14), Qt::AlignLeft | Qt::AlignVCenter,
                       label);

    // Captions under the plot.
    p.setFont(MenuDrawing::systemFont(9, QFont::Medium));
    if (!week) {
        const QRectF under(plot.left(), plot.bottom() + 3, barsRight - plot.left(), 12);
        p.drawText(under, Qt::AlignLeft | Qt::AlignTop, QStringLiteral("0H"));
        p.drawText(under, Qt::AlignHCenter | Qt::AlignTop, QStringLiteral("12H"));
        p.drawText(under, Qt::AlignRight | Qt::AlignTop, QStringLiteral("24H"));
    } else {
        // The names run from Sunday, whatever the week's first day.
        const qreal slot = (barsRight - plot.left()) / 7;
        const QLocale locale;
        for (int i = 0; i < 7; ++i) {
            const int weekday = i == 0 ? 7 : i;
            p.drawText(QRectF(plot.left() + i * slot, plot.bottom() + 5, slot, 44),
                       Qt::AlignHCenter | Qt::AlignTop,
                       locale.standaloneDayName(weekday, QLocale::ShortFormat).toUpper());
        }
    }

    // Bars.
    const qreal radius = week ? 2 : 1;
    p.setPen(Qt::NoPen);
    for (size_t i = 0; i < timeline_.size(); ++i) {
        QColor colour = DynamicColor::dynamicTintColor();
        if (hovered_ >= 0 && int(i) != hovered_)
            colour.setAlphaF(0.5);
        p.setBrush(colour);
        p.drawRoundedRect(timeline_[i].frame, radius, radius);
    }

    // The hovered bar's title above its amount, in the top right corner.
    if (hovered_ >= 0 && size_t(hovered_) < timeline_.size()) {
        const TimelineAtom& atom = timeline_[size_t(hovered_)];
        const QRectF corner(width() / 2.0, kSide, width() / 2.0 - kSide, 14);
        p.setFont(MenuDrawing::systemFont(10, QFont::Medium));
        p.setPen(secondary);
        p.drawText(corner, Qt::AlignRight | Qt::AlignVCenter, atom.title);
        p.setFont(MenuDrawing::appFont(20, QFont::DemiBold));
        p.setPen(DynamicColor::dynamicTintColor());
        p.drawText(QRectF(corner.left(), kSide + 15, corner.width(), 26),
                   Qt::AlignRight | Qt::AlignVCenter, atom.body);
    }
}
