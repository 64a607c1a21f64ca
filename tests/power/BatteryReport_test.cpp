#include "FakePowerSources.h"
#include "platform/linux/LinuxPowerSupply.h"
#include "power/YYSystemBatteryReport.h"
#include "support/TempDir.h"

#include <QDate>
#include <QFile>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <sys/stat.h>

namespace {

const QString kFixtures = QStringLiteral(LUMENSTAT_FIXTURES_DIR "/power_supply/");
const QDateTime kNow(QDate(2025, 3, 25), QTime(12, 0));
constexpr int64_t kNone = std::numeric_limits<int64_t>::min();

struct FixtureReport {
    std::shared_ptr<LinuxPowerSupply> source;
    std::unique_ptr<YYSystemBatteryReport> report;
    bool present = false;
};

// A loaded report over one sysfs root, gated by the presence rule applied to that tree.
FixtureReport loadRoot(const QString& root) {
    FixtureReport f{std::make_shared<LinuxPowerSupply>(root), nullptr, false};
    f.present = YYSystemBatteryReport::presenceIn(*f.source);
    f.report = std::make_unique<YYSystemBatteryReport>(
        f.source, [p = f.present] { return p; }, [] { return kNow; });
    f.report->loadReports();
    return f;
}

FixtureReport loadFixture(const QString& name) {
    return loadRoot(kFixtures + name);
}

// One present battery at `percentage` on battery power, with an empty registry.
std::shared_ptr<FakePowerSources> onBattery(int percentage, double estimate = -1) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->registry = QVariantMap{};
    fake->snap->descriptions = {FakePowerSources::battery(percentage, 100, "Battery Power", false)};
    fake->snap->timeRemainingEstimate = estimate;
    return fake;
}

std::unique_ptr<YYSystemBatteryReport> reportOver(std::shared_ptr<FakePowerSources> fake) {
    return std::make_unique<YYSystemBatteryReport>(
        fake, [] { return true; }, [] { return kNow; });
}

} // namespace

TEST(BatteryReportFixtures, EveryTreeGivesOneConsistentBattery) {
    struct Row {
        const char* fixture;
        int status, percentage;
        int64_t design, full, current, amperage, voltage, cycles;
        const char *body, *condition;
    };
    const Row rows[] = {
        {"laptop_discharging", 0, 50, 4382, 3812, 1906, -1500, 12000, 123, "01:16", "Good"},
        // The missing 1906 mAh at a 1906 mA charging current: one hour.
        {"laptop_charging", 1, 50, 4382, 3812, 1906, 1906, 12000, 123, "01:00", "Good"},
        {"laptop_full", 2, 100, 4382, 3812, 3812, 0, 12000, 123, "full", "Good"},
        // 57, 51.3 and 25.65 Wh at the 11.4 V design voltage; 25.65 Wh at 9 W.
        {"energy_battery", 0, 50, 5000, 4500, 2250, -762, 11800, 7, "02:51", "Good"},
        // BAT0 and BAT1 as one: 46.4 of 93 Wh, 6 W + 4 W, capacities summed.
        {"two_batteries", 0, 50, 8648, 8378, 4179, -847, 12000, 0, "04:38", "Good"},
        // No charge reading: the charge follows the percentage of the full-charge capacity.
        {"capacity_only", 0, 40, 5000, 4000, 1600, kNone, kNone, 0, "calculating", "Good"},
        {"capacity_level_only", 0, 5, 0, 0, 0, kNone, kNone, 0, "calculating", ""},
        // A battery charging while no supply is online runs on external power.
        {"charging_without_mains", 1, 70, 4000, 4000, 2800, 1200, 12000, 0, "01:00", "Good"},
        // Out-of-range and non-numeric attributes count as missing.
        {"hostile_values", 0, 50, 4000, 4000, 2000, kNone, kNone, 0, "calculating", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.fixture);
        auto f = loadFixture(row.fixture);
        const auto& r = *f.report;
        ASSERT_TRUE(f.present);
        ASSERT_TRUE(r.successedLoadBatteryReport());
        EXPECT_EQ(r.batteryStatus(), row.status);
        EXPECT_EQ(r.iops_battery_percentage(), row.percentage);
        EXPECT_EQ(std::make_tuple(*r.maxCapacity(), *r.fullCapacity(), *r.currentCapacity()),
                  std::make_tuple(row.design, row.full, row.current));
        EXPECT_EQ(r.amperage().value_or(kNone), row.amperage);
        EXPECT_EQ(r.voltage().value_or(kNone), row.voltage);
        EXPECT_EQ(r.cycleCount(), uint64_t(row.cycles));
        EXPECT_TRUE(r.iops_timeRemainingBody().endsWith(row.body))
            << r.iops_timeRemainingBody().toStdString();
        EXPECT_EQ(r.iops_healthCondition(), row.condition);
        EXPECT_EQ(f.source->snapshot()->descriptions.size(), 1u); // however many batteries
    }
}

