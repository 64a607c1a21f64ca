// The battery, CPU and storage items: the battery picture, the items' lengths, the CPU and
// storage texts, and the storage panel with a volume that cannot be read.
#include "menubar/BatteryMenuBarItemController.h"
#include "menubar/BatteryMenuBox.h"
#include "menubar/CPUMenuBarItemController.h"
#include "menubar/CPUMenuBox.h"
#include "menubar/MenuBarItemHost.h"
#include "menubar/StatusItem.h"
#include "menubar/StorageMenuBarItemController.h"
#include "menubar/StorageMenuBox.h"
#include "network/NetworkMonitor.h"
#include "platform/linux/StatusNotifierItem.h"
#include "power/BatteryImage.h"
#include "power/FakePowerSources.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "system/StorageUsageProvider.h"
#include "ui/MenuStorageViewController.h"
#include "ui/StorageBox.h"

#include "support/PrivateBus.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct NoLinks : LinkSource, RouteSource {
    bool readCounters(std::vector<LinkEntry>& out) override {
        out.clear();
        return true;
    }
    QString lastIPv4Address() override { return {}; }
    std::optional<uint32_t> reachabilityFlags() override { return 0u; }
};

NetworkMonitorSources quietSources() {
    auto links = std::make_shared<NoLinks>();
    NetworkMonitorSources s;
    s.links = links;
    s.route = links;
    s.now = [] { return 0.0; };
    return s;
}

struct FixedVolume : VolumeCapacitySource {
    std::optional<VolumeCapacities> figures;
    std::optional<VolumeCapacities> capacities(const QString&) override { return figures; }
};

// The item drawn at pixel ratio 1 with ink.
QImage drawn(const NetMenuBox& view, const QColor& ink) {
    NetMenuBox::InkScope scope(ink);
    return view.render(1.0);
}

bool sameRgb(const QColor& a, const QColor& b, int tolerance = 12) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

const QColor kLightInk(240, 240, 240); // a dark bar
const QColor kDarkInk(20, 20, 20);     // a light bar

} // namespace

TEST(BatteryItem, PictureStepsAppearanceAndChargingAtTheirPoints) {
    struct Row {
        int percentage;
        int level;
    };
    const Row rows[] = {{100, 100}, {96, 100}, {95, 95}, {91, 95}, {90, 90}, {26, 30},
                        {21, 25},   {20, 20},  {11, 20}, {10, 10}, {1, 10},  {0, 0}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.percentage);
        EXPECT_EQ(BatteryMenuBox::levelFor(r.percentage), r.level);
        for (bool coloured : {false, true})
            for (bool dark : {false, true})
                for (bool charging : {false, true}) {
                    SCOPED_TRACE(testing::Message() << coloured << dark << charging);
                    BatteryMenuBox view;
                    view.set({r.percentage, charging, false, coloured});
                    const QColor ink = dark ? kLightInk : kDarkInk;
                    const QImage image = drawn(view, ink);
                    const auto g = BatteryImage::geometry(view.pictureRect(), r.level);
                    // The fill near the bottom-left of the level (clear of the bolt) and the
                    // empty inside just before the right end.
                    const QPoint filled =
                        QPointF(g.level.left() + 1.5, g.level.bottom() - 1.5).toPoint();
                    const QPoint empty =
                        QPointF(g.inside.right() - 1.5, g.inside.top() + 1.5).toPoint();
                    const QColor fillColour =
                        coloured ? BatteryImage::levelColor(r.level, charging, dark) : ink;
                    if (r.level >= 20) {
                        EXPECT_TRUE(sameRgb(image.pixelColor(filled), fillColour))
                            << image.pixelColor(filled).name().toStdString();
                        EXPECT_GT(image.pixelColor(filled).alpha(), 200);
                    }
                    if (r.level <= 80) {
                        EXPECT_LT(image.pixelColor(empty).alpha(), 40);
                    }
                    // The bolt sits at the body's centre while charging only.
                    const QPoint centre = g.body.center().toPoint();
                    if (r.level <= 20) {
                        EXPECT_EQ(image.pixelColor(centre).alpha() > 128, charging);
                    }
                }
        EXPECT_EQ(BatteryMenuBox::iconName(r.percentage, true, false),
                  QStringLiteral("battery_%1_light_charging").arg(r.level));
    }
    EXPECT_EQ(BatteryMenuBox::iconName(75, false, true), QStringLiteral("battery_75_dark"));
}

