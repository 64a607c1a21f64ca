#include "FakePowerSources.h"
#include "platform/linux/LinuxPowerSupply.h"
#include "power/YYSystemBatteryReport.h"

#include <QDate>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
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

} // namespace

// --- fixture trees read through the report ---------------------------------------------

TEST(BatteryReportFixtures, ChargeBasedLaptopOnBattery) {
    auto f = loadFixture("laptop_discharging");
    const auto& r = *f.report;
    ASSERT_TRUE(f.present);
    ASSERT_TRUE(r.successedLoadBatteryReport());
    EXPECT_EQ(r.maxCapacity(), 4382);
    EXPECT_EQ(r.fullCapacity(), 3812);
    EXPECT_EQ(r.currentCapacity(), 1906);
    EXPECT_EQ(r.voltage(), 12000);
    EXPECT_EQ(r.amperage(), -1500); // negative while discharging
    EXPECT_DOUBLE_EQ(*r.power(), -18.0);
    EXPECT_DOUBLE_EQ(*r.temperature(), 30.1);
    EXPECT_NEAR(*r.health(), 86.99, 0.01);
    EXPECT_EQ(r.cycleCount(), 123u);
    EXPECT_EQ(r.manufacturer(), "SMP");
    EXPECT_EQ(r.model(), "5B10W13975");
    EXPECT_EQ(r.serial(), "1234");
    EXPECT_EQ(r.manufactureDate().date(), QDate(2025, 3, 15));
    EXPECT_EQ(r.age(), 10);
    EXPECT_TRUE(r.presented());
    EXPECT_FALSE(r.changring());
    EXPECT_FALSE(r.connectedAC());
    EXPECT_FALSE(r.fulled());
    EXPECT_EQ(r.batteryStatus(), 0);
    EXPECT_EQ(r.iops_battery_percentage(), 50);
    EXPECT_TRUE(r.iops_power_source_is_battery());
    EXPECT_EQ(r.iops_healthCondition(), "Good");
    // 1906 mAh x 12 V left at 18 W: 4574 s.
    EXPECT_NEAR(r.iops_timeRemainingEstimate(), 4574.4, 0.01);
    EXPECT_EQ(r.iops_timeRemainingTitle(), "battery.powerSourceState.timeRemaining");
    EXPECT_EQ(r.iops_timeRemainingBody(), "01:16");
}

TEST(BatteryReportFixtures, ChargeBasedLaptopCharging) {
    auto f = loadFixture("laptop_charging");
    const auto& r = *f.report;
    ASSERT_TRUE(r.successedLoadBatteryReport());
    EXPECT_TRUE(r.changring());
    EXPECT_TRUE(r.connectedAC());
    EXPECT_EQ(r.amperage(), 1906);
    EXPECT_EQ(r.batteryStatus(), 1);
    EXPECT_FALSE(r.iops_power_source_is_battery());
    EXPECT_DOUBLE_EQ(r.iops_timeRemainingEstimate(), -2.0);
    // The missing 1906 mAh at a 1906 mA charging current: one hour.
    EXPECT_EQ(r.iops_timeRemainingTitle(), "battery.powerSourceState.untilFull");
    EXPECT_EQ(r.iops_timeRemainingBody(), "01:00");
}

TEST(BatteryReportFixtures, ChargeBasedLaptopFullOnAC) {
    auto f = loadFixture("laptop_full");
    const auto& r = *f.report;
    ASSERT_TRUE(r.successedLoadBatteryReport());
    EXPECT_TRUE(r.fulled());
    EXPECT_FALSE(r.changring());
    EXPECT_EQ(r.batteryStatus(), 2);
    EXPECT_EQ(r.iops_battery_percentage(), 100);
    EXPECT_EQ(r.currentCapacity(), 3812);
    EXPECT_EQ(r.iops_timeRemainingTitle(), "battery.powerSourceState.connectedAC");
    EXPECT_EQ(r.iops_timeRemainingBody(), "battery.powerSourceState.full");
}