TEST(BatteryReportFixtures, DerivedValues) {
    const auto f = loadFixture("laptop_discharging");
    const auto& r = *f.report;
    EXPECT_NEAR(*r.health(), 86.99, 0.01);
    EXPECT_EQ(r.manufactureDate().date(), QDate(2025, 3, 15));
    EXPECT_EQ(r.age(), 10);
    // 1906 mAh x 12 V left at 18 W: 4574 s; -2 while charging.
    EXPECT_NEAR(r.iops_timeRemainingEstimate(), 4574.4, 0.01);
    EXPECT_DOUBLE_EQ(loadFixture("laptop_charging").report->iops_timeRemainingEstimate(), -2.0);
    // The full-charge capacity stays without a charge reading: 80 %, not 100 %.
    EXPECT_NEAR(*loadFixture("capacity_only").report->health(), 80.0, 1e-4);
    // Garbage dates decode as no date (the raw value 0).
    EXPECT_EQ(loadFixture("hostile_values").report->manufactureDate().date(), QDate(1979, 11, 30));
}

TEST(BatteryReportFixtures, CapacityLevelsAndUnreadableAttributes) {
    const std::pair<const char*, int> levels[] = {{"Full", 100}, {"High", 80},    {"Normal", 50},
                                                  {"Low", 20},   {"Critical", 5}, {"Unknown", 0}};
    for (const auto& [level, percent] : levels) {
        TempDir root;
        root.write("class/power_supply/BAT0/type", "Battery\n");
        root.write("class/power_supply/BAT0/capacity_level", QByteArray(level) + "\n");
        EXPECT_EQ(loadRoot(root.path()).report->iops_battery_percentage(), percent) << level;
    }

    // A FIFO, a device or an oversized file in place of an attribute is skipped at once.
    TempDir root;
    const QString bat = root.write("class/power_supply/BAT0/type", "Battery\n").section('/', 0, -2);
    root.write("class/power_supply/BAT0/charge_now", "1906000\n");
    root.write("class/power_supply/BAT0/charge_full", "3812000\n");
    root.write("class/power_supply/BAT0/manufacturer", QByteArray(5000, 'A'));
    ASSERT_EQ(::mkfifo(QFile::encodeName(bat + "/capacity").constData(), 0600), 0);
    ASSERT_TRUE(QFile::link("/dev/zero", bat + "/model_name"));
    auto f = loadRoot(root.path());
    ASSERT_TRUE(f.report->successedLoadBatteryReport());
    EXPECT_EQ(f.report->iops_battery_percentage(), 50); // from charge_now / charge_full
    EXPECT_EQ(f.report->model(), "");
    EXPECT_EQ(f.report->manufacturer(), "");
}

TEST(BatteryPresence, NoBatteryTreesAndTheLastListedSourceDecides) {
    for (const char* name : {"desktop_mains", "device_scope", "no_such_tree"}) {
        auto f = loadFixture(name);
        EXPECT_FALSE(f.present || f.report->successedLoadBatteryReport()) << name;
        EXPECT_FALSE(f.source->batteryRegistry().has_value()) << name;
    }
    // Peripheral batteries are not power sources; a missing tree is no list at all.
    EXPECT_TRUE(LinuxPowerSupply(kFixtures + "device_scope").snapshot()->descriptions.empty());
    EXPECT_FALSE(LinuxPowerSupply(kFixtures + "no_such_tree").snapshot().has_value());

    FakePowerSources fake;
    auto present = [](bool v) { return QVariantMap{{"Is Present", v}}; };
    fake.snap->descriptions = {present(true), present(false)};
    EXPECT_FALSE(YYSystemBatteryReport::presenceIn(fake));
    fake.snap->descriptions = {present(false), present(true)};
    EXPECT_TRUE(YYSystemBatteryReport::presenceIn(fake));
}

TEST(BatteryReportRegistry, PercentagesAreRescaledOnlyWhenBothFitInAHundred) {
    // {MaxCapacity, CurrentCapacity} -> {full, current}, design capacity 4382 throughout.
    const std::array<int, 4> rows[] = {
        {87, 50, 3812, 1906}, {4000, 90, 4000, 90}, {100, 100, 4382, 4382}};
    auto fake = std::make_shared<FakePowerSources>();
    auto r = reportOver(fake);
    for (const auto& [max, current, full, expected] : rows) {
        fake->registry = QVariantMap{
            {"MaxCapacity", max}, {"CurrentCapacity", current}, {"DesignCapacity", 4382}};
        ASSERT_TRUE(r->loadBatteryInfos());
        EXPECT_EQ(r->fullCapacity(), full) << max;
        EXPECT_EQ(r->currentCapacity(), expected) << max;
    }
    // A design capacity of 0 is an infinite health, not a fault.
    fake->registry = QVariantMap{{"DesignCapacity", 0}, {"MaxCapacity", 3000}};
    ASSERT_TRUE(r->loadBatteryInfos());
    EXPECT_TRUE(std::isinf(*r->health()));
}

