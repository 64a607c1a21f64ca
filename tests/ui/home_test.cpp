// The home page rendered offscreen over a fake sampler, a data-usage provider with a fixed
// clock and a fed volume.
#include "menubar/StockView_T.h"
#include "network/DataUsageProvider.h"
#include "network/NetworkMonitor.h"
#include "settings/DynamicAppearance.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "system/StorageUsageProvider.h"
#include "ui/BatteryBox.h"
#include "ui/BatteryHealthViewController.h"
#include "ui/BatteryHistoryViewController.h"
#include "ui/DataUsageBox.h"
#include "ui/HomeFootView.h"
#include "ui/HomePanel.h"
#include "ui/MenuPopoverWindow.h"
#include "ui/NetAppViewController.h"
#include "ui/NetBox.h"
#include "ui/NetViewController.h"
#include "ui/StorageBox.h"
#include "ui/TabBarController.h"
#include "ui/TitleBox.h"
#include "ui/TransitionController.h"
#include "ui/WelcomeView.h"

#include "support/TempDir.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimeZone>
#include <QToolButton>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

// Readable texts in failures.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace {

// No links and no route: the sampler runs but sees no network.
struct QuietNet : LinkSource, RouteSource {
    bool readCounters(std::vector<LinkEntry>& out) override {
        out.clear();
        return true;
    }
    QString lastIPv4Address() override { return {}; }
    std::optional<uint32_t> reachabilityFlags() override { return 0u; }
};

struct FixedVolume : VolumeCapacitySource {
    std::optional<VolumeCapacities> figures;
    std::optional<VolumeCapacities> capacities(const QString&) override { return figures; }
};

// A detail page that counts the records it is handed.
struct CountingPage : TransitionController {
    int records = 0;
    void activityDidUpdate(const ActivityObject&) override { ++records; }
};

ActivityRecord record(int mode, std::optional<QString> ssid = {}, std::optional<QString> ip = {}) {
    auto r = std::make_shared<ActivityObject>();
    r->netMode = mode;
    r->ssid = std::move(ssid);
    r->IPLocation = std::move(ip);
    return r;
}

class HomeTest : public ::testing::Test {
protected:
    void SetUp() override {
        TransitionController::animationDuration = 0;
        SettingsDomain::standard().clear();
        SettingsDomain::group().clear();
        StorageUsageProvider::setVolumeSource(volume);
        volume->figures = VolumeCapacities{500'107'862'016, 200'000'000'000, 200'000'000'000,
                                           200'000'000'000, 200'000'000'000};
        ASSERT_TRUE(berlin.isValid()) << "the time zone database is missing";
        group.setValue(
            SettingsKey::DataUsageData,
            DataUsageProvider::storedForm(
                {{"2026-11-19 15", 5, 6}, {"2026-11-20 12", 0, 1}, {"2026-11-20 14", 40, 30}}));
        DataUsageProvider::Environment env;
        env.now = [this] { return QDateTime(QDate(2026, 11, 20), QTime(14, 30), berlin); };
        env.timeZone = berlin;
        env.group = &group;
        dataUsage = std::make_unique<DataUsageProvider>(env);
    }
    void TearDown() override {
        monitor.stopMonitoring();
        StorageUsageProvider::setVolumeSource(nullptr);
    }
    std::unique_ptr<NetViewController> page(bool battery = false) {
        NetViewSources sources;
        sources.monitor = &monitor;
        sources.dataUsage = dataUsage.get();
        sources.hasBattery = [battery] { return battery; };
        sources.batteryDataset = [] { return std::vector<nlohmann::json>(); };
        return std::make_unique<NetViewController>(sources);
    }

    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::shared_ptr<QuietNet> net = std::make_shared<QuietNet>();
    NetworkMonitor monitor{NetworkMonitorSources{net, net, nullptr, [] { return 100.0; }, &group}};
    std::shared_ptr<FixedVolume> volume = std::make_shared<FixedVolume>();
    QTimeZone berlin{"Europe/Berlin"};
    std::unique_ptr<DataUsageProvider> dataUsage;
};

TEST_F(HomeTest, TitleBoxFollowsTheConnectionAndTheSubtitleSetting) {
    struct Case {
        ActivityRecord record;
        int subtitleType;
        std::optional<QString> title, subtitle;
    } cases[] = {
        {record(0, "Home", "10.0.0.2"), 1, "NO NETWORK", std::nullopt},
        {record(1), 1, "Wi-Fi", std::nullopt}, // hidden network, no address yet
        {record(2, std::nullopt, "10.64.1.9"), 0, "WWAN", std::nullopt},
        {record(2, "Carrier", "10.64.1.9"), 1, "Carrier", "10.64.1.9"},
        {record(1, "Home", "192.168.1.7"), 1, "Home", "192.168.1.7"},
        {record(1, "Home", "192.168.1.7"), 2, "Home", std::nullopt},
    };
    auto home = page();
    for (const Case& c : cases) {
        SettingsDomain::standard().setInteger(SettingsKey::HomepageSubtitleType, c.subtitleType);
        home->networkActivityDidUpdate(c.record);
        const TitleBox* box = home->titleBox();
        EXPECT_EQ(box->title(), c.title) << c.record->netMode;
        EXPECT_EQ(box->subtitle(), c.subtitle) << c.title->toStdString();
        EXPECT_EQ(box->button()->isHidden(), c.record->netMode == 0) << c.title->toStdString();
    }
}