TEST(BatteryReportFixtures, EnergyBasedBatteryIsConvertedWithTheDesignVoltage) {
    auto f = loadFixture("energy_battery");
    const auto& r = *f.report;
    ASSERT_TRUE(r.successedLoadBatteryReport());
    // 57 Wh, 51.3 Wh and 25.65 Wh at the 11.4 V design voltage.
    EXPECT_EQ(r.maxCapacity(), 5000);
    EXPECT_EQ(r.fullCapacity(), 4500);
    EXPECT_EQ(r.currentCapacity(), 2250);
    EXPECT_NEAR(*r.health(), 90.0, 1e-4);
    // 9 W at 11.8 V.
    EXPECT_EQ(r.amperage(), -762);
    EXPECT_EQ(r.voltage(), 11800);
    // Percentage from energy_now / energy_full when the kernel gives no capacity.
    EXPECT_EQ(r.iops_battery_percentage(), 50);
    // 25.65 Wh at 9 W: 2 h 51 min.
    EXPECT_EQ(r.iops_timeRemainingBody(), "02:51");
    // No manufacture date in the tree: year 1980, month 0, day 0 as a calendar settles it.
    EXPECT_EQ(r.manufactureDate().date(), QDate(1979, 11, 30));
}

TEST(BatteryReportFixtures, DesktopWithOnlyMainsHasNoBattery) {
    auto f = loadFixture("desktop_mains");
    EXPECT_FALSE(f.present);
    EXPECT_FALSE(f.report->successedLoadBatteryReport());
    EXPECT_EQ(f.report->batteryStatus(), 0);
    // The power-source fields are not touched when the registry part fails.
    EXPECT_EQ(f.report->iops_timeRemainingTitle(), "");
    EXPECT_FALSE(f.source->batteryRegistry().has_value());
}

TEST(BatteryReportFixtures, PeripheralBatteriesAreNotPowerSources) {
    auto f = loadFixture("device_scope");
    EXPECT_FALSE(f.present);
    auto snap = f.source->snapshot();
    ASSERT_TRUE(snap);
    EXPECT_TRUE(snap->descriptions.empty());
}

TEST(BatteryReportFixtures, MissingPowerSupplyFolderCountsAsNoBattery) {
    LinuxPowerSupply source(kFixtures + "no_such_tree");
    EXPECT_FALSE(source.snapshot().has_value());
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(source));
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
    EXPECT_EQ(r.maxCapacity(), 0); // the capacities are always there, at 0 when unknown
    EXPECT_FALSE(r.amperage().has_value());
    EXPECT_FALSE(r.voltage().has_value());
    // Percentages rescaled against a design capacity of nothing.
    EXPECT_EQ(r.fullCapacity(), 0);
    EXPECT_EQ(r.currentCapacity(), 0);
    EXPECT_TRUE(std::isnan(*r.health()));
    EXPECT_DOUBLE_EQ(*r.temperature(), 0.0);
    EXPECT_DOUBLE_EQ(*r.power(), 0.0);
    EXPECT_DOUBLE_EQ(r.iops_timeRemainingEstimate(), -1.0);
    EXPECT_EQ(r.iops_timeRemainingBody(), "battery.powerSourceState.calculating");
    EXPECT_EQ(r.iops_healthCondition(), "");
}

TEST(BatteryReportFixtures, SysfsRootComesFromTheEnvironment) {
    const QByteArray old = qgetenv("LUMENSTAT_SYSFS_ROOT");
    qputenv("LUMENSTAT_SYSFS_ROOT", (kFixtures + "laptop_full/").toLocal8Bit());
    LinuxPowerSupply source;
    auto registry = source.batteryRegistry();
    if (old.isNull())
        qunsetenv("LUMENSTAT_SYSFS_ROOT");
    else
        qputenv("LUMENSTAT_SYSFS_ROOT", old);
    ASSERT_TRUE(registry);
    EXPECT_EQ(registry->value("FullyCharged").toBool(), true);
    EXPECT_EQ(registry->value("Temperature").toLongLong(), 3010);
    EXPECT_EQ(registry->value("ManufactureDate").toLongLong(), 23151);
}

// --- presence rule ----------------------------------------------------------------------

TEST(BatteryPresence, TheLastListedSourceDecides) {
    FakePowerSources fake;
    auto present = [](bool v) {
        QVariantMap d;
        d["Is Present"] = v;
        return d;
    };
    fake.snap->descriptions = {present(true), present(false)};
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap->descriptions = {present(false), present(true)};
    EXPECT_TRUE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap->descriptions = {};
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap.reset();
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
}

// --- registry arithmetic ----------------------------------------------------------------

