#include "BatteryHealthView.h"

#include "BatteryBox.h"
#include "HomeStyle.h"
#include "platform/DecimalText.h"
#include "power/BatteryImage.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QLocale>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal kMargin = HomeStyle::kMargin;
constexpr qreal kGap = 8;
// Rows below the title: the charge, the power source, the figure boxes, the chart.
constexpr qreal kChargeTop = 6;
constexpr qreal kChargeHeight = 48;
constexpr qreal kSourceTop = 58;
constexpr qreal kSummaryHeight = 84;
constexpr qreal kSmallBoxHeight = 50;
constexpr qreal kWideBoxHeight = 62;
constexpr qreal kGridHeight = kSmallBoxHeight + 2 * (kGap + kWideBoxHeight);

const QString kDegree = QString(QChar(0x00BA)); // as the figures have always been written

enum Box { CycleBox, HealthBox, AgeBox, TemperatureBox, CapacitiesBox };

QColor gaugeBlue() {
    return DynamicColor::dynamicStockBlueColor();
}

QColor gaugeRed() {
    return DynamicColor::dynamicStockRedColor();
}

} // namespace

BatteryHealthView::BatteryHealthView(ReportSource report, BatteryChartView::DatasetSource chart,
                                     QWidget* parent)
    : QWidget(parent), report_(std::move(report)), chart_(new BatteryBox(std::move(chart), this)) {
    if (!report_)
        report_ = [] { return &YYSystemBatteryReport::shareReport(); };
    setFixedSize(kWidth, preferredHeight());
    NotificationCenter::defaultCenter().addObserver(
        this, QStringLiteral("YYBatteryStateDidChangeNotificationName"),
        [this](const Notification&) { reload(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
    placeChart();
    reload();
}

BatteryChartView* BatteryHealthView::visualView() const {
    return chart_->visualView();
}

void BatteryHealthView::reload() {
    const YYSystemBatteryReport* report = report_();
    if (!report || !report->successedLoadBatteryReport())
        return;
    powerReport_ = *report;
    isCharging_ = report->batteryStatus() == 1;
    auto text = [](std::optional<int64_t> v) { return v ? capacityNumber(*v) : QString(); };
    capacities_ = Capacities{text(report->currentCapacity()), text(report->fullCapacity()),
                             text(report->maxCapacity())};
    temperatureProgress_ = temperatureProgressFor(report->temperature().value_or(0));
    capacitiesProgress_ = capacitiesProgressFor(report->currentCapacity(), report->maxCapacity());
    placeChart();
    update();
}

void BatteryHealthView::setDrawsTitle(bool draws) {
    if (drawsTitle_ == draws)
        return;
    drawsTitle_ = draws;
    setFixedSize(kWidth, preferredHeight());
    placeChart();
    emit heightChanged(height());
}

void BatteryHealthView::setDrawsDetails(bool draws) {
    if (drawsDetails_ == draws)
        return;
    drawsDetails_ = draws;
    setFixedSize(kWidth, preferredHeight());
    placeChart();
    emit heightChanged(height());
}

int BatteryHealthView::preferredHeight() const {
    return (drawsTitle_ ? kTitleHeight : 0) + (drawsDetails_ ? kHeight : int(kSummaryHeight));
}

qreal BatteryHealthView::top() const {
    return drawsTitle_ ? kTitleHeight : 0;
}

void BatteryHealthView::placeChart() {
    chart_->setVisible(drawsDetails_ && powerReport_);
    const qreal y = top() + kSummaryHeight + kGridHeight + kGap;
    chart_->setGeometry(0, int(y), kWidth, BatteryBox::kHeight);
}

void BatteryHealthView::showEvent(QShowEvent*) {
    reload();
}

void BatteryHealthView::resizeEvent(QResizeEvent*) {
    placeChart();
}

// --- rules ---

double BatteryHealthView::temperatureProgressFor(double celsius) {
    const double progress = (celsius - 25.0) / 20.0;
    if (!(progress > 0))
        return 0;
    return std::min(progress, 1.0);
}

QString BatteryHealthView::temperatureText(double celsius) {
    const float fahrenheit = float(celsius) * 1.8f + 32.0f;
    return decimalText(celsius, 1) + kDegree + QLatin1String("C/") + decimalText(fahrenheit, 1) +
           kDegree + QLatin1Char('F');
}

QString BatteryHealthView::powerSourceText(int batteryStatus) {
    QString line = Language::getLocalizedString(QStringLiteral("batteryHealth.powerSource")) +
                   QLatin1String(": ");
    if (batteryStatus == 0)
        return line +
               Language::getLocalizedString(QStringLiteral("batteryHealth.powerSource.battery"));
    line += Language::getLocalizedString(QStringLiteral("batteryHealth.powerSource.powerAdapter"));
    if (batteryStatus == 2)
        line += QString::fromUtf8(" • ") +
                Language::getLocalizedString(QStringLiteral("batteryHealth.powerSource.onHold"));
    return line;
}

QString BatteryHealthView::healthText(double health) {
    return decimalText(health, 2) + QLatin1Char('%');
}

QString BatteryHealthView::capacityNumber(int64_t mAh) {
    return QLocale(QLocale::English).toString(qlonglong(mAh));
}

QString BatteryHealthView::capacitiesText(const std::optional<Capacities>& capacities) {
    const QString dash = QStringLiteral("-");
    auto part = [&](const QString& s) { return s.isEmpty() ? dash : s; };
    const QString sep = QString::fromUtf8(" • ");
    if (!capacities)
        return dash + sep + dash + sep + dash + QLatin1String(" mAh");
    return part(capacities->current) + sep + part(capacities->full) + sep + part(capacities->max) +
           QLatin1String(" mAh");
}

double BatteryHealthView::capacitiesProgressFor(std::optional<int64_t> current,
                                                std::optional<int64_t> design) {
    if (!current || !design || *design <= 0)
        return 0;
    return std::clamp(double(*current) / double(*design), 0.0, 1.0);
}

QColor BatteryHealthView::temperatureBarColor(double progress) {
    return progress <= 0.5 ? gaugeBlue() : gaugeRed();
}

QColor BatteryHealthView::capacitiesBarColor(int64_t percentage) {
    return percentage < 21 ? gaugeRed() : gaugeBlue();
}

// --- drawing ---

QRectF BatteryHealthView::boxRect(int index) const {
    const qreal gridTop = top() + kSummaryHeight;
    const qreal inner = kWidth - 2 * kMargin;
    if (index <= AgeBox) {
        const qreal w = (inner - 2 * kGap) / 3;
        return QRectF(kMargin + index * (w + kGap), gridTop, w, kSmallBoxHeight);
    }
    const qreal y =
        gridTop + kSmallBoxHeight + kGap + (index - TemperatureBox) * (kWideBoxHeight + kGap);
    return QRectF(kMargin, y, inner, kWideBoxHeight);
}

QRectF BatteryHealthView::temperatureBarRect() const {
    const QRectF box = boxRect(TemperatureBox);
    return QRectF(box.left() + 10, box.top() + 40, box.width() - 20, 6);
}

QRectF BatteryHealthView::capacitiesBarRect() const {
    const QRectF box = boxRect(CapacitiesBox);
    return QRectF(box.left() + 10, box.top() + 40, box.width() - 20, 6);
}

void BatteryHealthView::drawBox(QPainter& p, int index, const QString& label,
                                const QString& value) const {
    const QRectF box = boxRect(index);
    QPainterPath background;
    background.addRoundedRect(box, 8, 8);
    p.fillPath(background, DynamicColor::dynamicTableSecondaryBackgroundColor());
    const QRectF labelRect = box.adjusted(10, 8, -10, 0);
    p.setFont(HomeStyle::fitted(HomeStyle::headingFont(), label, labelRect.width()));
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(labelRect, Qt::AlignLeft | Qt::AlignTop, label);
    const QRectF valueRect(box.left() + 10, box.top() + 20, box.width() - 20, 20);
    p.setFont(HomeStyle::fitted(MenuDrawing::appFont(15, QFont::Bold), value, valueRect.width()));
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(valueRect, Qt::AlignLeft | Qt::AlignVCenter, value);
}

void BatteryHealthView::drawGauge(QPainter& p, const QRectF& bar, double progress,
                                  const QColor& colour) const {
    QPainterPath track;
    track.addRoundedRect(bar, bar.height() / 2, bar.height() / 2);
    p.fillPath(track, DynamicColor::dynamicSegmentedControlBackgroundColor());
    if (progress > 0) {
        QPainterPath filled;
        filled.addRect(QRectF(bar.left(), bar.top(), bar.width() * progress, bar.height()));
        p.fillPath(track.intersected(filled), colour);
    }
}

void BatteryHealthView::paintEvent(QPaintEvent*) {
    if (!powerReport_)
        return;
    const YYSystemBatteryReport& report = *powerReport_;
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const qreal y0 = top();
    const qreal inner = kWidth - 2 * kMargin;

    if (drawsTitle_)
        HomeStyle::drawHeading(p, QRectF(kMargin, 8, inner, 14),
                               Language::getLocalizedString(QStringLiteral("battery.title")));

    // The charge, moved right past the bolt while charging.
    qreal x = kMargin;
    if (isCharging_) {
        const QRectF boltBox(x - 4, y0 + kChargeTop + 8, 24, 34);
        p.fillPath(BatteryImage::boltPath(boltBox), DynamicColor::dynamicTintColor());
        x += 20;
    }
    const QString percentage =
        QString::number(report.iops_battery_percentage()) + QLatin1String(" %");
    p.setFont(MenuDrawing::appFont(34, QFont::Bold));
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(QRectF(x, y0 + kChargeTop, inner / 2 + kMargin - x + 20, kChargeHeight),
               Qt::AlignLeft | Qt::AlignVCenter, percentage);

    // The time box on the right of the charge.
    const QRectF timeRect(kWidth / 2.0 + 16, y0 + kChargeTop + 6, inner / 2 - 16, 36);
    const QString timeTitle = Language::getLocalizedString(report.iops_timeRemainingTitle());
    const QString timeBody = Language::getLocalizedString(report.iops_timeRemainingBody());
    p.setFont(
        HomeStyle::fitted(MenuDrawing::systemFont(9, QFont::Bold), timeTitle, timeRect.width()));
    p.setPen(QColor::fromRgbF(34 / 255.0f, 164 / 255.0f, 50 / 255.0f));
    p.drawText(timeRect, Qt::AlignRight | Qt::AlignTop, timeTitle);
    p.setFont(
        HomeStyle::fitted(MenuDrawing::appFont(15, QFont::DemiBold), timeBody, timeRect.width()));
    p.setPen(DynamicColor::dynamicTextColor());
    p.drawText(timeRect, Qt::AlignRight | Qt::AlignBottom, timeBody);

    // The power source line.
    const QString source = powerSourceText(report.batteryStatus());
    const QRectF sourceRect(kMargin, y0 + kSourceTop, inner, 16);
    p.setFont(HomeStyle::fitted(MenuDrawing::systemFont(11, QFont::Medium), source, inner));
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(sourceRect, Qt::AlignLeft | Qt::AlignVCenter, source);

    if (!drawsDetails_)
        return;

    auto key = [](const char* k) { return Language::getLocalizedString(QLatin1String(k)); };
    drawBox(p, CycleBox, key("batteryHealth.metadata.cycle"), QString::number(report.cycleCount()));
    drawBox(p, HealthBox, key("batteryHealth.metadata.health"),
            report.health() && std::isfinite(*report.health()) ? healthText(*report.health())
                                                               : QStringLiteral("-"));
    drawBox(p, AgeBox, key("batteryHealth.metadata.age"),
            // A gauge without a date reads 0, which decodes to 1980.
            report.manufactureDate().isValid() && report.manufactureDate().date().year() > 1980
                ? key("batteryHealth.age.days")
                      .replace(QLatin1String("{count}"), QString::number(report.age()))
                : QStringLiteral("-"));

    const double celsius = report.temperature().value_or(0);
    drawBox(p, TemperatureBox, key("batteryHealth.metadata.temperature"),
            std::isfinite(celsius) ? temperatureText(celsius) : QStringLiteral("-"));
    const QRectF tBar = temperatureBarRect();
    drawGauge(p, tBar, temperatureProgress_, temperatureBarColor(temperatureProgress_));
    p.setFont(MenuDrawing::systemFont(8, QFont::Medium));
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    const QRectF scale(tBar.left(), tBar.bottom() + 1, tBar.width(), 11);
    p.drawText(scale, Qt::AlignLeft | Qt::AlignTop, QStringLiteral("25"));
    p.drawText(scale, Qt::AlignRight | Qt::AlignTop,
               QLatin1String("45") + kDegree + QLatin1Char('C'));

    drawBox(p, CapacitiesBox, key("batteryHealth.metadata.capacities"),
            capacitiesText(capacities_));
    drawGauge(p, capacitiesBarRect(), capacitiesProgress_,
              capacitiesBarColor(report.iops_battery_percentage()));
}