class ItemTest : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().clear();
        StorageUsageProvider::setVolumeSource(volume);
        volume->figures = VolumeCapacities{1000, 750, 750, 750, 750};
    }
    void TearDown() override { StorageUsageProvider::setVolumeSource(nullptr); }

    PrivateBus bus;
    NetworkMonitor monitor{quietSources()};
    std::shared_ptr<FixedVolume> volume = std::make_shared<FixedVolume>();
};

TEST_F(ItemTest, LengthsFollowSettingsAndRecordsReachOnlyShownItems) {
    auto fake = std::make_shared<FakePowerSources>();
    fake->snap->descriptions = {FakePowerSources::battery(87, 100, "AC Power", false)};
    fake->registry = QVariantMap{};
    YYSystemBatteryReport report(fake, [] { return true; });
    report.loadReports();
    SettingsDomain& settings = SettingsDomain::standard();
    settings.setBool(SettingsKey::WantsBatteryStatusInMenuBar, true);
    settings.setBool(SettingsKey::MenuBarShowsBatteryPercentage, true);
    BatteryMenuBarItemController battery(
        bus.client("battery"), [&] { return &report; }, [] { return true; });
    battery.loadMenuBarItemIfNeed();
    ASSERT_TRUE(battery.host()->statusItem());
    std::vector<double> lengths{battery.host()->statusItem()->length()};
    battery.setShowsPercentage(false);
    lengths.push_back(battery.host()->statusItem()->length());
    battery.setShowsPercentage(true);
    lengths.push_back(battery.host()->statusItem()->length());
    EXPECT_EQ(lengths, (std::vector<double>{60, 28, 60}));
    EXPECT_EQ(battery.view()->percentageText(), QStringLiteral("87%"));
    EXPECT_TRUE(battery.view()->state().charging) << "on external power: the charging picture";
    EXPECT_EQ(battery.host()->statusItem()->faceText(), QStringLiteral("87%"));
    settings.setBool(SettingsKey::WantsBatteryStatusInMenuBar, false);
    NotificationCenter::defaultCenter().post(
        QString::fromLatin1(SettingsKey::WantsBatteryStatusInMenuBar));
    EXPECT_FALSE(battery.host()->statusItem());

    // The CPU and storage items: no records while off, their widths at once when on.
    CPU::cpuTextSource() = [] { return QStringLiteral("12.5"); };
    CPUMenuBarItemController cpu(bus.client("cpu"), &monitor);
    StorageMenuBarItemController storage(bus.client("storage"), &monitor);
    cpu.loadMenuBarItemIfNeed();
    storage.loadMenuBarItemIfNeed();
    EXPECT_FALSE(cpu.host()->statusItem() || storage.host()->statusItem());
    EXPECT_FALSE(cpu.host()->receivesRecords() || storage.host()->receivesRecords());
    settings.setBool(SettingsKey::WantsCPUUsageInMenuBar, true);
    settings.setBool(SettingsKey::MenuBarShowsStorageUsage, true);
    cpu.loadMenuBarItemIfNeed();
    storage.loadMenuBarItemIfNeed();
    ASSERT_TRUE(cpu.host()->statusItem() && storage.host()->statusItem());
    EXPECT_EQ(cpu.host()->statusItem()->length(), 82);
    EXPECT_EQ(storage.host()->statusItem()->length(), 66);
    EXPECT_TRUE(cpu.host()->receivesRecords() && storage.host()->receivesRecords());
    // Each item has its own name on the bus.
    EXPECT_NE(cpu.host()->statusItem()->statusNotifierItem()->serviceName(),
              storage.host()->statusItem()->statusNotifierItem()->serviceName());

    // A load with a decimal point: the sparkline takes 0, the label keeps the text.
    cpu.view()->reload();
    EXPECT_EQ(cpu.view()->stockView.data().back(), 0u);
    EXPECT_EQ(cpu.view()->textLabel.text(), QStringLiteral("12.5 %"));
    CPU::cpuTextSource() = [] { return QString(); };
    cpu.view()->reload();
    EXPECT_EQ(cpu.view()->textLabel.text(), QStringLiteral("-- %"));
    CPU::cpuTextSource() = [] { return QStringLiteral("100"); };
    cpu.view()->reload();
    EXPECT_EQ(cpu.view()->stockView.data().back(), 100u);
    EXPECT_GE(cpu.host()->statusItem()->length(), 82);
    EXPECT_EQ(cpu.host()->statusItem()->length(), cpu.view()->width()) << "width handler";

    settings.setBool(SettingsKey::WantsCPUUsageInMenuBar, false);
    cpu.loadMenuBarItemIfNeed();
    EXPECT_FALSE(cpu.host()->statusItem() || cpu.host()->receivesRecords());
    CPU::cpuTextSource() = [] { return QString(); };
}

