// Start-up order, first-run defaults, the heartbeat's tick counters, sleep, wake, exit and
// the floating window, driven through a fake sampler and recording hooks.
#include "app/AppDelegate.h"
#include "network/ActivityObject.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using Log = std::vector<std::string>;

class FakeSampler : public ActivitySampler {
public:
    explicit FakeSampler(Log& log) : log_(log) {}
    void insertActivityObserver(ActivityObserver* o) override {
        log_.push_back("sampler.insert");
        if (std::find(observers.begin(), observers.end(), o) == observers.end())
            observers.insert(observers.begin(), o);
    }
    void addActivityObserver(ActivityObserver* o) override {
        if (std::find(observers.begin(), observers.end(), o) == observers.end())
            observers.push_back(o);
    }
    void removeActivityObserver(ActivityObserver* o) override {
        const auto before = observers.size();
        observers.erase(std::remove(observers.begin(), observers.end(), o), observers.end());
        removals += before - observers.size();
    }
    void startMonitoring() override { log_.push_back("sampler.start"), running = true; }
    void stopMonitoring() override { log_.push_back("sampler.stop"), running = false; }
    // Delivers n records to the observers in list order, as the sampler does.
    void tick(int n = 1) {
        for (int i = 0; i < n; ++i) {
            auto record = std::make_shared<const ActivityObject>();
            for (ActivityObserver* o : std::vector(observers))
                o->networkActivityDidUpdate(record);
        }
    }

    std::vector<ActivityObserver*> observers;
    size_t removals = 0;
    bool running = false;

private:
    Log& log_;
};

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
    const void* window() const override { return &windowIdentity_; }

    CountingObserver observer;

private:
    AppDelegate& delegate_;
    Log& log_;
    int windowIdentity_ = 0;
};

struct Recorder {
    Log log;
    int hasBatteryQueries = 0, gapQueries = 0, floatWindowsMade = 0;
    std::function<void()> powerSourceChanged, wentOff, wentOn;

    AppDelegateHooks hooks(bool battery, double gap = 600.0) {
        AppDelegateHooks h;
        auto rec = [this](const char* name) { return [this, name] { log.push_back(name); }; };
        h.setAutoLoginEnabled = [this](bool on) {
            log.push_back(on ? "setAutoLoginEnabled(true)" : "setAutoLoginEnabled(false)");
        };
        h.hasBattery = [this, battery] { return ++hasBatteryQueries, battery; };
        h.powerPercentageLoggerNeedsUpdate = rec("needsUpdate");
        h.powerPercentageLoggerGapTime = [this, gap] { return ++gapQueries, gap; };
        h.registerPowerSourceChanges = [this](std::function<void()> changed) {
            log.push_back("registerPowerSourceChanges");
            powerSourceChanged = std::move(changed);
        };
        h.logBatteryHealthIfNeed = rec("logBatteryHealthIfNeed");
        h.loadBatteryMenuBarItemIfNeed = rec("loadBatteryMenuBarItemIfNeed");
        h.updateBatteryMenuBarItemIfNeed = rec("updateBatteryMenuBarItemIfNeed");
        h.postBatteryUserNotificationIfNeed = rec("postBatteryUserNotificationIfNeed");
        h.loadBatteryReports = rec("loadReports");
        h.loadNetMenuBarItemIfNeed = rec("net.loadMenuBarItemIfNeed");
        h.netMenuBarNotifyMacWentOff = rec("net.notifyMacWentOff");
        h.loadCPUMenuBarItemIfNeed = rec("cpu.loadMenuBarItemIfNeed");
        h.loadStorageMenuBarItemIfNeed = rec("storage.loadMenuBarItemIfNeed");
        h.startTrackingIfNeed = rec("startTrackingIfNeed");
        h.storeAppTrackingDataIfCan = rec("storeAppTrackingDataIfCan");
        h.storeAppDataUsageIfNeed = [this](bool force) {
            log.push_back(force ? "storeAppDataUsageIfNeed(force)" : "storeAppDataUsageIfNeed");
        };
        h.pauseTracking = rec("pauseTracking");
        h.dataUsageStart = rec("dataUsage.start");
        h.dataUsageNotifyMacWentOff = rec("dataUsage.notifyMacWentOff");
        h.cpuReaderReload = rec("cpu.reload");
        h.reloadWiFiInterfaceWidget = rec("widget.wifi");
        h.reloadBatteryUsageWidget = rec("widget.battery");
        h.reloadDataUsageWidget = rec("widget.dataUsage");
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
        h.flushSettings = rec("flushSettings");
        return h;
    }

