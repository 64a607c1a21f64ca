// Start-up order, first-run defaults, the heartbeat's tick counters, sleep, wake, exit and
// the floating window, driven through a fake sampler and recording hooks.
#include "app/AppDelegate.h"
#include "network/ActivityObject.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/FakeSampler.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using Log = std::vector<std::string>;

struct CountingObserver : ActivityObserver {
    void networkActivityDidUpdate(const ActivityRecord&) override { ++ticks; }
    int ticks = 0;
};

class FakeFloatWindow : public FloatWindowControl {
public:
    FakeFloatWindow(AppDelegate& delegate, Log& log) : delegate_(delegate), log_(log) {
        delegate_.sampler().addActivityObserver(&observer);
    }
    ActivityObserver* activityObserver() override { return &observer; }
    void showWindow() override { log_.push_back("float.show"); }
    void close() override {
        log_.push_back("float.close");
        delegate_.windowWillClose(window()); // as a real window tells its delegate
    }
    const void* window() const override { return this; }

    CountingObserver observer;

private:
    AppDelegate& delegate_;
    Log& log_;
};

struct Recorder {
    Log log;
    int hasBatteryQueries = 0, gapQueries = 0, floatWindowsMade = 0;
    std::function<void()> powerSourceChanged, wentOff, wentOn;

    AppDelegateHooks hooks(bool battery, double gap = 600.0) {
        using H = AppDelegateHooks;
        AppDelegateHooks h;
        const std::pair<std::function<void()> H::*, const char*> plain[] = {
            {&H::powerPercentageLoggerNeedsUpdate, "needsUpdate"},
            {&H::logBatteryHealthIfNeed, "logBatteryHealth"},
            {&H::loadBatteryMenuBarItemIfNeed, "battery.load"},
            {&H::updateBatteryMenuBarItemIfNeed, "battery.update"},
            {&H::postBatteryUserNotificationIfNeed, "battery.notify"},
            {&H::loadBatteryReports, "loadReports"},
            {&H::loadNetMenuBarItemIfNeed, "net.load"},
            {&H::netMenuBarNotifyMacWentOff, "net.wentOff"},
            {&H::loadCPUMenuBarItemIfNeed, "cpu.load"},
            {&H::loadStorageMenuBarItemIfNeed, "storage.load"},
            {&H::startTrackingIfNeed, "startTracking"},
            {&H::storeAppTrackingDataIfCan, "storeAppTracking"},
            {&H::pauseTracking, "pauseTracking"},
            {&H::dataUsageStart, "dataUsage.start"},
            {&H::dataUsageNotifyMacWentOff, "dataUsage.wentOff"},
            {&H::cpuReaderReload, "cpu.reload"},
            {&H::reloadWiFiInterfaceWidget, "widget.wifi"},
            {&H::reloadBatteryUsageWidget, "widget.battery"},
            {&H::flushSettings, "flushSettings"}};
        for (const auto& [member, name] : plain)
            h.*member = [this, name = name] { log.push_back(name); };
        h.setAutoLoginEnabled = [this](bool on) {
            log.push_back(on ? "autoLogin(1)" : "autoLogin(0)");
        };
        h.hasBattery = [this, battery] { return ++hasBatteryQueries, battery; };
        h.powerPercentageLoggerGapTime = [this, gap] { return ++gapQueries, gap; };
        h.storeAppDataUsageIfNeed = [this](bool force) {
            log.push_back(force ? "storeAppDataUsage(force)" : "storeAppDataUsage");
        };
        h.registerPowerSourceChanges = [this](std::function<void()> changed) {
            log.push_back("registerPowerSourceChanges");
            powerSourceChanged = std::move(changed);
        };
        h.subscribeSleepWake = [this](std::function<void()> off, std::function<void()> on) {
            log.push_back("subscribeSleepWake");
            wentOff = std::move(off);
            wentOn = std::move(on);
        };
        h.makeFloatWindowController = [this](AppDelegate& d) {
            ++floatWindowsMade;
            log.push_back("float.make");
            return std::make_unique<FakeFloatWindow>(d, log);
        };
        return h;
    }

    long count(const std::string& name) const { return std::count(log.begin(), log.end(), name); }
};

class AppDelegateTest : public ::testing::Test {
protected:
    void SetUp() override {
        sampler.log = &rec.log;
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
    }
    void TearDown() override { QCoreApplication::processEvents(); }

