// The per-app usage page: the two list sections and the empty states per range, the chart's
// bars and the "not attributed" figure, the tracking switch's lock and the welcome overlay.
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/Wait.h"
#include "ui/NetAppListView.h"
#include "ui/NetAppToggleView.h"
#include "ui/NetAppViewController.h"
#include "ui/PageSegmentedControl.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

QString tr(const char* key) {
    return Language::getLocalizedString(QLatin1String(key));
}

NetApp app(const QString& name, int64_t in, int64_t out, bool application = true) {
    NetApp a;
    if (application)
        a.bundleIdentifier = "org.example." + name;
    a.name = a.localizedName = name;
    a.bytesIn = in;
    a.bytesOut = out;
    return a;
}

NetDatasetPtr hour(const QString& key, std::vector<NetApp> apps) {
    auto set = std::make_shared<NetDataset>(key);
    set->apps = std::move(apps);
    return set;
}

std::vector<QString> names(const std::vector<NetApp>& apps) {
    std::vector<QString> out;
    for (const NetApp& a : apps)
        out.push_back(a.localizedName);
    return out;
}

// A page over recorded answers: the snapshot arrives when the test says so.
struct FakeSources {
    NetAppPageSources::Completion pending;
    bool running = false;
    bool canRun = true;
    int starts = 0, pauses = 0;
    std::function<void()> launched;
    std::map<NetAppChartView::DateRange, int64_t> unattributed;

    NetAppPageSources sources() {
        NetAppPageSources s;
        s.loadSnapshot = [this](NetAppPageSources::Completion done) { pending = std::move(done); };
        s.lastLoadedTime = [] { return 1750000000.0; };
        s.isRunning = [this] { return running; };
        s.canRunScript = [this] { return canRun; };
        s.startTracking = [this](std::function<void()> l) {
            ++starts;
            launched = std::move(l);
        };
        s.pauseTracking = [this] {
            ++pauses;
            running = false;
        };
        s.notAttributed = [this](NetAppChartView::DateRange range,
                                 const DataSnapshot&) -> std::optional<int64_t> {
            const auto it = unattributed.find(range);
            if (it == unattributed.end())
                return std::nullopt;
            return it->second;
        };
        return s;
    }
    std::unique_ptr<NetAppViewController> page() {
        auto p = std::make_unique<NetAppViewController>(sources());
        p->resize(272, 410);
        p->show();
        return p;
    }
};

DataSnapshot snapshot() {
    DataSnapshot s;
    s.date = "2025-06-15";
    s.weekdays = {"2025-06-15", "2025-06-16", "2025-06-17", "2025-06-18",
                  "2025-06-19", "2025-06-20", "2025-06-21"};
    s.apps = {app("Browser", 9000, 1000), app("Mail", 3000, 1000),
              app(tr("dataUsage.others"), 500, 500, false)};
    s.others = {app("curl", 400, 400, false), app("ssh", 100, 100, false)};
    s.totalBytes = 15000;
    s.datasets.datasets = {
        hour("2025-06-15 03", {app("Browser", 2000, 0), app("curl", 100, 0, false)}),
        hour("2025-06-15 14", {app("Mail", 4000, 1000)})};
    s.data["2025-06-15"] = CookedDataset{s.apps, s.others, s.datasets.datasets};
    s.data["2025-06-17"] = CookedDataset{{app("Mail", 10, 10)}, {}, {}};
    s.weekApps = {app("Mail", 4010, 1010)};
    s.weekTotalBytes = 15020;
    s.weekMaxBytes = 15000;
    return s;
}

void clickSegment(NetAppViewController& page, int index) {
    auto* segments = page.segmentedControl();
    const QPointF at = segments->segmentRect(index).center();
    QMouseEvent press(QEvent::MouseButtonPress, at, segments->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, {});
    QApplication::sendEvent(segments, &press);
}

class NetAppPage : public ::testing::Test {
protected:
    void SetUp() override {
        SettingsDomain::standard().setBool(SettingsKey::AppDataUsageTrackWelcome, true);
    }
    FakeSources fake;
};

TEST_F(NetAppPage, SectionsAndEmptyStatesPerRange) {
    auto page = fake.page();
    auto* list = page->collectionView();
    // Loading, also after switching to the week.
    for (int range : {0, 1}) {
        clickSegment(*page, range);
        EXPECT_TRUE(page->emptyView()->isVisible());
        EXPECT_EQ(page->emptyView()->text(), tr("dataUsage.dataLoading"));
        EXPECT_FALSE(list->isVisible());
    }
    clickSegment(*page, 0);
    ASSERT_TRUE(fake.pending);
    fake.pending(snapshot());
    EXPECT_FALSE(page->emptyView()->isVisible());
    EXPECT_TRUE(list->isVisible());
    EXPECT_EQ(names(list->section(0)),
              (std::vector<QString>{"Browser", "Mail", tr("dataUsage.others")}));
    EXPECT_EQ(names(list->section(1)), (std::vector<QString>{"curl", "ssh"}));
    EXPECT_EQ(NetAppListView::headerText(0, 3), "3 " + tr("dataUsage.apps"));
    EXPECT_EQ(NetAppListView::headerText(0, 1), "1 " + tr("dataUsage.app"));
    EXPECT_EQ(NetAppListView::headerText(1, 2), "2 " + tr("dataUsage.others"));
    EXPECT_EQ(NetAppListView::headerText(1, 0), tr("common.noData"));
    // Section 1 starts below section 0's rows and its own header.
    EXPECT_EQ(list->rowTop(1, 0), 36 + 3 * 56 + 24);

    clickSegment(*page, 1);
    EXPECT_EQ(names(list->section(0)), std::vector<QString>{"Mail"});
    EXPECT_TRUE(list->section(1).empty());

    // A snapshot with nothing in it: "No Data", no list, in both ranges.
    DataSnapshot empty;
    empty.date = "2025-06-15";
    FakeSources second;
    auto blank = second.page();
    second.pending(empty);
    for (int range : {0, 1}) {
        clickSegment(*blank, range);
        EXPECT_EQ(blank->emptyView()->text(), tr("common.noData"));
        EXPECT_TRUE(blank->emptyView()->isVisible());
        EXPECT_FALSE(blank->collectionView()->isVisible());
    }
}