    long count(const std::string& name) const { return std::count(log.begin(), log.end(), name); }
};

class AppDelegateTest : public ::testing::Test {
protected:
    void SetUp() override {
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
    FakeSampler sampler{rec.log};
};

TEST_F(AppDelegateTest, FirstLaunchRunsEveryStepInOrderWithBattery) {
    AppDelegate delegate(sampler, rec.hooks(true));
    delegate.applicationDidFinishLaunching();
    const Log expected = {
        "setAutoLoginEnabled(false)", "needsUpdate", "registerPowerSourceChanges",
        "logBatteryHealthIfNeed", "loadBatteryMenuBarItemIfNeed",
        "postBatteryUserNotificationIfNeed", "net.loadMenuBarItemIfNeed",
        "cpu.loadMenuBarItemIfNeed", "storage.loadMenuBarItemIfNeed", "startTrackingIfNeed",
        "dataUsage.start", "sampler.insert", "sampler.start", "subscribeSleepWake",
        // First launch switches the floating window on, so start-up ends by opening it.
        "float.make", "float.show"};
    EXPECT_EQ(rec.log, expected);
    EXPECT_TRUE(sampler.running);
    EXPECT_NE(delegate.floatWindowController(), nullptr);
}

TEST_F(AppDelegateTest, WithoutBatteryNoBatteryStepEverRuns) {
    SettingsDomain::standard().setBool(SettingsKey::DidInitSettings, true);
    SettingsDomain::standard().setBool(SettingsKey::WantsAutoLogin, true);
    AppDelegate delegate(sampler, rec.hooks(false));
    delegate.applicationDidFinishLaunching();
    const Log expected = {"setAutoLoginEnabled(true)",
                          "net.loadMenuBarItemIfNeed",
                          "cpu.loadMenuBarItemIfNeed",
                          "storage.loadMenuBarItemIfNeed",
                          "startTrackingIfNeed",
                          "dataUsage.start",
                          "sampler.insert",
                          "sampler.start",
                          "subscribeSleepWake"};
    EXPECT_EQ(rec.log, expected);
    rec.log.clear();
    NotificationCenter::defaultCenter().post(AppDelegate::kBatteryStateDidChange);
    EXPECT_EQ(rec.count("widget.battery"), 0);
    EXPECT_FALSE(rec.powerSourceChanged);

    sampler.tick(700);
    EXPECT_EQ(delegate.batteryDataRefreshCount(), 0u);
    EXPECT_EQ(rec.gapQueries, 0);
    EXPECT_EQ(rec.count("needsUpdate"), 0);
    // Waking without a battery only restarts sampling and tracking.
    rec.wentOff();
    rec.log.clear();
    rec.wentOn();
    EXPECT_EQ(rec.log, (Log{"sampler.start", "startTrackingIfNeed"}));
    EXPECT_EQ(rec.hasBatteryQueries, 1);
}

TEST_F(AppDelegateTest, FirstRunDefaultsAreWrittenOnceAndLeftAloneOnTheSecondLaunch) {
    SettingsDomain& standard = SettingsDomain::standard();
    Settings& settings = Settings::shared();
    {
        AppDelegate first(sampler, rec.hooks(false));
        first.applicationDidFinishLaunching();
    }
    EXPECT_TRUE(standard.boolValue(SettingsKey::DidInitSettings));
    EXPECT_TRUE(settings.wantsBlurBackground());
    EXPECT_TRUE(settings.showsFloatWindow());
    EXPECT_DOUBLE_EQ(standard.doubleValue(SettingsKey::FloatWindowBackgroundAlpha), 0.8);
    ASSERT_TRUE(standard.contains(SettingsKey::LayoutLogUnsatisfiable));
    EXPECT_FALSE(standard.boolValue(SettingsKey::LayoutLogUnsatisfiable));
    EXPECT_FALSE(standard.contains(SettingsKey::WantsPopupAnimation)); // nothing else defaulted

    // The second launch keeps the user's values, but rewrites the layout-logging key.
    settings.setWantsBlurBackground(false);
    settings.setShowsFloatWindow(false);
    settings.setFloatWindowBackgroundAlpha(0.5);
    standard.setBool(SettingsKey::LayoutLogUnsatisfiable, true);
    rec.log.clear();
    AppDelegate second(sampler, rec.hooks(false));
    second.applicationDidFinishLaunching();
    EXPECT_FALSE(settings.wantsBlurBackground());
    EXPECT_FALSE(settings.showsFloatWindow());
    EXPECT_DOUBLE_EQ(standard.doubleValue(SettingsKey::FloatWindowBackgroundAlpha), 0.5);
    EXPECT_FALSE(standard.boolValue(SettingsKey::LayoutLogUnsatisfiable));
    EXPECT_EQ(rec.count("float.make"), 0);
}

TEST_F(AppDelegateTest, DelegateBecomesTheFirstObserverAndLeavesOnDestruction) {
    CountingObserver earlier;
    sampler.addActivityObserver(&earlier);
    auto delegate = launched(false);
    ASSERT_EQ(sampler.observers, (std::vector<ActivityObserver*>{delegate.get(), &earlier}));
    sampler.tick();
    EXPECT_EQ(earlier.ticks, 1);
    EXPECT_EQ(rec.log.front(), "cpu.reload");
    delegate.reset();
    EXPECT_EQ(sampler.observers, std::vector<ActivityObserver*>{&earlier});
}

TEST_F(AppDelegateTest, PerAppDataIsStoredOnTheThreeHundredthTickNotTheTwoHundredNinetyNinth) {
    auto delegate = launched(false);
    for (int round = 1; round <= 2; ++round) {
        sampler.tick(299);
        EXPECT_EQ(rec.count("storeAppTrackingDataIfCan"), round - 1);
        EXPECT_EQ(delegate->storeAppDataIfNeedPerSec(), 299u);
        sampler.tick();
        EXPECT_EQ(rec.count("storeAppTrackingDataIfCan"), round);
        EXPECT_EQ(delegate->storeAppDataIfNeedPerSec(), 0u);
    }
    // CPU and the Wi-Fi widget are reloaded on every single tick.
    EXPECT_EQ(rec.count("cpu.reload"), 600);
    EXPECT_EQ(rec.count("widget.wifi"), 600);
}

TEST_F(AppDelegateTest, BatteryLogsRefreshExactlyEveryGapTicksInTheFanOutOrder) {
    auto delegate = launched(true, 600.0);
    sampler.tick(599);
    EXPECT_EQ(rec.count("needsUpdate"), 0);
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 599u);
    rec.log.clear();
    sampler.tick(); // tick 600: also a multiple of 300
    EXPECT_EQ(rec.log, (Log{"cpu.reload", "needsUpdate", "logBatteryHealthIfNeed",
                            "storeAppTrackingDataIfCan", "widget.wifi"}));
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 0u);
    sampler.tick(600);
    EXPECT_EQ(rec.count("needsUpdate"), 2);
    EXPECT_EQ(rec.count("logBatteryHealthIfNeed"), 2);

    // A gap that is not a whole number of ticks never fires.
    auto odd = launched(true, 600.5);
    sampler.tick(1500);
    EXPECT_EQ(odd->batteryDataRefreshCount(), 1500u);
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 300u);
    EXPECT_EQ(rec.count("needsUpdate"), 2) << "the first delegate's, at ticks 1800 and 2400";
}