TEST(BatteryReportRegistry, PercentagesAreRescaledOnlyWhenBothFitInAHundred) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry =
        QVariantMap{{"MaxCapacity", 87}, {"CurrentCapacity", 50}, {"DesignCapacity", 4382}};
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadBatteryInfos());
    EXPECT_EQ(r->fullCapacity(), 3812);
    EXPECT_EQ(r->currentCapacity(), 1906);

    fake->registry =
        QVariantMap{{"MaxCapacity", 4000}, {"CurrentCapacity", 90}, {"DesignCapacity", 4382}};
    ASSERT_TRUE(r->loadBatteryInfos());
    EXPECT_EQ(r->fullCapacity(), 4000);
    EXPECT_EQ(r->currentCapacity(), 90);

    fake->registry =
        QVariantMap{{"MaxCapacity", 100}, {"CurrentCapacity", 100}, {"DesignCapacity", 4382}};
    ASSERT_TRUE(r->loadBatteryInfos());
    EXPECT_EQ(r->fullCapacity(), 4382);
    EXPECT_EQ(r->currentCapacity(), 4382);
    EXPECT_NEAR(*r->health(), 100.0, 1e-9);
}

TEST(BatteryReportRegistry, ElectricalValuesAndDate) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry =
        QVariantMap{{"Temperature", 3012},      {"Amperage", -1500},   {"Voltage", 12000},
                    {"ManufactureDate", 23151}, {"DesignCapacity", 0}, {"MaxCapacity", 3000},
                    {"CurrentCapacity", 2000}};
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadBatteryInfos());
    EXPECT_DOUBLE_EQ(*r->temperature(), 30.12);
    EXPECT_DOUBLE_EQ(*r->power(), -18.0);
    EXPECT_EQ(r->manufactureDate().date(), QDate(2025, 3, 15));
    // A design capacity of 0 is stored as an infinite health, not clamped.
    EXPECT_TRUE(std::isinf(*r->health()));
}

TEST(BatteryReportRegistry, FailedLoadKeepsTheOldValues) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{{"CycleCount", 12},
                                 {"DesignCapacity", 5000},
                                 {"MaxCapacity", 4000},
                                 {"CurrentCapacity", 3000}};
    fake->snap->descriptions = {FakePowerSources::battery(60, 100, "Battery Power", false)};
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadReports());
    fake->registry.reset();
    EXPECT_FALSE(r->loadReports());
    EXPECT_FALSE(r->successedLoadBatteryReport());
    EXPECT_EQ(r->cycleCount(), 12u);
    EXPECT_EQ(r->fullCapacity(), 4000);
    EXPECT_EQ(r->batteryStatus(), 0);
}

TEST(BatteryReportRegistry, NoBatteryChangesNothing) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{{"CycleCount", 12}};
    auto r = reportOver(fake, false);
    EXPECT_FALSE(r->loadReports());
    EXPECT_EQ(r->cycleCount(), 0u);
    EXPECT_EQ(fake->snapshotCalls, 0);
}

TEST(BatteryReportRegistry, StatusNeedsExternalPower) {
    auto fake = std::make_shared<FakePowerSources>();
    auto r = reportOver(fake);
    fake->registry = QVariantMap{{"ExternalConnected", true}, {"IsCharging", true}};
    r->loadReports();
    EXPECT_EQ(r->batteryStatus(), 1);
    fake->registry = QVariantMap{{"ExternalConnected", true}, {"IsCharging", false}};
    r->loadReports();
    EXPECT_EQ(r->batteryStatus(), 2);
    fake->registry = QVariantMap{{"ExternalConnected", false}, {"IsCharging", true}};
    r->loadReports();
    EXPECT_EQ(r->batteryStatus(), 0);
}

// --- power-source title and body ---------------------------------------------------------

namespace {
struct TimeCase {
    double estimate;
    const char* state;
    QVariant charging; // invalid: key absent
    qint64 minutesToFull;
    bool fulled;
    const char* title;
    const char* body;
};
} // namespace

