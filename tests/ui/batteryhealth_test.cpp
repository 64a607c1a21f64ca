// The battery health page rendered offscreen over a fake power-source layer.
#include "power/FakePowerSources.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "ui/BatteryHealthView.h"

#include <QImage>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// A loaded report of one battery at percentage with the given registry figures.
struct Laptop {
    std::shared_ptr<FakePowerSources> fake = std::make_shared<FakePowerSources>();
    YYSystemBatteryReport report;

    Laptop(int percentage, const QString& state, bool charging, double celsius)
        : report(
              fake, [] { return true; }, [] { return QDateTime::currentDateTime(); }) {
        fake->snap->descriptions = {FakePowerSources::battery(percentage, 100, state, charging)};
        fake->registry = QVariantMap{{"DesignCapacity", 6000},
                                     {"MaxCapacity", 5200},
                                     {"CurrentCapacity", 5200 * percentage / 100},
                                     {"CycleCount", 123},
                                     {"ExternalConnected", state == QLatin1String("AC Power")},
                                     {"IsCharging", charging},
                                     {"Temperature", qint64(std::llround(celsius * 100))}};
        report.loadReports();
    }
};

std::vector<nlohmann::json> noPoints() {
    return {};
}

QImage render(BatteryHealthView& view) {
    return view.grab().toImage().convertToFormat(QImage::Format_ARGB32);
}

// The colour at fraction of bar's length, on its middle line.
QColor at(const QImage& image, const QRectF& bar, double fraction) {
    return image.pixelColor(
        QPointF(bar.left() + bar.width() * fraction, bar.center().y()).toPoint());
}

bool near(const QColor& a, const QColor& b) {
    return std::abs(a.red() - b.red()) <= 8 && std::abs(a.green() - b.green()) <= 8 &&
           std::abs(a.blue() - b.blue()) <= 8;
}

} // namespace

TEST(BatteryHealthView, TemperatureGaugeFillsFrom25To45AndTurnsRedPastHalf) {
    struct Row {
        double celsius;
        double progress;
        bool red;
        const char* text;
    };
    const Row rows[] = {
        {30.0, 0.25, false, "30.0ºC/86.0ºF"}, {35.0, 0.5, false, "35.0ºC/95.0ºF"},
        {40.0, 0.75, true, "40.0ºC/104.0ºF"}, {20.0, 0.0, false, "20.0ºC/68.0ºF"},
        {25.0, 0.0, false, "25.0ºC/77.0ºF"},  {52.5, 1.0, true, "52.5ºC/126.5ºF"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.celsius);
        Laptop laptop(60, "Battery Power", false, r.celsius);
        BatteryHealthView view([&] { return &laptop.report; }, noPoints);
        EXPECT_DOUBLE_EQ(view.temperatureProgress(), r.progress);
        EXPECT_EQ(BatteryHealthView::temperatureText(r.celsius), QString::fromUtf8(r.text));

        const QImage image = render(view);
        const QRectF bar = view.temperatureBarRect();
        const QColor fill =
            r.red ? DynamicColor::dynamicStockRedColor() : DynamicColor::dynamicStockBlueColor();
        const QColor track = DynamicColor::dynamicSegmentedControlBackgroundColor();
        if (r.progress > 0) {
            EXPECT_TRUE(near(at(image, bar, r.progress / 2), fill));
        }
        if (r.progress < 1) {
            EXPECT_FALSE(near(at(image, bar, (r.progress + 1) / 2), fill));
        }
        EXPECT_FALSE(near(track, fill));
    }
    EXPECT_EQ(BatteryHealthView::temperatureProgressFor(std::nan("")), 0.0);
}

