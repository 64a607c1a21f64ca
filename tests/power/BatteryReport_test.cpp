#include "FakePowerSources.h"
#include "platform/linux/LinuxPowerSupply.h"
#include "power/YYSystemBatteryReport.h"

#include <QDate>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

const QString kFixtures = QStringLiteral(LUMENSTAT_FIXTURES_DIR "/power_supply/");
const QDateTime kNow(QDate(2025, 3, 25), QTime(12, 0));

struct FixtureReport {
    std::shared_ptr<LinuxPowerSupply> source;
    std::unique_ptr<YYSystemBatteryReport> report;
    bool present = false;
};

// A report over one fixture tree, gated by the presence rule applied to that tree.
FixtureReport loadFixture(const QString& name) {
    FixtureReport f;
    f.source = std::make_shared<LinuxPowerSupply>(kFixtures + name);
    f.present = YYSystemBatteryReport::presenceIn(*f.source);
    const bool present = f.present;
    f.report = std::make_unique<YYSystemBatteryReport>(
        f.source, [present] { return present; }, [] { return kNow; });
    f.report->loadReports();
    return f;
}

std::unique_ptr<YYSystemBatteryReport> reportOver(std::shared_ptr<FakePowerSources> fake,
                                                  bool present = true) {
    return std::make_unique<YYSystemBatteryReport>(
        fake, [present] { return present; }, [] { return kNow; });
}

// A fake with one present battery at `percentage` and an empty registry.
std::shared_ptr<FakePowerSources> onBattery(int percentage, double estimate = -1) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    fake->snap->descriptions = {FakePowerSources::battery(percentage, 100, "Battery Power", false)};
    fake->snap->timeRemainingEstimate = estimate;
    return fake;
}

} // namespace

// --- fixture trees read through the report ---------------------------------------------

TEST(BatteryReportFixtures, CapacitiesStateAndTimeTextPerFixture) {
    struct Row {
        const char* fixture;
        int status, percentage;
        int64_t max, full, current, amperage, voltage;
        const char *title, *body;
    };
    const Row rows[] = {
        {"laptop_discharging", 0, 50, 4382, 3812, 1906, -1500, 12000, "timeRemaining", "01:16"},
        // The missing 1906 mAh at a 1906 mA charging current: one hour.
        {"laptop_charging", 1, 50, 4382, 3812, 1906, 1906, 12000, "untilFull", "01:00"},
        {"laptop_full", 2, 100, 4382, 3812, 3812, 0, 12000, "connectedAC",
         "battery.powerSourceState.full"},
        // 57, 51.3 and 25.65 Wh at the 11.4 V design voltage; 9 W at 11.8 V; 25.65 Wh at
        // 9 W; the percentage from energy_now / energy_full without a capacity file.
        {"energy_battery", 0, 50, 5000, 4500, 2250, -762, 11800, "timeRemaining", "02:51"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.fixture);
        auto f = loadFixture(row.fixture);
        const auto& r = *f.report;
        ASSERT_TRUE(f.present);
        ASSERT_TRUE(r.successedLoadBatteryReport());
        EXPECT_EQ(r.batteryStatus(), row.status);
        EXPECT_EQ(r.changring(), row.status == 1);
        EXPECT_EQ(r.fulled(), row.status == 2);
        EXPECT_EQ(r.connectedAC(), row.status != 0);
        EXPECT_EQ(r.iops_battery_percentage(), row.percentage);
        EXPECT_EQ(r.maxCapacity(), row.max);
        EXPECT_EQ(r.fullCapacity(), row.full);
        EXPECT_EQ(r.currentCapacity(), row.current);
        EXPECT_EQ(r.amperage(), row.amperage);
        EXPECT_EQ(r.voltage(), row.voltage);
        EXPECT_EQ(r.iops_timeRemainingTitle(),
                  QStringLiteral("battery.powerSourceState.") + row.title);
        EXPECT_EQ(r.iops_timeRemainingBody(), row.body);
    }
}

