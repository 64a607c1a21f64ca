#include "DataUsageBox.h"

#include "network/SpeedText.h"

#include "HomeStyle.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"

#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QToolButton>

#include <algorithm>
#include <limits>

namespace {

constexpr qreal kChartTop = 30;
constexpr qreal kChartHeight = 64;
constexpr qreal kChartGap = 12;

// Three stacked bars in a rounded square: the per-app usage page.
QIcon appsIcon(const QColor& colour) {
    return HomeStyle::drawnIcon(QSizeF(20, 20), [&](QPainter& p) {
        p.setPen(QPen(colour, 1.5));
        p.drawRoundedRect(QRectF(2.75, 2.75, 14.5, 14.5), 3.5, 3.5);
        p.setPen(QPen(colour, 1.5, Qt::SolidLine, Qt::RoundCap));
        for (qreal y : {7.0, 10.0, 13.0})
            p.drawLine(QPointF(6.5, y), QPointF(13.5, y));
    });
}

int64_t saturatedSum(int64_t a, int64_t b) {
    int64_t out = 0;
    if (__builtin_add_overflow(a, b, &out))
        return std::numeric_limits<int64_t>::max();
    return out;
}

} // namespace

DataUsageBox::DataUsageBox(DataUsageProvider* provider, QWidget* parent)
    : QWidget(parent), provider_(provider ? provider : &DataUsageProvider::shared()),
      button_(new QToolButton(this)) {
    setFixedHeight(kHeight);
    setMouseTracking(true);
    button_->setAutoRaise(true);
    button_->setCursor(Qt::PointingHandCursor);
    button_->setIconSize(QSize(20, 20));
    button_->setFocusPolicy(Qt::TabFocus);
    button_->setIcon(appsIcon(DynamicColor::dynamicTintColor()));
    connect(button_, &QToolButton::clicked, this, [this] {
        if (buttonHandler)
            buttonHandler();
    });

    timeRange_ = dataUsageTimeRange();
    auto& center = NotificationCenter::defaultCenter();
    center.addObserver(this, QString::fromLatin1(DataUsageProvider::kDidUpdateNotificationName),
                       [this](const Notification&) { reloadData(); });
    center.addObserver(this, QString::fromLatin1(SettingsNotification::DataUsageTimeRangeChanged),
                       [this](const Notification&) {
                           timeRange_ = dataUsageTimeRange();
                           reloadData();
                       });
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        button_->setIcon(appsIcon(DynamicColor::dynamicTintColor()));
        rebuildTimeline();
        update();
    });
    reloadData();
}

QString DataUsageBox::amountText(int64_t kb) {
    return SpeedText::binaryAmountText(kb);
}

std::vector<QRectF> DataUsageBox::barFrames(const QRectF& chart,
                                            const std::vector<int64_t>& values) {
    std::vector<QRectF> frames;
    if (values.empty())
        return frames;
    const qreal n = static_cast<qreal>(values.size());
    const qreal barWidth = (chart.width() - (n - 1)) / n;
    const int64_t largest = std::max<int64_t>(0, *std::max_element(values.begin(), values.end()));
    const qreal room = chart.height() - kMinimumBarHeight;
    frames.reserve(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        const qreal share = largest > 0 ? static_cast<qreal>(std::max<int64_t>(0, values[i])) /
                                              static_cast<qreal>(largest)
                                        : 0.0;
        const qreal h = room * share + kMinimumBarHeight;
        frames.emplace_back(chart.left() + static_cast<qreal>(i) * (barWidth + 1),
                            chart.bottom() - h, barWidth, h);
    }
    return frames;
}

QRectF DataUsageBox::uploadChartRect() const {
    const qreal w = (width() - 2 * HomeStyle::kMargin - kChartGap) / 2.0;
    return QRectF(HomeStyle::kMargin, kChartTop, w, kChartHeight);
}

QRectF DataUsageBox::downloadChartRect() const {
    const QRectF left = uploadChartRect();
    return left.translated(left.width() + kChartGap, 0);
}

