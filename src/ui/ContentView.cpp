#include "ContentView.h"

#include "menubar/MenuDrawing.h"
#include "menubar/StockView_T.h"
#include "network/SpeedText.h"
#include "platform/DecimalText.h"
#include "power/BatteryImage.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "system/CPUReader.h"

#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace {

constexpr size_t kStockLength = 15;
constexpr double kStockCornerRadius = 4;
constexpr double kIconSize = 15;
const QString kBulletSeparator = QStringLiteral(" \u2022 ");

uint64_t checkedSum(uint64_t a, uint64_t b) {
    uint64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("floating window: sent + received overflows (%llu + %llu)",
               static_cast<unsigned long long>(a), static_cast<unsigned long long>(b));
    return sum;
}

int64_t checkedSum(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("floating window: data total overflows (%lld + %lld)", static_cast<long long>(a),
               static_cast<long long>(b));
    return sum;
}

// A base-10 whole number, else 0 ("--", empty, "12.5").
uint64_t parsedLoad(const QString& text) {
    bool ok = false;
    const qulonglong v = text.toULongLong(&ok, 10);
    return ok ? v : 0;
}

QString speedText(uint64_t kb) {
    const SpeedText::ValueAndUnit v = SpeedText::fixed(kb);
    return v.value + QLatin1Char(' ') + v.unit;
}

QFont numberFont() {
    return MenuDrawing::appFont(15, QFont::Bold);
}
QFont unitFont() {
    return MenuDrawing::appFont(10, QFont::Medium);
}
QFont separatorFont() {
    return MenuDrawing::systemFont(15, QFont::Bold);
}
QFont detailFont() {
    return MenuDrawing::systemFont(8, QFont::Medium);
}
QFont headerFont() {
    return MenuDrawing::systemFont(13, QFont::Normal);
}

void appendFigure(std::vector<TextRun>& runs, const SpeedText::ValueAndUnit& figure) {
    runs.push_back({figure.value, numberFont()});
    runs.push_back({QLatin1Char(' ') + figure.unit, unitFont()});
}

// The Wi-Fi fan: three arcs over a dot, standing at the bottom centre of box.
QPainterPath wifiArcs(const QRectF& box) {
    QPainterPath path;
    const QPointF base(box.center().x(), box.bottom() - 2);
    for (double r : {4.0, 7.5, 11.0}) {
        const QRectF circle(base.x() - r, base.y() - r, 2 * r, 2 * r);
        path.arcMoveTo(circle, 135);
        path.arcTo(circle, 135, -90);
    }
    return path;
}

void drawWifiIcon(QPainter& p, const QRectF& box, bool noNetwork, const QColor& tint) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing, true);
    QColor arcs = tint;
    if (noNetwork)
        arcs.setAlphaF(tint.alphaF() * 0.35);
    p.setPen(QPen(arcs, 1.6, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawPath(wifiArcs(box));
    p.setPen(Qt::NoPen);
    p.setBrush(arcs);
    p.drawEllipse(QPointF(box.center().x(), box.bottom() - 2), 1.3, 1.3);
    if (noNetwork) {
        // The exclamation mark at the right edge.
        p.setBrush(tint);
        const double x = box.right() - 1.2;
        p.drawRoundedRect(QRectF(x - 0.9, box.top() + 3, 1.8, 6.5), 0.9, 0.9);
        p.drawEllipse(QPointF(x, box.top() + 12), 1.0, 1.0);
    }
    p.restore();
}

} // namespace

WindowMode windowModeFromStored(int64_t stored) {
    const auto value = static_cast<uint64_t>(stored);
    return value > 2 ? WindowMode::wide : static_cast<WindowMode>(value);
}

QSize windowSizeForMode(WindowMode mode) {
    return mode == WindowMode::wide ? QSize(252, 112) : QSize(132, 112);
}

ContentView::Sources ContentView::Sources::system() {
    Sources s;
    s.todayTotals = [] { return DataUsageProvider::shared().todayTotals(); };
    s.cpuRate = [] { return CPUReader::shared().cpuRate(); };
    s.cpuAverage = [] { return CPUReader::shared().avg(); };
    s.hasBattery = [] { return YYSystemBatteryReport::hasBattery(); };
    s.battery = []() -> std::optional<BatteryState> {
        const YYSystemBatteryReport& report = YYSystemBatteryReport::shareReport();
        if (!report.successedLoadBatteryReport())
            return std::nullopt;
        return BatteryState{report.iops_battery_percentage(), report.changring()};
    };
    s.now = [] { return QTime::currentTime(); };
    return s;
}