TEST(BatteryReportFixtures, DerivedValues) {
    const auto f = loadFixture("laptop_discharging");
    const auto& r = *f.report;
    EXPECT_DOUBLE_EQ(*r.power(), -18.0);
    EXPECT_DOUBLE_EQ(*r.temperature(), 30.1);
    EXPECT_NEAR(*r.health(), 86.99, 0.01);
    EXPECT_EQ(r.cycleCount(), 123u);
    EXPECT_EQ(r.manufactureDate().date(), QDate(2025, 3, 15));
    EXPECT_EQ(r.age(), 10);
    EXPECT_EQ(r.iops_healthCondition(), "Good");
    // 1906 mAh x 12 V left at 18 W: 4574 s; -2 while charging.
    EXPECT_NEAR(r.iops_timeRemainingEstimate(), 4574.4, 0.01);
    EXPECT_DOUBLE_EQ(loadFixture("laptop_charging").report->iops_timeRemainingEstimate(), -2.0);

    const auto energy = loadFixture("energy_battery");
    EXPECT_NEAR(*energy.report->health(), 90.0, 1e-4);
    // No manufacture date in the tree: year 1980, month 0, day 0 as a calendar settles it.
    EXPECT_EQ(energy.report->manufactureDate().date(), QDate(1979, 11, 30));
}

TEST(BatteryReportFixtures, NoBatteryTrees) {
    auto desktop = loadFixture("desktop_mains");
    EXPECT_FALSE(desktop.present);
    EXPECT_FALSE(desktop.report->successedLoadBatteryReport());
    // The power-source fields are not touched when the registry part fails.
    EXPECT_EQ(desktop.report->iops_timeRemainingTitle(), "");
    EXPECT_FALSE(desktop.source->batteryRegistry().has_value());

    // Peripheral batteries are not power sources.
    auto peripheral = loadFixture("device_scope");
    EXPECT_FALSE(peripheral.present);
    auto snap = peripheral.source->snapshot();
    ASSERT_TRUE(snap);
    EXPECT_TRUE(snap->descriptions.empty());

    LinuxPowerSupply missing(kFixtures + "no_such_tree");
    EXPECT_FALSE(missing.snapshot().has_value());
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(missing));
}

TEST(BatteryReportFixtures, TwoBatteriesSumTheirTimeAndTheFirstFeedsTheRegistry) {
    auto f = loadFixture("two_batteries");
    const auto& r = *f.report;
    ASSERT_TRUE(r.successedLoadBatteryReport());
    auto snap = f.source->snapshot();
    ASSERT_EQ(snap->descriptions.size(), 2u);
    EXPECT_EQ(snap->descriptions[0].value("Name").toString(), "BAT0");
    EXPECT_EQ(snap->descriptions[1].value("Name").toString(), "BAT1");
    EXPECT_EQ(r.iops_battery_percentage(), 80); // the first present source
    EXPECT_EQ(r.maxCapacity(), 2162);           // BAT0: 24 Wh at 11.1 V
    // 18.4 Wh + 28 Wh at 6 W + 4 W: 4.64 h.
    EXPECT_NEAR(r.iops_timeRemainingEstimate(), 16704.0, 0.5);
    EXPECT_EQ(r.iops_timeRemainingBody(), "04:38");
}

TEST(BatteryReportFixtures, MissingAttributesFallBackToThePercentage) {
    auto f = loadFixture("missing_attributes");
    const auto& r = *f.report;
    ASSERT_TRUE(f.present); // no "present" attribute: the battery is there
    ASSERT_TRUE(r.successedLoadBatteryReport());
    EXPECT_EQ(r.iops_battery_percentage(), 42);
    // The capacities are always there, at 0 when unknown; percentages rescale against nothing.
    EXPECT_EQ(r.maxCapacity(), 0);
    EXPECT_EQ(r.fullCapacity(), 0);
    EXPECT_EQ(r.currentCapacity(), 0);
    EXPECT_FALSE(r.amperage().has_value());
    EXPECT_FALSE(r.voltage().has_value());
    EXPECT_TRUE(std::isnan(*r.health()));
    EXPECT_DOUBLE_EQ(*r.temperature(), 0.0);
    EXPECT_DOUBLE_EQ(*r.power(), 0.0);
    EXPECT_DOUBLE_EQ(r.iops_timeRemainingEstimate(), -1.0);
    EXPECT_EQ(r.iops_timeRemainingBody(), "battery.powerSourceState.calculating");
    EXPECT_EQ(r.iops_healthCondition(), "");
    // Absent values print as (null) in the debug text.
    EXPECT_TRUE(r.debugDescription().contains("\nvoltage: (null)\n"));
}