TEST_F(HomeTest, SpeedColumnsShowPaceTotalAndAverage) {
    const std::pair<uint64_t, const char*> totals[] = {{2'097'152, "2.00 MB"},
                                                       {500, "0 KB"},
                                                       {1'049'599, "1024 KB"},
                                                       {1'049'600, "1.00 MB"},
                                                       {1'073'741'824, "1024.00 MB"}};
    for (const auto& [kb, text] : totals)
        EXPECT_EQ(NetBox::totalText(kb), QString::fromUtf8(text)) << kb;

    NetBox box;
    auto r = std::make_shared<ActivityObject>();
    r->netMode = 1;
    r->netActivities = {2'097'152, 500};
    r->paceActivities = {1025, 1024};
    r->sentNumbers = std::vector<uint64_t>{1025, 0, 0};
    r->downNumbers = std::vector<uint64_t>{1024, 20'000, 20'000};
    // A closed panel only keeps the series; the texts follow when the box is seen again.
    box.networkActivityDidUpdate(r);
    EXPECT_EQ(box.receivedStock()->data().back(), 1024u);
    EXPECT_EQ(box.paceValue(true), "0");
    box.show();
    EXPECT_EQ(box.paceValue(true) + box.paceUnit(true), "1.00MB/s");
    EXPECT_EQ(box.paceValue(false) + box.paceUnit(false), "1024KB/s");
    // Averages over the sparkline's 20 seconds, diluted while the history is short.
    EXPECT_EQ(box.totalLine(true), QString::fromUtf8("2.00 MB \u2022 AVG: 51 KB"));
    EXPECT_EQ(box.totalLine(false), QString::fromUtf8("0 KB \u2022 AVG: 2.00 MB"));
    EXPECT_EQ(box.sentStock()->data().back(), 1025u);
}

TEST_F(HomeTest, DataUsageBarsShareTheWidthAndNeverDropBelowFivePoints) {
    struct Case {
        std::vector<int64_t> values;
        std::vector<QRectF> frames;
    } cases[] = {
        {{0, 10, 5}, {{0, 20, 15, 5}, {16, 0, 15, 25}, {32, 10, 15, 15}}},
        {{0, 0}, {{0, 20, 23, 5}, {24, 20, 23, 5}}},
        {{7}, {{0, 0, 47, 25}}},
    };
    for (const Case& c : cases) {
        const auto frames = DataUsageBox::barFrames(QRectF(0, 0, 47, 25), c.values);
        ASSERT_EQ(frames.size(), c.frames.size());
        for (size_t i = 0; i < frames.size(); ++i)
            EXPECT_EQ(frames[i], c.frames[i]) << c.values.size() << " bars, bar " << i;
    }
}

TEST_F(HomeTest, DataUsageOfTheLast24HoursAtHalfPastTwoEndsWithThe2PMBucket) {
    DataUsageBox box(dataUsage.get());
    box.resize(272, DataUsageBox::kHeight);
    ASSERT_EQ(box.timeRange(), 0);
    EXPECT_EQ(box.data().front().timeIdentifier, "0H");

    setDataUsageTimeRange(1); // the box re-reads the range on the notification
    ASSERT_EQ(box.timeRange(), 1);
    ASSERT_EQ(box.data().size(), 24u);
    EXPECT_EQ(box.data().front().timeIdentifier, "3PM");
    const auto& timeline = box.timeline();
    ASSERT_EQ(timeline.size(), 48u);
    const TimelineAtom& lastUp = timeline[23];
    const TimelineAtom& lastDown = timeline[47];
    EXPECT_EQ(lastUp.text, "2PM: 30.00 KB");
    EXPECT_EQ(lastDown.text, "2PM: 40.00 KB");
    EXPECT_EQ(timeline[21].text, "12PM: 1.00 KB");
    EXPECT_EQ(timeline[45].text, "12PM: 0 bytes");
    // The newest bars close both charts and are the tallest; zero bars are 5 points high.
    EXPECT_NEAR(lastUp.frame.right(), box.uploadChartRect().right(), 1e-9);
    EXPECT_NEAR(lastDown.frame.right(), box.downloadChartRect().right(), 1e-9);
    EXPECT_EQ(lastUp.frame.height(), box.uploadChartRect().height());
    EXPECT_EQ(timeline[45].frame.height(), DataUsageBox::kMinimumBarHeight);
    EXPECT_NE(lastUp.textColor, timeline[45].textColor);

    // Real pixels: the tallest bar is painted to the chart's top, the zero bar only 5 high.
    const QImage image = box.grab().toImage();
    const auto pixel = [&](QPointF at) {
        return image.pixelColor((at * box.devicePixelRatioF()).toPoint());
    };
    EXPECT_EQ(pixel(lastUp.frame.center() - QPointF(0, lastUp.frame.height() / 2 - 1)).rgb(),
              lastUp.textColor.rgb());
    const QRectF zero = timeline[45].frame;
    EXPECT_EQ(pixel(zero.center()).rgb(), timeline[45].textColor.rgb());
    EXPECT_NE(pixel(zero.center() - QPointF(0, 6)).rgb(), timeline[45].textColor.rgb());

    // Hover: the bar under the pointer, in its colour; nothing between bars or after leaving.
    const auto move = [&](QPointF at) {
        QMouseEvent e(QEvent::MouseMove, at, box.mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                      Qt::NoModifier);
        QCoreApplication::sendEvent(&box, &e);
    };
    move(lastDown.frame.center());
    EXPECT_EQ(box.hoverText(), "2PM: 40.00 KB");
    EXPECT_EQ(box.hoverColor(), lastDown.textColor);
    move(QPointF(lastUp.frame.right() + 6, lastUp.frame.center().y())); // between the charts
    EXPECT_TRUE(box.hoverText().isEmpty());
    move(lastUp.frame.center());
    EXPECT_EQ(box.hoverText(), "2PM: 30.00 KB");
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(&box, &leave);
    EXPECT_TRUE(box.hoverText().isEmpty());
}

TEST_F(HomeTest, WidgetContainerFollowsTheSwitchesAndTheBattery) {
    struct Case {
        bool storage, battery, hasBattery;
        int height;
    } cases[] = {{false, false, true, 410}, {true, false, true, 546}, {false, true, true, 550},
                 {true, true, true, 686},   {true, true, false, 546}, {false, true, false, 410}};
    for (const Case& c : cases) {
        SettingsDomain::standard().clear();
        auto home = page(c.hasBattery);
        Settings::shared().setShowsHomepageStorageUsage(c.storage); // rebuilt on the notification
        Settings::shared().setShowsHomepageBatteryUsage(c.battery);
        const std::string what = std::to_string(c.height);
        EXPECT_EQ(home->size(), QSize(272, c.height)) << what;
        // The panel window is sized before the page exists: the same size and its margins.
        EXPECT_EQ(MenuPopoverWindow::windowSizeFor(
                      MenuPopoverWindow::homePanelContentSize(c.storage, c.battery, c.hasBattery)),
                  QSize(304, c.height + 20))
            << what;
        EXPECT_EQ(home->widgetContainer()->height(), c.height - 410) << what;
        EXPECT_EQ(home->storageBox() != nullptr, c.storage) << what;
        EXPECT_EQ(home->batteryBox() != nullptr, c.battery && c.hasBattery) << what;
        EXPECT_EQ(home->footView()->batteryButton() != nullptr, c.hasBattery) << what;
        EXPECT_EQ(home->footView()->geometry().bottom() + 1, c.height) << what;
        home->show();
        QCoreApplication::processEvents();
        if (home->storageBox()) {
            EXPECT_EQ(home->storageBox()->geometry(), QRect(0, 0, 272, 136)) << what;
        }
        if (home->batteryBox()) {
            EXPECT_EQ(home->batteryBox()->y(), c.storage ? 136 : 0) << what;
        }
    }
}

TEST_F(HomeTest, StorageBoxOfAnUnreadableVolumeShowsAnEmptyBar) {
    Settings::shared().setShowsHomepageStorageUsage(true);
    auto home = page();
    StorageBox* box = home->storageBox();
    ASSERT_NE(box, nullptr);
    EXPECT_DOUBLE_EQ(box->percentage, 1.0 - 200e9 / 500107862016.0);
    volume->figures.reset();
    home->networkActivityDidUpdate(record(0)); // the tick refreshes it
    EXPECT_EQ(box->percentage, 0.0);
    for (const QString& text : {box->usedAttributedString, box->availableAttributedString})
        EXPECT_FALSE(text.contains("nan", Qt::CaseInsensitive)) << text.toStdString();
    const QImage image = box->grab().toImage(); // paints without a NaN bar
    EXPECT_FALSE(image.isNull());
}

TEST_F(HomeTest, PageObservesTheSamplerOnlyWhileVisibleAndGreetsOnce) {
    int restarts = 0;
    Settings::shared().setWantsAppDataUsageTracking(true);
    SettingsDomain::standard().setInteger(SettingsKey::AppReviewRequestCount, 8);
    {
        auto home = page();
        home->restartAppTracking = [&] { ++restarts; };
        const auto observing = [&](const ActivityObserver* o) {
            const auto& list = monitor.activityObservers();
            return std::count(list.begin(), list.end(), o);
        };
        EXPECT_EQ(observing(home->netBox()), 1);
        EXPECT_EQ(observing(home.get()), 0);
        ASSERT_FALSE(monitor.isRunning());

        home->show();
        EXPECT_EQ(observing(home.get()), 1);
        EXPECT_TRUE(monitor.isRunning());
        EXPECT_EQ(restarts, 1);
        ASSERT_NE(home->welcomeView(), nullptr);
        EXPECT_TRUE(SettingsDomain::standard().boolValue(SettingsKey::WelcomeShown));

        home->hide();
        EXPECT_EQ(observing(home.get()), 0);
        EXPECT_EQ(observing(home->netBox()), 1);
        home->show(); // running sampler: no restart; no second count or greeting
        EXPECT_EQ(observing(home.get()), 1);
        EXPECT_EQ(restarts, 1);
        EXPECT_EQ(SettingsDomain::standard().integerValue(SettingsKey::AppReviewRequestCount), 9);

        home->welcomeView()->startButton()->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_EQ(home->welcomeView(), nullptr);
    }
    EXPECT_TRUE(monitor.activityObservers().empty()); // both gone with the page

    monitor.stopMonitoring();
    auto again = page(); // a later page: no greeting, the count goes on
    again->show();
    EXPECT_EQ(again->welcomeView(), nullptr);
    EXPECT_EQ(SettingsDomain::standard().integerValue(SettingsKey::AppReviewRequestCount), 10);
}

TEST_F(HomeTest, ReviewIsAskedOnTheTenthTwentyFifthAndSixtiethAppearanceOnly) {
    std::vector<int> asked;
    for (int n = 1; n <= 100; ++n)
        if (NetViewController::runReviewRequestStep())
            asked.push_back(n);
    EXPECT_EQ(asked, (std::vector<int>{10, 25, 60}));
    EXPECT_EQ(SettingsDomain::standard().integerValue(SettingsKey::AppReviewRequestCount), 100);
}

TEST_F(HomeTest, DetailPagesOpenOnceGetTheTicksAndBatteryTabsKeepTheirTab) {
    auto home = page(true);
    home->show();
    int made = 0, toggles = 0;
    CountingPage* status = nullptr;
    home->makeStatusPage = [&] {
        ++made;
        return status = new CountingPage;
    };
    home->toggleFloatWindow = [&] { ++toggles; };
    home->titleBox()->applyRecord(*record(1, "Home"), false);
    home->titleBox()->button()->click();
    home->showStatusViewController();
    EXPECT_EQ(made, 1);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->parentWidget(), home.get());
    EXPECT_EQ(status->geometry(), home->rect());
    home->networkActivityDidUpdate(record(1));
    EXPECT_EQ(status->records, 1);
    home->footView()->floatingWindowButton()->click();
    EXPECT_EQ(toggles, 1);
    EXPECT_FALSE(home->footView()->settingsButton()->isHidden()); // opens the settings window
    home->footView()->batteryButton()->click(); // no factory wired: nothing happens
    EXPECT_EQ(home->findChildren<TransitionController*>().size(), 1u);
    status->dismiss();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    home->showStatusViewController();
    EXPECT_EQ(made, 2);
    status->dismiss();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    // The footer's battery button opens the two battery tabs on the tab last chosen; the data
    // usage box's button opens the per-app page over the process-wide providers.
    home->makeBatteryHealthPage = HomePanel::makeBatteryTabPage;
    home->makeAppUsagePage = HomePanel::makeAppUsagePage;
    const auto tabs = [&] { return home->findChild<TabBarController*>(); };
    for (int expected : {0, 1}) {
        home->footView()->batteryButton()->click();
        ASSERT_TRUE(tabs());
        EXPECT_TRUE(qobject_cast<BatteryHealthViewController*>(tabs()->viewControllers()[0]));
        EXPECT_TRUE(qobject_cast<BatteryHistoryViewController*>(tabs()->viewControllers()[1]));
        EXPECT_EQ(tabs()->selectedIndex(), expected);
        tabs()->select(1);
        tabs()->dismiss();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_FALSE(tabs());
    }
    home->dataUsageBox()->button()->click();
    auto* apps = home->findChild<NetAppViewController*>();
    ASSERT_TRUE(apps);
    EXPECT_EQ(apps->geometry(), home->rect());
}

} // namespace