TEST(BatteryReportTimeText, TitleAndBodyDecision) {
    const TimeCase cases[] = {
        {5400, "Battery Power", false, 0, false, "timeRemaining", "01:30"},
        {45, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {59, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {3599, "Battery Power", false, 0, false, "timeRemaining", "00:59"},
        {3600, "Battery Power", false, 0, false, "timeRemaining", "01:00"},
        {60, "Battery Power", false, 0, false, "timeRemaining", "00:01"},
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
        auto fake = std::make_shared<FakePowerSources>();
        fake->registry = QVariantMap{{"FullyCharged", c.fulled}};
        QVariantMap d = FakePowerSources::battery(50, 100, c.state, false);
        if (c.charging.isValid())
            d["Is Charging"] = c.charging;
        else
            d.remove("Is Charging");
        d["Time to Full Charge"] = c.minutesToFull;
        fake->snap->descriptions = {d};
        fake->snap->timeRemainingEstimate = c.estimate;
        auto r = reportOver(fake);
        ASSERT_TRUE(r->loadReports());
        SCOPED_TRACE(
            QStringLiteral("estimate %1 state %2").arg(c.estimate).arg(c.state).toStdString());
        EXPECT_EQ(r->iops_timeRemainingTitle(),
                  QStringLiteral("battery.powerSourceState.") + c.title);
        const QString body = QString::fromLatin1(c.body);
        if (body.contains(':'))
            EXPECT_EQ(r->iops_timeRemainingBody(), body);
        else
            EXPECT_EQ(r->iops_timeRemainingBody(), "battery.powerSourceState." + body);
    }
}

TEST(BatteryReportTimeText, NoPresentSourceOnlyUpdatesTheEstimate) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    QVariantMap d = FakePowerSources::battery(70, 100, "Battery Power", false);
    d["BatteryHealth"] = "Good";
    fake->snap->descriptions = {d};
    fake->snap->timeRemainingEstimate = 7200;
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
}

TEST(BatteryReportTimeText, HealthConditionKeepsTheOldWordWhenAbsent) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    QVariantMap d = FakePowerSources::battery(70, 100, "Battery Power", false);
    d["BatteryHealth"] = "Fair";
    fake->snap->descriptions = {d};
    auto r = reportOver(fake);
    r->loadReports();
    d.remove("BatteryHealth");
    fake->snap->descriptions = {d};
    r->loadReports();
    EXPECT_EQ(r->iops_healthCondition(), "Fair");
}

TEST(BatteryReportTimeText, PercentageDivisionByZeroIsConvertedExplicitly) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    QVariantMap d = FakePowerSources::battery(50, 100, "Battery Power", false);
    d.remove("Max Capacity");
    fake->snap->descriptions = {d};
    auto r = reportOver(fake);
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), std::numeric_limits<int64_t>::max());
    d.remove("Current Capacity");
    fake->snap->descriptions = {d};
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), 0);
    d["Current Capacity"] = 2;
    d["Max Capacity"] = 3;
    fake->snap->descriptions = {d};
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
    EXPECT_EQ(truncatedInt64(99.9), 99);
    EXPECT_EQ(truncatedInt64(-99.9), -99);
    EXPECT_EQ(truncatedInt32(3e9), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(truncatedInt32(-3e9), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(truncatedInt32(-2147483648.5), std::numeric_limits<int32_t>::min());

    EXPECT_EQ(twoDigits(0), "00");
    EXPECT_EQ(twoDigits(5), "05");
    EXPECT_EQ(twoDigits(9), "09");
    EXPECT_EQ(twoDigits(10), "10");
    EXPECT_EQ(twoDigits(130), "130");
    EXPECT_EQ(twoDigits(-5), "-5");

    EXPECT_EQ(decodeManufactureDate(23151).date(), QDate(2025, 3, 15));
    EXPECT_EQ(decodeManufactureDate((44 << 9) | (12 << 5) | 31).date(), QDate(2024, 12, 31));
    EXPECT_EQ(decodeManufactureDate(0).date(), QDate(1979, 11, 30));
}

TEST(BatteryReportText, DebugDescriptionListsEveryFieldInOrder) {
    auto f = loadFixture("laptop_discharging");
    const QString text = f.report->debugDescription();
    ASSERT_TRUE(text.startsWith("\nmaxCycleCount: 0\n"));
    const QStringList lines = text.mid(1).split('\n', Qt::SkipEmptyParts);
    QStringList names;
    for (const QString& l : lines)
        names << l.section(':', 0, 0);
    EXPECT_EQ(names,
              (QStringList{"maxCycleCount", "cycleCount", "serial", "model", "manufacturer",
                           "manufactureDate", "presented", "fulled", "changring", "connectedAC",
                           "amperage", "currentCapacity", "fullCapacity", "maxCapacity", "voltage",
                           "health", "temperature", "power", "age"}));
    EXPECT_TRUE(lines.contains("presented: 1"));
    EXPECT_TRUE(lines.contains("changring: 0"));
    EXPECT_TRUE(lines.contains("amperage: -1500"));
    EXPECT_TRUE(lines.contains("power: -18"));
    EXPECT_TRUE(lines.contains("age: 10"));

    auto empty = loadFixture("missing_attributes");
    EXPECT_TRUE(empty.report->debugDescription().contains("\nvoltage: (null)\n"));
}