    // A delegate after start-up on a second launch (floating window off), log cleared.
    std::unique_ptr<AppDelegate> launched(bool battery, double gap = 600) {
        SettingsDomain::standard().setBool(SettingsKey::DidInitSettings, true);
        auto d = std::make_unique<AppDelegate>(sampler, rec.hooks(battery, gap));
        d->applicationDidFinishLaunching();
        rec.log.clear();
        return d;
    }

    Recorder rec;
    FakeSampler sampler;
    SettingsDomain& standard = SettingsDomain::standard();
};

TEST_F(AppDelegateTest, FirstLaunchRunsEveryStepInOrderAndWritesTheDefaults) {
    AppDelegate delegate(sampler, rec.hooks(true));
    delegate.applicationDidFinishLaunching();
    const Log expected = {"autoLogin(0)", "needsUpdate", "registerPowerSourceChanges",
                          "logBatteryHealth", "battery.load", "battery.notify", "net.load",
                          "cpu.load", "storage.load", "startTracking", "dataUsage.start",
                          "sampler.insert", "sampler.start", "subscribeSleepWake",
                          // The first launch switches the floating window on and opens it.
                          "float.make", "float.show"};
    EXPECT_EQ(rec.log, expected);
    EXPECT_TRUE(Settings::shared().wantsBlurBackground());
    EXPECT_DOUBLE_EQ(standard.doubleValue(SettingsKey::FloatWindowBackgroundAlpha), 0.8);
    ASSERT_TRUE(standard.contains(SettingsKey::LayoutLogUnsatisfiable));
    EXPECT_FALSE(standard.boolValue(SettingsKey::LayoutLogUnsatisfiable));
    EXPECT_FALSE(standard.contains(SettingsKey::WantsPopupAnimation)); // nothing else defaulted
}

TEST_F(AppDelegateTest, ALaterLaunchWithoutBatteryKeepsTheUsersValuesAndSkipsBatterySteps) {
    standard.setBool(SettingsKey::DidInitSettings, true);
    standard.setBool(SettingsKey::WantsAutoLogin, true);
    standard.setDouble(SettingsKey::FloatWindowBackgroundAlpha, 0.5);
    standard.setBool(SettingsKey::LayoutLogUnsatisfiable, true);
    AppDelegate delegate(sampler, rec.hooks(false));
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(rec.log,
              (Log{"autoLogin(1)", "net.load", "cpu.load", "storage.load", "startTracking",
                   "dataUsage.start", "sampler.insert", "sampler.start", "subscribeSleepWake"}));
    EXPECT_FALSE(Settings::shared().wantsBlurBackground());
    EXPECT_DOUBLE_EQ(standard.doubleValue(SettingsKey::FloatWindowBackgroundAlpha), 0.5);
    EXPECT_FALSE(standard.boolValue(SettingsKey::LayoutLogUnsatisfiable)); // rewritten each time
    rec.log.clear();
    NotificationCenter::defaultCenter().post(AppDelegate::kBatteryStateDidChange);
    sampler.tick(700);
    EXPECT_EQ(rec.count("widget.battery") + rec.count("needsUpdate") + rec.gapQueries, 0);
    EXPECT_FALSE(rec.powerSourceChanged);
    rec.wentOff();
    rec.log.clear();
    rec.wentOn();
    EXPECT_EQ(rec.log, (Log{"sampler.start", "startTracking"}));
    EXPECT_EQ(rec.hasBatteryQueries, 1);
}

// Per-app data every 300th tick, battery logs every gap (600) ticks, in the fan-out order;
// a gap that is not a whole number of ticks never fires.
TEST_F(AppDelegateTest, TickCountersFireOnTheirExactTick) {
    auto delegate = launched(true, 600.0);
    sampler.tick(299);
    EXPECT_EQ(rec.count("storeAppTracking"), 0);
    sampler.tick();
    EXPECT_EQ(rec.count("storeAppTracking"), 1);
    EXPECT_EQ(delegate->storeAppDataIfNeedPerSec(), 0u);
    sampler.tick(299);
    EXPECT_EQ(rec.count("needsUpdate"), 0);
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 599u);
    rec.log.clear();
    sampler.tick();
    EXPECT_EQ(rec.log, (Log{"cpu.reload", "needsUpdate", "logBatteryHealth", "storeAppTracking",
                            "widget.wifi"}));
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 0u);

    auto odd = launched(true, 600.5);
    sampler.tick(1500);
    EXPECT_EQ(odd->batteryDataRefreshCount(), 1500u);
    EXPECT_EQ(rec.count("needsUpdate"), 2) << "only the first delegate's, at tick 1200 and 1800";
    EXPECT_EQ(rec.count("cpu.reload"), 3000); // every tick, for both delegates
}