ContentView::ContentView(Sources sources, QWidget* parent)
    : QWidget(parent), sources_(std::move(sources)),
      topStock_(
          std::make_unique<StockView_T>(QString::fromLatin1(SettingsKey::StockFloatWindowNetwork))),
      btmStock_(
          std::make_unique<StockView_T>(QString::fromLatin1(SettingsKey::StockFloatWindowCPU))) {
    for (StockView_T* stock : {topStock_.get(), btmStock_.get()}) {
        stock->length = kStockLength;
        stock->cornerRadius = kStockCornerRadius;
        // No easing here: the window is on screen all day, and the frames of an eased step
        // cost about three times what the once-a-second redraw costs (the panel, open for
        // moments, eases its curves). A step redraws only the sparkline's own box.
        connect(stock, &StockView_T::needsDisplay, this,
                [this, stock] { QWidget::update(stockBox(*stock)); });
    }
    recolourStocks();
    refreshFigures();
    showTime_ = SettingsDomain::standard().boolValue(SettingsKey::FloatWindowWideModeShowTime);

    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsNotification::WindowWideModeShowsTimeDidChange),
        [this](const Notification&) { showTimeDidChange(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        recolourStocks();
        QWidget::update();
    });
}

ContentView::~ContentView() = default;

void ContentView::recolourStocks() {
    const DynamicAppearance& palette = DynamicAppearance::shared();
    topStock_->setLineColor(topStockRed_ ? palette.stockRedColor() : palette.stockGreenColor());
    btmStock_->setLineColor(palette.stockBlueColor());
}

void ContentView::update(const ActivityRecord& activity) {
    networkActivity_ = activity;
    if (windowMode_ != WindowMode::compactB && activity) {
        const NetActivities& pace = activity->paceActivities;
        topStockRed_ = pace.down < pace.up;
        recolourStocks();
        topStock_->append(checkedSum(pace.up, pace.down));
    }
    refreshFigures();
    btmStock_->append(parsedLoad(figures_.cpuRate));
    QWidget::update();
}

void ContentView::refreshFigures() {
    figures_.totals = sources_.todayTotals ? sources_.todayTotals() : DataUsageProvider::Atom{};
    figures_.cpuRate = sources_.cpuRate ? sources_.cpuRate() : QString();
    figures_.cpuAverage = sources_.cpuAverage ? sources_.cpuAverage() : std::nullopt;
    figures_.hasBattery = sources_.hasBattery && sources_.hasBattery();
    figures_.battery = figures_.hasBattery && sources_.battery ? sources_.battery() : std::nullopt;
    figures_.now = sources_.now ? sources_.now() : QTime::currentTime();
}

void ContentView::setWindowMode(WindowMode mode) {
    windowMode_ = mode;
    refreshFigures();
    layoutStocks();
    QWidget::update();
}

void ContentView::showTimeDidChange() {
    showTime_ = SettingsDomain::standard().boolValue(SettingsKey::FloatWindowWideModeShowTime);
    if (windowMode_ != WindowMode::wide)
        return;
    refreshFigures();
    QWidget::update();
}

QRectF ContentView::upperHalf() const {
    const double h = (height() - kHeaderBand) / 2;
    return {0, kHeaderBand, double(width()), h};
}

QRectF ContentView::lowerHalf() const {
    const QRectF upper = upperHalf();
    return {0, upper.bottom(), upper.width(), upper.height()};
}

QRectF ContentView::stockFrame(const QRectF& half) const {
    const double w = windowMode_ == WindowMode::wide ? 64 : 56;
    return {half.right() - w - 9, half.center().y() - kStockHeight / 2, w, kStockHeight};
}

void ContentView::layoutStocks() {
    topStock_->setFrame(stockFrame(upperHalf()));
    btmStock_->setFrame(stockFrame(lowerHalf()));
}

void ContentView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutStocks();
}

bool ContentView::hasNetwork() const {
    return !networkActivity_ || networkActivity_->netMode != NotReachable;
}