TEST_F(ItemTest, StorageTextRingAndUnreadableVolume) {
    SettingsDomain& settings = SettingsDomain::standard();
    struct Row {
        int64_t stored;
        const char* text;
        double ring;
    };
    // 250 of 1000 used.
    const Row rows[] = {{0, "25 %", 0.25}, {1, "75 %", 0.75}, {2, "25 %", 0.25}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.stored);
        settings.setInteger(SettingsKey::WantsStorageMenuBarDisplay, r.stored);
        Storage view;
        EXPECT_EQ(view.textLabel.text(), QString::fromLatin1(r.text));
        ASSERT_TRUE(view.shownFraction());
        EXPECT_DOUBLE_EQ(*view.shownFraction(), r.ring);
        // The arc: ink at the ring's right (a quarter turn), and at its bottom only from half.
        const QImage image = drawn(view, kDarkInk);
        const QPointF c = view.ringCentre();
        const QPoint right = (c + QPointF(Storage::kRingRadius, 0)).toPoint();
        const QPoint bottom = (c + QPointF(0, Storage::kRingRadius)).toPoint();
        EXPECT_GT(image.pixelColor(right).alpha(), 200);
        EXPECT_EQ(image.pixelColor(bottom).alpha() > 200, r.ring > 0.5);
    }

    // A share that stays within its whole percent (a volume in use moves by some bytes every
    // second) neither writes the label nor redraws; the next percent and a display change do.
    settings.setInteger(SettingsKey::WantsStorageMenuBarDisplay, 0);
    Storage view;
    const int writes = view.labelWrites;
    const int redraws = view.redrawRequests();
    for (int64_t available : {750, 746, 754}) {
        volume->figures = VolumeCapacities{1000, available, available, available, available};
        view.update(ActivityObject{});
    }
    EXPECT_EQ(view.labelWrites, writes);
    EXPECT_EQ(view.redrawRequests(), redraws);
    EXPECT_DOUBLE_EQ(view.precentage, 0.246);
    volume->figures = VolumeCapacities{1000, 744, 744, 744, 744};
    view.update(ActivityObject{});
    EXPECT_EQ(view.textLabel.text(), QStringLiteral("26 %"));
    EXPECT_EQ(view.redrawRequests(), redraws + 1);
    volume->figures = VolumeCapacities{1000, 750, 750, 750, 750};
    settings.setInteger(SettingsKey::WantsStorageMenuBarDisplay, 1);
    NotificationCenter::defaultCenter().post(
        QString::fromLatin1(Storage::DisplayTypeDidChangeNotification));
    EXPECT_EQ(view.labelWrites, writes + 2);
    EXPECT_EQ(view.textLabel.text(), QStringLiteral("75 %"));

    // A volume that cannot be read: "--", an empty ring, no NaN anywhere.
    for (std::optional<VolumeCapacities> broken :
         {std::optional<VolumeCapacities>{}, std::optional(VolumeCapacities{0, 0, 0, 0, 0}),
          std::optional(VolumeCapacities{-5, 10, 10, 10, 10})}) {
        volume->figures = broken;
        view.update(ActivityObject{});
        EXPECT_EQ(view.textLabel.text(), QStringLiteral("-- %"));
        EXPECT_FALSE(view.shownFraction());
        const QImage image = drawn(view, kDarkInk);
        EXPECT_LT(image.pixelColor((view.ringCentre() + QPointF(Storage::kRingRadius, 0)).toPoint())
                      .alpha(),
                  128);
        MenuStorageViewController page;
        const StorageBox* box = page.storageBox();
        EXPECT_EQ(box->percentage, 0.0);
        for (const QString& text : {box->totalAttributedString, box->usedAttributedString,
                                    box->availableAttributedString})
            EXPECT_FALSE(text.contains(QLatin1String("nan"), Qt::CaseInsensitive))
                << text.toStdString();
    }
}