TEST_F(AppDelegateTest, SleepAndWakeRunTheirStepsInOrderAndKeepTheTickCounters) {
    auto delegate = launched(true);
    ASSERT_TRUE(rec.wentOff && rec.wentOn);
    sampler.tick(250);
    rec.log.clear();
    rec.wentOff();
    EXPECT_EQ(rec.log, (Log{"sampler.stop", "dataUsage.wentOff", "net.wentOff",
                            "storeAppDataUsage(force)", "pauseTracking", "flushSettings"}));
    EXPECT_FALSE(sampler.running);
    rec.log.clear();
    rec.wentOn();
    EXPECT_EQ(rec.log, (Log{"sampler.start", "needsUpdate", "logBatteryHealth", "startTracking"}));
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 250u);
    sampler.tick(50);
    EXPECT_EQ(rec.count("storeAppTracking"), 1);
}

TEST_F(AppDelegateTest, TheFirstObserverRunsItsExitPathOnceAndLeavesOnDestruction) {
    CountingObserver earlier;
    sampler.addActivityObserver(&earlier);
    auto delegate = launched(false);
    ASSERT_EQ(sampler.observers, (std::vector<ActivityObserver*>{delegate.get(), &earlier}));
    delegate->applicationWillTerminate();
    delegate->applicationWillTerminate();
    EXPECT_EQ(rec.log, (Log{"dataUsage.wentOff", "storeAppDataUsage(force)", "flushSettings"}));
    delegate.reset();
    EXPECT_EQ(sampler.observers, std::vector<ActivityObserver*>{&earlier});
}

TEST_F(AppDelegateTest, PowerSourceChangeIsHandledLaterOnTheMainQueueAndReloadsTheWidget) {
    auto delegate = launched(true);
    ASSERT_TRUE(rec.powerSourceChanged);
    rec.powerSourceChanged();
    EXPECT_TRUE(rec.log.empty()); // only scheduled
    QCoreApplication::processEvents();
    EXPECT_EQ(rec.log, (Log{"loadReports", "battery.update", "battery.notify", "widget.battery"}));
}

TEST_F(AppDelegateTest, FloatWindowToggleShowQuitAndClosingByHand) {
    auto delegate = launched(false);
    EXPECT_TRUE(delegate->toggleFloatWindow());
    ASSERT_NE(delegate->floatWindowController(), nullptr);
    delegate->showFloatWindow(); // reuses the open window
    EXPECT_EQ(rec.floatWindowsMade, 1);
    // Quitting closes the window (which reports its closing) and removes it exactly once.
    EXPECT_FALSE(delegate->toggleFloatWindow());
    EXPECT_EQ(delegate->floatWindowController(), nullptr);
    EXPECT_EQ(sampler.removals, 1u);
    // The user closes a new window by hand: removed once; other windows change nothing.
    EXPECT_TRUE(delegate->toggleFloatWindow());
    auto* second = delegate->floatWindowController();
    int unrelated = 0;
    delegate->windowWillClose(&unrelated);
    EXPECT_EQ(delegate->floatWindowController(), second);
    delegate->windowWillClose(second->window());
    delegate->windowWillClose(nullptr);
    EXPECT_EQ(delegate->floatWindowController(), nullptr);
    EXPECT_EQ(sampler.removals, 2u);
    EXPECT_TRUE(delegate->toggleFloatWindow());
    EXPECT_EQ(rec.floatWindowsMade, 3);
    QCoreApplication::processEvents(); // the dropped controllers are destroyed here

    AppDelegateHooks none = rec.hooks(false);
    none.makeFloatWindowController = nullptr;
    AppDelegate bare(sampler, std::move(none));
    standard.clear();
    bare.applicationDidFinishLaunching(); // a first launch asks for the window
    EXPECT_FALSE(bare.toggleFloatWindow());
    EXPECT_EQ(bare.floatWindowController(), nullptr);
}

} // namespace