QString ContentView::titleText() const {
    if (!hasNetwork())
        return Language::getLocalizedString(QStringLiteral("NO NETWORK"));
    if (networkActivity_ && networkActivity_->ssid && !networkActivity_->ssid->isEmpty())
        return *networkActivity_->ssid;
    return Language::getLocalizedString(QStringLiteral("NETWORK"));
}

double ContentView::titleWidth() const {
    const double w = width();
    if (windowMode_ != WindowMode::wide)
        return w - kInset - 28;
    const bool clock = showTime_;
    double box = 0;
    if (figures_.hasBattery)
        box = clock ? w / 2 - kInset - 20 - 32 : w - 2 * kInset - 88;
    else
        box = w - 2 * kInset - (clock ? 80 : 0);
    // The box starts 20 points in; it never reaches past the right inset.
    return std::min(box, w - kInset - 20 - kInset);
}

ContentView::DottedRule ContentView::dottedRule(double width) {
    DottedRule rule;
    rule.count = 2;
    while ((width - 2.0 * rule.count) / (rule.count - 1) > 4)
        ++rule.count;
    rule.gap = (width - 2.0 * rule.count) / (rule.count - 1);
    return rule;
}

QString ContentView::megabyteText(int64_t kb) {
    if (kb < -1023)
        qFatal("floating window: data total of %lld KB", static_cast<long long>(kb));
    const int64_t mb = kb / 1024;
    if (mb <= 1024)
        return QString::number(mb) + QStringLiteral(" MB");
    return decimalText(static_cast<double>(mb) / 1024.0, 2) + QStringLiteral(" GB");
}

QString ContentView::networkLine() const {
    const NetActivities pace =
        networkActivity_ ? networkActivity_->paceActivities : NetActivities{};
    if (windowMode_ == WindowMode::compactA)
        return speedText(checkedSum(pace.up, pace.down));
    return speedText(pace.up) + kBulletSeparator + speedText(pace.down);
}

QString ContentView::networkDetailLine() const {
    const DataUsageProvider::Atom& totals = figures_.totals;
    QString text;
    if (windowMode_ == WindowMode::compactA) {
        text = megabyteText(checkedSum(totals.bytesOut, totals.bytesIn));
    } else {
        text = megabyteText(totals.bytesOut) + kBulletSeparator + megabyteText(totals.bytesIn);
        if (windowMode_ == WindowMode::wide) {
            const NetActivities avg = networkActivity_
                                          ? networkActivity_->avgActivitiesForLastSeconds(15)
                                          : NetActivities{};
            text += kBulletSeparator + QStringLiteral("AVG: ") +
                    speedText(checkedSum(avg.up, avg.down));
        }
    }
    return Language::getLocalizedString(text);
}

QString ContentView::cpuLine() const {
    const QString& rate = figures_.cpuRate;
    QString text = (rate.isEmpty() ? QStringLiteral("--") : rate) + QStringLiteral(" %");
    if (windowMode_ == WindowMode::wide && CPUReader::canReadTemperature())
        text += kBulletSeparator + decimalText(CPUReader::shared().cpuTemperature(), 1) +
                QStringLiteral(" \u00BAC");
    return text;
}

QString ContentView::cpuDetailLine() const {
    const std::optional<QString>& avg = figures_.cpuAverage;
    const QString usage = Language::getLocalizedString(QStringLiteral("CPU USAGE"));
    const QString average = avg ? QStringLiteral("AVG: ") + *avg + QStringLiteral("%") : QString();
    if (windowMode_ == WindowMode::wide)
        return usage + kBulletSeparator + average;
    return avg ? average : usage;
}

QRect ContentView::stockBox(const StockView_T& stock) const {
    // The line's width and anti-aliasing reach a little past the frame.
    return stock.frame().toAlignedRect().adjusted(-2, -2, 2, 2);
}