TEST(BatteryReportRegistry, ImpossibleValuesAndFailedLoads) {
    auto fake = onBattery(60);
    fake->registry = QVariantMap{{"CycleCount", -5},
                                 {"DesignCycleCount9C", std::numeric_limits<qint64>::min()},
                                 {"DeviceName", QString::fromUtf8("A\x1b[2JB\0C", 8)},
                                 {"MaxCapacity", std::numeric_limits<qint64>::max()},
                                 {"CurrentCapacity", std::numeric_limits<qint64>::min()},
                                 {"Amperage", std::numeric_limits<qint64>::min()}};
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadReports());
    EXPECT_EQ(r->cycleCount() + r->maxCycleCount(), 0u);
    EXPECT_EQ(r->model(), "A[2JBC");

    // A failed load keeps the old values and reports no status.
    fake->registry.reset();
    EXPECT_FALSE(r->loadReports());
    EXPECT_EQ(r->model(), "A[2JBC");
    EXPECT_EQ(r->batteryStatus(), 0);

    // Charging without external power (a gauge quirk) is no status either.
    fake->registry = QVariantMap{{"ExternalConnected", false}, {"IsCharging", true}};
    ASSERT_TRUE(r->loadReports());
    EXPECT_EQ(r->batteryStatus(), 0);
}

TEST(BatteryReportTimeText, TitleAndBodyDecision) {
    struct TimeCase {
        double estimate;
        const char* state;
        QVariant charging; // invalid: key absent
        qint64 minutesToFull;
        bool fulled;
        const char *title, *body;
    };
    const TimeCase cases[] = {
        {59, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {60, "Battery Power", false, 0, false, "timeRemaining", "00:01"},
        {3599, "Battery Power", false, 0, false, "timeRemaining", "00:59"},
        {468000, "Battery Power", false, 0, false, "timeRemaining", "130:00"},
        {-1, "Battery Power", false, 0, false, "timeRemaining", "calculating"},
        {-2, "AC Power", true, 75, false, "untilFull", "01:15"},
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
        d["Time to Full Charge"] = c.minutesToFull;
        d.remove("Is Charging");
        if (c.charging.isValid())
            d["Is Charging"] = c.charging;
        auto r = reportOver(fake);
        ASSERT_TRUE(r->loadReports());
        SCOPED_TRACE(QStringLiteral("estimate %1 %2").arg(c.estimate).arg(c.state).toStdString());
        EXPECT_EQ(r->iops_timeRemainingTitle(),
                  QStringLiteral("battery.powerSourceState.") + c.title);
        const QString body = QString::fromLatin1(c.body);
        EXPECT_EQ(r->iops_timeRemainingBody(),
                  body.contains(':') ? body : "battery.powerSourceState." + body);
    }
}

TEST(BatteryReportTimeText, OnlyATruePresentSourceIsRead) {
    auto fake = onBattery(70, 7200);
    fake->snap->descriptions[0]["BatteryHealth"] = "Good";
    auto r = reportOver(fake);
    ASSERT_TRUE(r->loadReports());
    ASSERT_EQ(r->iops_battery_percentage(), 70);

    QVariantMap& notABoolean = fake->snap->descriptions[0];
    notABoolean["Is Present"] = 1;
    notABoolean["Current Capacity"] = 10;
    fake->snap->timeRemainingEstimate = 60;
    r->loadReports();
    EXPECT_EQ(r->iops_timeRemainingBody(), "02:00"); // the estimate still updates
    EXPECT_EQ(r->iops_battery_percentage(), 70);
    EXPECT_EQ(r->iops_healthCondition(), "Good");
}

TEST(BatteryReportText, ConversionsAtTheEdges) {
    using namespace BatteryReportText;
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(truncatedInt64(std::nan("")), 0);
    EXPECT_EQ(truncatedInt64(inf), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(truncatedInt64(-inf), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(truncatedInt64(-99.9), -99);
    EXPECT_EQ(truncatedInt32(3e9), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(truncatedInt32(-2147483648.5), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(twoDigits(-5), "-5");
    EXPECT_EQ(decodeManufactureDate((44 << 9) | (12 << 5) | 31).date(), QDate(2024, 12, 31));

    // A percentage over a missing maximum saturates instead of misbehaving.
    auto fake = onBattery(50);
    fake->snap->descriptions[0].remove("Max Capacity");
    auto r = reportOver(fake);
    r->loadReports();
    EXPECT_EQ(r->iops_battery_percentage(), std::numeric_limits<int64_t>::max());
}