TEST_F(AppDelegateTest, SleepAndWakeRunTheirStepsInOrderAndKeepTheTickCounters) {
    auto delegate = launched(true);
    ASSERT_TRUE(rec.wentOff && rec.wentOn);
    sampler.tick(250);
    rec.log.clear();
    rec.wentOff();
    EXPECT_EQ(rec.log, (Log{"sampler.stop", "dataUsage.notifyMacWentOff", "net.notifyMacWentOff",
                            "storeAppDataUsageIfNeed(force)", "pauseTracking", "flushSettings"}));
    EXPECT_FALSE(sampler.running);
    rec.log.clear();
    rec.wentOn();
    EXPECT_EQ(rec.log, (Log{"sampler.start", "needsUpdate", "logBatteryHealthIfNeed",
                            "startTrackingIfNeed"}));
    EXPECT_TRUE(sampler.running);
    EXPECT_EQ(delegate->storeAppDataIfNeedPerSec(), 250u);
    EXPECT_EQ(delegate->batteryDataRefreshCount(), 250u);
    sampler.tick(50);
    EXPECT_EQ(rec.count("storeAppTrackingDataIfCan"), 1);
}

TEST_F(AppDelegateTest, ExitPathRunsOnceHoweverOftenItIsAskedFor) {
    auto delegate = launched(false);
    delegate->applicationWillTerminate();
    delegate->applicationWillTerminate();
    EXPECT_EQ(rec.log, (Log{"dataUsage.notifyMacWentOff", "storeAppDataUsageIfNeed(force)",
                            "flushSettings"}));
    EXPECT_TRUE(delegate->didTerminate());
    EXPECT_FALSE(delegate->applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(AppDelegateTest, PowerSourceChangeIsHandledLaterOnTheMainQueueAndReloadsTheWidget) {
    auto delegate = launched(true);
    ASSERT_TRUE(rec.powerSourceChanged);
    rec.powerSourceChanged();
    EXPECT_TRUE(rec.log.empty()); // only scheduled
    QCoreApplication::processEvents();
    EXPECT_EQ(rec.log, (Log{"loadReports", "updateBatteryMenuBarItemIfNeed",
                            "postBatteryUserNotificationIfNeed", "widget.battery"}));
    // The data usage widget is reloaded only when called directly, not by notification.
    NotificationCenter::defaultCenter().post("DataUsageDidUpdateNotificationName");
    EXPECT_EQ(rec.count("widget.dataUsage"), 0);
}

TEST_F(AppDelegateTest, FloatWindowToggleShowQuitAndClosingByHand) {
    auto delegate = launched(false);
    EXPECT_TRUE(delegate->toggleFloatWindow());
    auto* first = static_cast<FakeFloatWindow*>(delegate->floatWindowController());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(sampler.observers.back(), &first->observer);
    sampler.tick();
    EXPECT_EQ(first->observer.ticks, 1);
    delegate->showFloatWindow(); // reuses the open window
    EXPECT_EQ(rec.floatWindowsMade, 1);

    // Quitting closes the window (which reports its closing) and removes it exactly once.
    EXPECT_FALSE(delegate->toggleFloatWindow());
    EXPECT_EQ(delegate->floatWindowController(), nullptr);
    EXPECT_EQ(sampler.removals, 1u);
    EXPECT_EQ(rec.count("float.close"), 1);

    // The user closes a new window by hand: removed once, and a toggle opens a new one.
    EXPECT_TRUE(delegate->toggleFloatWindow());
    auto* second = delegate->floatWindowController();
    int unrelated = 0;
    delegate->windowWillClose(&unrelated);
    EXPECT_EQ(delegate->floatWindowController(), second);
    delegate->windowWillClose(second->window());
    EXPECT_EQ(delegate->floatWindowController(), nullptr);
    delegate->windowWillClose(nullptr);
    EXPECT_EQ(sampler.removals, 2u);
    EXPECT_TRUE(delegate->toggleFloatWindow());
    EXPECT_EQ(rec.floatWindowsMade, 3);
    QCoreApplication::processEvents(); // the dropped controllers are destroyed here
}

TEST_F(AppDelegateTest, WithoutAFloatingWindowComponentToggleOpensNothing) {
    AppDelegateHooks hooks = rec.hooks(false);
    hooks.makeFloatWindowController = nullptr;
    AppDelegate delegate(sampler, std::move(hooks));
    delegate.applicationDidFinishLaunching(); // first launch asks for the window
    EXPECT_EQ(delegate.floatWindowController(), nullptr);
    EXPECT_FALSE(delegate.toggleFloatWindow());
}

} // namespace