// --- presence rule and registry arithmetic ----------------------------------------------

TEST(BatteryPresence, TheLastListedSourceDecides) {
    FakePowerSources fake;
    auto present = [](bool v) { return QVariantMap{{"Is Present", v}}; };
    fake.snap->descriptions = {present(true), present(false)};
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap->descriptions = {present(false), present(true)};
    EXPECT_TRUE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap->descriptions = {};
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap.reset();
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
}

TEST(BatteryReportRegistry, PercentagesAreRescaledOnlyWhenBothFitInAHundred) {
    struct Row {
        int max, current, full, expectedCurrent;
    };
    // Design capacity 4382 throughout.
    const Row rows[] = {{87, 50, 3812, 1906}, {4000, 90, 4000, 90}, {100, 100, 4382, 4382}};
    auto fake = std::make_shared<FakePowerSources>();
    auto r = reportOver(fake);
    for (const Row& row : rows) {
        fake->registry = QVariantMap{
            {"MaxCapacity", row.max}, {"CurrentCapacity", row.current}, {"DesignCapacity", 4382}};
        ASSERT_TRUE(r->loadBatteryInfos());
        EXPECT_EQ(r->fullCapacity(), row.full) << row.max;
        EXPECT_EQ(r->currentCapacity(), row.expectedCurrent) << row.max;
    }
    EXPECT_NEAR(*r->health(), 100.0, 1e-9);

    // Hundredths of a degree; a design capacity of 0 is stored as an infinite health.
    fake->registry =
        QVariantMap{{"Temperature", 3012}, {"DesignCapacity", 0}, {"MaxCapacity", 3000}};
    ASSERT_TRUE(r->loadBatteryInfos());
    EXPECT_DOUBLE_EQ(*r->temperature(), 30.12);
    EXPECT_TRUE(std::isinf(*r->health()));
}

TEST(BatteryReportRegistry, FailedLoadKeepsTheOldValues) {
    auto fake = onBattery(60);
    fake->registry = QVariantMap{{"CycleCount", 12},
                                 {"DesignCapacity", 5000},
                                 {"MaxCapacity", 4000},
                                 {"CurrentCapacity", 3000}};
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadReports());
    fake->registry.reset();
    EXPECT_FALSE(r->loadReports());
    EXPECT_FALSE(r->successedLoadBatteryReport());
    EXPECT_EQ(r->cycleCount(), 12u);
    EXPECT_EQ(r->fullCapacity(), 4000);
    EXPECT_EQ(r->batteryStatus(), 0);

    // Without a battery nothing is read at all.
    auto absent = std::make_shared<FakePowerSources>();
    absent->registry = QVariantMap{{"CycleCount", 12}};
    auto none = reportOver(absent, false);
    EXPECT_FALSE(none->loadReports());
    EXPECT_EQ(none->cycleCount(), 0u);
    EXPECT_EQ(absent->snapshotCalls, 0);
}

TEST(BatteryReportRegistry, StatusNeedsExternalPower) {
    auto fake = std::make_shared<FakePowerSources>();
    auto r = reportOver(fake);
    const std::tuple<bool, bool, int> rows[] = {
        {true, true, 1}, {true, false, 2}, {false, true, 0}};
    for (auto [external, charging, status] : rows) {
        fake->registry = QVariantMap{{"ExternalConnected", external}, {"IsCharging", charging}};
        r->loadReports();
        EXPECT_EQ(r->batteryStatus(), status) << external << charging;
    }
}

// --- power-source title and body ---------------------------------------------------------