void ContentView::paintEvent(QPaintEvent* event) {
    const DynamicAppearance& palette = DynamicAppearance::shared();
    const QColor text = palette.textColor();
    const double w = width();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setRenderHint(QPainter::TextAntialiasing, true);

    // Animation frames: nothing but the sparklines lies in their boxes.
    const QRegion stocks = QRegion(stockBox(*topStock_)) | QRegion(stockBox(*btmStock_));
    if ((stocks & event->region()) == event->region()) {
        if (!topStockHidden())
            topStock_->paint(p);
        btmStock_->paint(p);
        return;
    }

    // Header.
    drawWifiIcon(p, QRectF(kInset, kInset + 1.5, kIconSize, kIconSize), !hasNetwork(), text);
    const QFont header = headerFont();
    const QFontMetricsF hm(header);
    p.setFont(header);
    p.setPen(text);
    const double titleBox = std::max(0.0, titleWidth());
    p.drawText(QRectF(kInset + 20, kInset, titleBox, 44), Qt::AlignLeft | Qt::AlignTop,
               hm.elidedText(titleText(), Qt::ElideRight, titleBox));

    if (windowMode_ == WindowMode::wide) {
        const bool battery = figures_.hasBattery;
        if (showTime_) {
            const QString clock = figures_.now.toString(QStringLiteral("HH:mm:ss"));
            const double cw = hm.horizontalAdvance(clock);
            const double x = battery ? w / 2 - cw / 2 : w - kInset - cw;
            p.drawText(QPointF(x, 8 + hm.ascent()), clock);
        }
        const std::optional<BatteryState> state = battery ? figures_.battery : std::nullopt;
        if (state) {
            const QRectF image(w - kInset - kBatteryWidth, 9, kBatteryWidth, kBatteryHeight);
            BatteryImage::draw(p, image, double(state->percentage), state->charging,
                               palette.isDarkMode());
            const QString percent = QString::number(state->percentage) + QLatin1Char('%');
            p.setPen(text);
            p.setFont(header);
            p.drawText(QPointF(w - kInset - hm.horizontalAdvance(percent) - 30, 8 + hm.ascent()),
                       percent);
        }
    }

    // The dotted rule at the middle of the body.
    const QRectF upper = upperHalf();
    const QRectF lower = lowerHalf();
    const DottedRule rule = dottedRule(w - 2 * kInset);
    p.setPen(Qt::NoPen);
    p.setBrush(palette.separatorColor());
    for (int i = 0; i < rule.count; ++i)
        p.drawRect(QRectF(kInset + i * (2 + rule.gap), upper.bottom() - 1, 2, 2));

    // Both halves: a large line ending 6 points below the half's middle, a small one
    // starting 3 points below it. Text that would run into the sparkline is narrowed.
    const auto drawHalf = [&](const QRectF& half, std::vector<TextRun> runs, const QString& small,
                              const StockView_T* stock) {
        MenuLabel large;
        large.runs = std::move(runs);
        large.anchor = MenuLabel::Anchor::BottomLeft;
        large.origin = QPointF(kInset, half.center().y() + 6);
        const double room = (stock ? stock->frame().left() - 4 : w - kInset) - kInset;
        large.maxWidth = room;
        large.paint(p, text);
        MenuLabel detail;
        detail.setText(small, detailFont());
        detail.origin = QPointF(kInset, half.center().y() + 3);
        detail.maxWidth = room;
        detail.paint(p, text);
    };

    std::vector<TextRun> net;
    const NetActivities pace =
        networkActivity_ ? networkActivity_->paceActivities : NetActivities{};
    if (windowMode_ == WindowMode::compactA) {
        appendFigure(net, SpeedText::fixed(checkedSum(pace.up, pace.down)));
    } else {
        appendFigure(net, SpeedText::fixed(pace.up));
        net.push_back({kBulletSeparator, separatorFont()});
        appendFigure(net, SpeedText::fixed(pace.down));
    }
    drawHalf(upper, std::move(net), networkDetailLine(), topStockHidden() ? nullptr : &*topStock_);

    std::vector<TextRun> cpu;
    const QString& rate = figures_.cpuRate;
    cpu.push_back({rate.isEmpty() ? QStringLiteral("--") : rate, numberFont()});
    cpu.push_back({QStringLiteral(" %"), unitFont()});
    if (windowMode_ == WindowMode::wide && CPUReader::canReadTemperature()) {
        cpu.push_back({kBulletSeparator, separatorFont()});
        cpu.push_back({decimalText(CPUReader::shared().cpuTemperature(), 1), numberFont()});
        cpu.push_back({QStringLiteral(" \u00BAC"), unitFont()});
    }
    drawHalf(lower, std::move(cpu), cpuDetailLine(), &*btmStock_);

    if (!topStockHidden())
        topStock_->paint(p);
    btmStock_->paint(p);
}