TEST(BatteryHealthView, CapacityGaugeIsRedBelow21PercentAndShowsTheDesignShare) {
    for (int percentage : {20, 21}) {
        SCOPED_TRACE(percentage);
        Laptop laptop(percentage, "Battery Power", false, 30);
        BatteryHealthView view([&] { return &laptop.report; }, noPoints);
        const int64_t current = 5200 * percentage / 100;
        EXPECT_DOUBLE_EQ(view.capacitiesProgress(), double(current) / 6000);
        ASSERT_TRUE(view.capacities());
        EXPECT_EQ(BatteryHealthView::capacitiesText(view.capacities()),
                  QString::fromUtf8("%1 • 5,200 • 6,000 mAh")
                      .arg(BatteryHealthView::capacityNumber(current)));
        const QColor expected = percentage < 21 ? DynamicColor::dynamicStockRedColor()
                                                : DynamicColor::dynamicStockBlueColor();
        EXPECT_TRUE(near(at(render(view), view.capacitiesBarRect(), view.capacitiesProgress() / 2),
                         expected));
    }
    EXPECT_EQ(BatteryHealthView::capacitiesText(std::nullopt), QString::fromUtf8("- • - • - mAh"));
    EXPECT_EQ(BatteryHealthView::capacitiesProgressFor(100, 0), 0.0);
    EXPECT_EQ(BatteryHealthView::capacitiesProgressFor(7000, 6000), 1.0);
}

TEST(BatteryHealthView, PowerSourceLineNamesAdapterAndHold) {
    auto text = [](const char* key) { return Language::getLocalizedString(QLatin1String(key)); };
    const QString prefix = text("batteryHealth.powerSource") + QLatin1String(": ");
    EXPECT_EQ(BatteryHealthView::powerSourceText(0),
              prefix + text("batteryHealth.powerSource.battery"));
    EXPECT_EQ(BatteryHealthView::powerSourceText(1),
              prefix + text("batteryHealth.powerSource.powerAdapter"));
    EXPECT_EQ(BatteryHealthView::powerSourceText(2),
              prefix + text("batteryHealth.powerSource.powerAdapter") + QString::fromUtf8(" • ") +
                  text("batteryHealth.powerSource.onHold"));
    EXPECT_EQ(BatteryHealthView::healthText(86.666), QStringLiteral("86.67%"));
}

TEST(BatteryHealthView, KeepsItsLastReportWhenTheNextCannotBeLoadedAndFollowsChanges) {
    Laptop laptop(60, "AC Power", true, 30);
    const YYSystemBatteryReport* source = nullptr;
    BatteryHealthView view([&] { return source; }, noPoints);
    // Nothing loaded yet: nothing at all is drawn over the background.
    EXPECT_FALSE(view.powerReport());
    const QImage empty = render(view);
    for (int y = 0; y < empty.height(); ++y)
        for (int x = 0; x < empty.width(); ++x)
            ASSERT_EQ(empty.pixel(x, y), empty.pixel(0, 0)) << x << "," << y;

    source = &laptop.report;
    NotificationCenter::defaultCenter().post(
        QStringLiteral("YYBatteryStateDidChangeNotificationName"));
    ASSERT_TRUE(view.powerReport());
    EXPECT_TRUE(view.isCharging());
    EXPECT_EQ(view.powerReport()->iops_battery_percentage(), 60);
    if (const QByteArray dir = qgetenv("LUMENSTAT_SCREENSHOTS"); !dir.isEmpty())
        render(view).save(QString::fromLocal8Bit(dir) + QStringLiteral("/items-battery-health.png"));

    // A report that did not load leaves the last one in place.
    auto unloaded = std::make_shared<FakePowerSources>();
    unloaded->snap.reset();
    YYSystemBatteryReport broken(unloaded, [] { return true; });
    broken.loadReports();
    source = &broken;
    view.reload();
    ASSERT_TRUE(view.powerReport());
    EXPECT_EQ(view.powerReport()->iops_battery_percentage(), 60);
}

TEST(BatteryHealthView, TitleAndDetailsChangeTheHeight) {
    Laptop laptop(60, "Battery Power", false, 30);
    BatteryHealthView view([&] { return &laptop.report; }, noPoints);
    const int full = view.height();
    std::vector<int> reported;
    QObject::connect(&view, &BatteryHealthView::heightChanged,
                     [&](int h) { reported.push_back(h); });
    view.setDrawsTitle(true);
    view.setDrawsDetails(false);
    view.setDrawsDetails(false);
    ASSERT_EQ(reported.size(), 2u); // the repeated switch changes nothing
    EXPECT_EQ(reported[0], full + BatteryHealthView::kTitleHeight);
    EXPECT_EQ(reported[1], view.height());
    EXPECT_LT(view.height(), full);
    EXPECT_FALSE(view.visualView()->isVisibleTo(&view));
}