TEST_F(NetAppPage, ChartBarsHoverAndTheUnattributedRest) {
    fake.unattributed = {{NetAppChartView::DateRange::Day, 5000},
                         {NetAppChartView::DateRange::Week, 70000}};
    auto page = fake.page();
    fake.pending(snapshot());
    auto* chart = page->chartView();
    // Hour bars sum every entry of the hour (one-directional ones too): 2100 and 5000.
    ASSERT_EQ(chart->timeline().size(), 2u);
    EXPECT_EQ(chart->scaleMaximum(), 5000);
    EXPECT_EQ(chart->timeline()[0].title, "3H");
    EXPECT_EQ(chart->timeline()[1].frame.height(), chart->plotRect().height());
    EXPECT_NEAR(chart->timeline()[0].frame.height(), chart->plotRect().height() * 2100 / 5000,
                0.01);
    EXPECT_LT(chart->timeline()[0].frame.right(), chart->timeline()[1].frame.left());
    EXPECT_EQ(page->notAttributedBytes(), 5000);
    EXPECT_EQ(chart->notAttributed(), 5000);

    const QPointF at = chart->timeline()[0].frame.center();
    QMouseEvent move(QEvent::MouseMove, at, chart->mapToGlobal(at), Qt::NoButton, {}, {});
    QApplication::sendEvent(chart, &move);
    EXPECT_TRUE(chart->hoverText().startsWith("3H\n"));

    // The week: one bar per day with data, at least 4 points high.
    clickSegment(*page, 1);
    ASSERT_EQ(chart->timeline().size(), 2u);
    EXPECT_EQ(chart->timeline()[1].frame.height(), 4);
    EXPECT_GT(chart->timeline()[1].frame.left(), chart->timeline()[0].frame.right());
    EXPECT_EQ(chart->notAttributed(), 70000);
    fake.unattributed.clear();
    clickSegment(*page, 0);
    EXPECT_FALSE(chart->notAttributed());

    // A share of 0 leaves a dot at 72 and the amount at 78.
    const QLineF dot = NetAppListView::barLine(QRectF(0, 0, 272, 56), 0);
    EXPECT_EQ(dot.x1(), 72);
    EXPECT_EQ(dot.x2(), 72);
    EXPECT_EQ(NetAppListView::amountLeft(0), 78);
}

TEST_F(NetAppPage, SwitchRefusesASecondTapWithinItsLock) {
    auto page = fake.page();
    QAbstractButton* control = page->toggleView()->toggleControl();
    EXPECT_FALSE(control->isChecked());
    control->click();
    control->click();
    EXPECT_EQ(fake.starts, 1);
    EXPECT_EQ(fake.pauses, 0);
    EXPECT_FALSE(control->isEnabled());
    // The tool came up.
    fake.running = true;
    fake.launched();
    EXPECT_TRUE(waitUntil([&] { return control->isEnabled(); }, 3000));
    EXPECT_TRUE(page->toggleView()->isRunning());
    EXPECT_TRUE(control->isChecked());

    SettingsDomain::standard().setBool(SettingsKey::WantsAppDataUsageTracking, true);
    control->click();
    control->click();
    EXPECT_EQ(fake.pauses, 1);
    EXPECT_EQ(fake.starts, 1);
    EXPECT_FALSE(SettingsDomain::standard().boolValue(SettingsKey::WantsAppDataUsageTracking));
    EXPECT_TRUE(waitUntil([&] { return control->isEnabled(); }, 3000));
    EXPECT_FALSE(page->toggleView()->isRunning());
}

TEST_F(NetAppPage, WelcomeOverlayOnceUnlessTheToolIsMissing) {
    const int fade = std::exchange(NetAppWelcomeView::fadeDuration, 0);
    SettingsDomain::standard().remove(SettingsKey::AppDataUsageTrackWelcome);
    {
        auto page = fake.page();
        ASSERT_TRUE(page->welcomeView());
        EXPECT_FALSE(page->welcomeView()->showsNote());
        EXPECT_EQ(page->welcomeView()->geometry(), QRect(0, 44, 272, 410 - 44));
        page->welcomeView()->button()->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_FALSE(page->welcomeView());
        EXPECT_TRUE(SettingsDomain::standard().boolValue(SettingsKey::AppDataUsageTrackWelcome));
    }
    EXPECT_FALSE(fake.page()->welcomeView());
    // Without the tool it comes back at every load, with the note.
    fake.canRun = false;
    for (int load = 0; load < 2; ++load) {
        auto page = fake.page();
        ASSERT_TRUE(page->welcomeView());
        EXPECT_TRUE(page->welcomeView()->showsNote());
        page->welcomeView()->button()->click();
    }
    NetAppWelcomeView::fadeDuration = fade;
}

} // namespace