TEST(BatteryReportTimeText, TitleAndBodyDecision) {
    struct TimeCase {
        double estimate;
        const char* state;
        QVariant charging; // invalid: key absent
        qint64 minutesToFull;
        bool fulled;
        const char* title;
        const char* body;
    };
    const TimeCase cases[] = {
        {59, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {60, "Battery Power", false, 0, false, "timeRemaining", "00:01"},
        {3599, "Battery Power", false, 0, false, "timeRemaining", "00:59"},
        {3600, "Battery Power", false, 0, false, "timeRemaining", "01:00"},
        {468000, "Battery Power", false, 0, false, "timeRemaining", "130:00"},
        {-1, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {-2, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {-2, "AC Power", true, 75, false, "untilFull", "01:15"},
        {-2, "AC Power", true, 0, false, "untilFull", "calculating"},
        {-2, "AC Power", true, -1, false, "untilFull", "calculating"},
        {-2, "AC Power", false, 0, true, "connectedAC", "full"},
        {-2, "AC Power", false, 0, false, "connectedAC", "onHold"},
        // Without an "Is Charging" value the first rule does not apply.
        {-2, "Battery Power", QVariant(), 0, false, "connectedAC", "onHold"},
        // An unknown estimate while on external power falls to the clock rule.
        {-1, "AC Power", true, 30, false, "timeRemaining", "calculating"},
    };
    for (const TimeCase& c : cases) {
        auto fake = onBattery(50, c.estimate);
        fake->registry = QVariantMap{{"FullyCharged", c.fulled}};
        QVariantMap& d = fake->snap->descriptions[0];
        d["Power Source State"] = c.state;
        if (c.charging.isValid())
            d["Is Charging"] = c.charging;
        else
            d.remove("Is Charging");
        d["Time to Full Charge"] = c.minutesToFull;
        auto r = reportOver(fake);
        ASSERT_TRUE(r->loadReports());
        SCOPED_TRACE(
            QStringLiteral("estimate %1 state %2").arg(c.estimate).arg(c.state).toStdString());
        EXPECT_EQ(r->iops_timeRemainingTitle(),
                  QStringLiteral("battery.powerSourceState.") + c.title);
        const QString body = QString::fromLatin1(c.body);
        EXPECT_EQ(r->iops_timeRemainingBody(),
                  body.contains(':') ? body : "battery.powerSourceState." + body);
    }
}

TEST(BatteryReportTimeText, NoPresentSourceOnlyUpdatesTheEstimate) {
    auto fake = onBattery(70, 7200);
    QVariantMap d = fake->snap->descriptions[0];
    d["BatteryHealth"] = "Good";
    fake->snap->descriptions = {d};
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadReports());
    ASSERT_EQ(r->iops_battery_percentage(), 70);

    QVariantMap gone = d;
    gone["Is Present"] = false;
    QVariantMap notABoolean = d;
    notABoolean["Is Present"] = 1; // only the boolean true value selects a source
    notABoolean["Current Capacity"] = 10;
    fake->snap->descriptions = {gone, notABoolean};
    fake->snap->timeRemainingEstimate = 60;
    r->loadReports();
    EXPECT_DOUBLE_EQ(r->iops_timeRemainingEstimate(), 60.0);
    EXPECT_EQ(r->iops_battery_percentage(), 70);
    EXPECT_EQ(r->iops_timeRemainingBody(), "02:00");
    EXPECT_EQ(r->iops_healthCondition(), "Good");

    // A present source without a health word keeps the old one.
    d.remove("BatteryHealth");
    fake->snap->descriptions = {d};
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), 70);
    EXPECT_EQ(r->iops_healthCondition(), "Good");
}

TEST(BatteryReportTimeText, PercentageDivisionByZeroIsConvertedExplicitly) {
    auto fake = onBattery(50);
    QVariantMap& d = fake->snap->descriptions[0];
    auto r = reportOver(fake);
    d.remove("Max Capacity");
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), std::numeric_limits<int64_t>::max());
    d.remove("Current Capacity");
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), 0);
    d["Current Capacity"] = 2;
    d["Max Capacity"] = 3;
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), 66);
}

TEST(BatteryReportText, Conversions) {
    using namespace BatteryReportText;
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(truncatedInt64(std::nan("")), 0);
    EXPECT_EQ(truncatedInt64(inf), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(truncatedInt64(-inf), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(truncatedInt64(1e300), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(truncatedInt64(-99.9), -99);
    EXPECT_EQ(truncatedInt32(3e9), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(truncatedInt32(-2147483648.5), std::numeric_limits<int32_t>::min());

    EXPECT_EQ(twoDigits(9), "09");
    EXPECT_EQ(twoDigits(10), "10");
    EXPECT_EQ(twoDigits(130), "130");
    EXPECT_EQ(twoDigits(-5), "-5");

    EXPECT_EQ(decodeManufactureDate((44 << 9) | (12 << 5) | 31).date(), QDate(2024, 12, 31));
}