void DataUsageBox::reloadData() {
    data_ = timeRange_ == 1 ? provider_->last24HoursTimeline() : provider_->todayTimeline();
    sentSum_ = 0;
    receivedSum_ = 0;
    for (const DataUsageProvider::Atom& atom : data_) {
        sentSum_ = saturatedSum(sentSum_, atom.bytesOut);
        receivedSum_ = saturatedSum(receivedSum_, atom.bytesIn);
    }
    rebuildTimeline();
    update();
}

void DataUsageBox::rebuildTimeline() {
    timeline_.clear();
    const QColor zero = DynamicColor::dynamicSecondaryTextColor();
    const QColor some = DynamicColor::dynamicTintColor();
    for (bool upload : {true, false}) {
        std::vector<int64_t> values;
        values.reserve(data_.size());
        for (const DataUsageProvider::Atom& atom : data_)
            values.push_back(upload ? atom.bytesOut : atom.bytesIn);
        const auto frames = barFrames(upload ? uploadChartRect() : downloadChartRect(), values);
        for (size_t i = 0; i < frames.size(); ++i)
            timeline_.push_back(
                {frames[i], data_[i].timeIdentifier + QStringLiteral(": ") + amountText(values[i]),
                 values[i] > 0 ? some : zero});
    }
}

void DataUsageBox::setHover(const QString& text, const QColor& colour) {
    if (text == hoverText_ && colour == hoverColor_)
        return;
    hoverText_ = text;
    hoverColor_ = colour;
    update();
}

void DataUsageBox::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = event->position();
    for (const TimelineAtom& atom : timeline_) {
        if (atom.frame.contains(at)) {
            setHover(atom.text, atom.textColor);
            return;
        }
    }
    setHover(QString(), QColor());
}

void DataUsageBox::leaveEvent(QEvent*) {
    setHover(QString(), QColor());
}

void DataUsageBox::resizeEvent(QResizeEvent*) {
    button_->setGeometry(width() - HomeStyle::kMargin - 22, 4, 24, 24);
    rebuildTimeline();
}

void DataUsageBox::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::TextAntialiasing);
    // Hairline above the box, between it and the speeds.
    p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 0.5));
    p.drawLine(QPointF(HomeStyle::kMargin, 0.5), QPointF(width() - HomeStyle::kMargin, 0.5));

    const QRectF titleRect(HomeStyle::kMargin, 10, width() - 2 * HomeStyle::kMargin - 28, 14);
    const QString title = Language::getLocalizedString(QStringLiteral("DATA USAGE"));
    HomeStyle::drawHeading(p, titleRect, title);
    if (!hoverText_.isEmpty()) {
        const qreal titleWidth = QFontMetricsF(HomeStyle::headingFont()).horizontalAdvance(title);
        const QRectF hoverRect = titleRect.adjusted(titleWidth + 8, -1, 0, 0);
        const QFont font = HomeStyle::fitted(MenuDrawing::appFont(11, QFont::Medium), hoverText_,
                                             hoverRect.width());
        p.setFont(font);
        p.setPen(hoverColor_);
        p.drawText(hoverRect, Qt::AlignRight | Qt::AlignTop, hoverText_);
    }

    for (const TimelineAtom& atom : timeline_)
        p.fillRect(atom.frame, atom.textColor);

    // The sums: heading, line break, amount.
    const qreal sumsTop = kChartTop + kChartHeight + 10;
    const std::pair<const char*, int64_t> sums[] = {{"data.SENT", sentSum_},
                                                    {"data.RECEIVED", receivedSum_}};
    const QRectF columns[] = {uploadChartRect(), downloadChartRect()};
    for (int i = 0; i < 2; ++i) {
        const QRectF column(columns[i].left(), sumsTop, columns[i].width(), 14);
        HomeStyle::drawHeading(p, column,
                               Language::getLocalizedString(QLatin1String(sums[i].first)));
        const QString amount = amountText(sums[i].second);
        p.setFont(
            HomeStyle::fitted(MenuDrawing::appFont(17, QFont::DemiBold), amount, column.width()));
        p.setPen(DynamicColor::dynamicTextColor());
        p.drawText(QRectF(column.left(), sumsTop + 14, column.width(), 26),
                   Qt::AlignLeft | Qt::AlignVCenter, amount);
    }
}
