// Texts, decimals, offline behaviour and widths of the network status item styles.
#include "menubar/NetMenuBox.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <gtest/gtest.h>

namespace {

ActivityObject record(uint64_t sent, uint64_t received, int netMode = ReachableViaWiFi) {
    ActivityObject a;
    a.netMode = netMode;
    a.paceActivities = {sent, received};
    return a;
}

class StyleTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto& d = SettingsDomain::standard();
        for (const char* key :
             {SettingsKey::PreferredTrafficType, SettingsKey::MenuBoxPreferredWidth,
              "app.menuBar.stock.sent", "app.menuBar.stock.received", "app.menuBar.stock.large"})
            d.remove(key);
    }
};

// The widths of the offered styles are checked on pixels and on the controller.
TEST_F(StyleTest, TheFactoryBuildsEachOfferedStyleAndAnEightyPointFallback) {
    for (BoxType type : kOfferedNetworkStyles)
        EXPECT_EQ(NetMenuBox::create(type)->boxType(), type);
    EXPECT_EQ(NetMenuBox::create(BoxType::unspecified)->defaultWidth(), 80);
    // Styles of other items are not built by the network item's factory.
    EXPECT_EQ(NetMenuBox::create(BoxType::cpu)->boxType(), BoxType::unspecified);
}

TEST_F(StyleTest, CompactSwitchesToMegabytesAfter1024AndShowsSpeedsOffline) {
    Compact c;
    c.update(record(1024, 1025));
    EXPECT_EQ(c.topLabel.text(), "1024 KB");
    EXPECT_EQ(c.bottomLabel.text(), "1.00 MB");
    c.update(record(0, 10241, NotReachable));
    EXPECT_EQ(c.topLabel.text(), "0 KB");
    EXPECT_EQ(c.bottomLabel.text(), "10.00 MB") << "two decimals whatever the size";
    c.setEmpty(false);
    EXPECT_NE(c.topLabel.text(), "0 KB") << "setEmpty writes the no-network words";
}

TEST_F(StyleTest, WideUsesWholeMegabytesAboveTenAndHidesSpeedsOffline) {
    Wide w;
    w.update(record(10241, 10240));
    EXPECT_EQ(w.leftLabel.text(), "10 MB");
    EXPECT_EQ(w.rightLabel.text(), "10.0 MB");
    EXPECT_TRUE(w.arrowsVisible());
    EXPECT_TRUE(w.emptyLabel().hidden);
    w.update(record(5, 6, NotReachable));
    EXPECT_FALSE(w.emptyLabel().hidden);
    EXPECT_TRUE(w.leftLabel.hidden);
    EXPECT_TRUE(w.rightLabel.hidden);
    EXPECT_FALSE(w.arrowsVisible());
    EXPECT_EQ(w.leftLabel.text(), "5 KB") << "texts still follow the record";
    w.setEmpty(false);
    EXPECT_TRUE(w.arrowsVisible());
}

TEST_F(StyleTest, SoloFollowsTrafficTypeAndItsChangeNotification) {
    setPreferredTrafficType(0);
    Solo s;
    s.update(record(5, 7));
    EXPECT_EQ(s.topLabel.text(), "12");
    EXPECT_EQ(s.bottomLabel.text(), "KB/s");
    s.update(record(0, 0, NotReachable));
    EXPECT_EQ(s.topLabel.text(), "0") << "offline still shows the speed";
    // setPreferredTrafficType posts the change notification the style observes.
    setPreferredTrafficType(2);
    EXPECT_EQ(s.trafficType, 2);
    s.update(record(1, 10240));
    EXPECT_EQ(s.topLabel.text(), "10.00");
    EXPECT_EQ(s.bottomLabel.text(), "MB/s");
    s.update(record(1, 10241));
    EXPECT_EQ(s.topLabel.text(), "10.0");
    setPreferredTrafficType(1);
    s.update(record(1025, 9));
    EXPECT_EQ(s.topLabel.text(), "1.00");
    SettingsDomain::standard().setInteger(SettingsKey::PreferredTrafficType, 3);
    NotificationCenter::defaultCenter().post(SettingsNotification::PreferredTrafficTypeChanged);
    s.update(record(500, 900));
    EXPECT_EQ(s.topLabel.text(), "0");
    EXPECT_EQ(s.bottomLabel.text(), "KB/s");
}

TEST_F(StyleTest, DoubleSoloAndLuxuryOfflineLabelAndTexts) {
    DoubleSolo d;
    d.update(record(1024, 20480));
    EXPECT_EQ(d.topLeft.text(), "1024");
    EXPECT_EQ(d.bottomLeft.text(), "KB/s");
    EXPECT_EQ(d.topRight.text(), "20.0");
    EXPECT_EQ(d.bottomRight.text(), "MB/s");
    d.update(record(1, 1, NotReachable));
    EXPECT_FALSE(d.emptyLabel().hidden);
    EXPECT_TRUE(d.topLeft.hidden && d.bottomRight.hidden);
    EXPECT_FALSE(d.arrowsVisible());

    Luxury::todayTotalsSource() = [] { return Luxury::Totals{1048577, 1048576}; };
    Luxury l;
    l.update(record(2048, 12));
    EXPECT_EQ(l.topLeft.text(), "2.0 MB");
    EXPECT_EQ(l.topRight.text(), "12 KB");
    EXPECT_EQ(l.bottomLeft.text(), "1024 MB") << "sent total";
    EXPECT_EQ(l.bottomRight.text(), "1 GB") << "received total";
    Luxury::todayTotalsSource() = [] { return Luxury::Totals{-1, 0}; };
    EXPECT_DEATH(l.update(record(1, 1)), "negative");
    Luxury::todayTotalsSource() = [] { return Luxury::Totals{}; };
}

TEST_F(StyleTest, StockKeepsFeedingSparklinesOffline) {
    Stock s;
    s.update(record(30, 40));
    EXPECT_TRUE(s.arrowsVisible());
    s.update(record(7, 9, NotReachable));
    EXPECT_TRUE(s.subviewsHidden);
    EXPECT_FALSE(s.emptyLabel().hidden);
    EXPECT_FALSE(s.arrowsVisible());
    EXPECT_EQ(s.sentStock.data().back(), 7u);
    EXPECT_EQ(s.receivedStock.data().back(), 9u);
    EXPECT_EQ(s.sentStock.data().size(), 12u);
    EXPECT_EQ(s.sentStock.data()[10], 30u);
}

TEST_F(StyleTest, LargeShowsNoNetworkOnlyUntilFirstRecord) {
    Large l;
    EXPECT_EQ(l.textLabel.text(), NetMenuBox::noNetworkText());
    l.update(record(0, 2048, NotReachable));
    EXPECT_EQ(l.textLabel.text(), QString::fromUtf8("0 KB/s \u2022 2.00 MB/s"));
    l.update(record(1024, 1025));
    EXPECT_EQ(l.textLabel.text(), QString::fromUtf8("1024 KB/s \u2022 1.00 MB/s"));
}

TEST_F(StyleTest, LargeWithCPUAppendsLoadOrZero) {
    LargeWithCPU::cpuTextSource() = [] { return QString(); };
    LargeWithCPU l;
    l.update(record(1, 2));
    EXPECT_EQ(l.textLabel.text(), QString::fromUtf8("1 KB/s \u2022 2 KB/s \u2022 0 %"));
    LargeWithCPU::cpuTextSource() = [] { return QStringLiteral("37"); };
    l.update(record(1, 2));
    EXPECT_TRUE(l.textLabel.text().endsWith(QString::fromUtf8("\u2022 37 %")));
}

TEST_F(StyleTest, AutoWidthAnnouncesOnlyWhenFittedWidthChanges) {
    Large l;
    std::vector<double> announced;
    l.widthChangedHandler = [&](double w) { announced.push_back(w); };
    l.update(record(1, 2));
    ASSERT_EQ(announced.size(), 1u);
    const double first = announced.back();
    EXPECT_EQ(first, l.width());
    l.update(record(2, 1)); // same digits, same fitted width
    EXPECT_EQ(announced.size(), 1u);
    l.update(record(2048, 4096));
    ASSERT_EQ(announced.size(), 2u);
    EXPECT_GT(announced.back(), first);
}

TEST_F(StyleTest, PreferredWidthFixesLargeWidthsAndAnnouncesEveryTime) {
    SettingsDomain::standard().setInteger(SettingsKey::MenuBoxPreferredWidth, 2);
    Large l;
    LargeWithCPU c;
    LargeWithStock s;
    std::vector<double> seen;
    l.widthChangedHandler = [&](double w) { seen.push_back(w); };
    l.update(record(1, 2));
    l.update(record(1, 2));
    EXPECT_EQ(seen, (std::vector<double>{144, 144}));
    c.update(record(1, 2));
    EXPECT_EQ(c.width(), 180);
    s.update(record(1, 2));
    EXPECT_EQ(s.width(), 120);
    // The change notification re-reads the setting at once.
    setMenuBoxPreferredWidth(1);
    EXPECT_EQ(l.width(), 120);
    EXPECT_EQ(c.width(), 156);
    EXPECT_EQ(s.width(), 100);
    // An out-of-range stored value reads as auto.
    SettingsDomain::standard().setInteger(SettingsKey::MenuBoxPreferredWidth, -1);
    NotificationCenter::defaultCenter().post(SettingsNotification::MenuBoxPreferredWidthChanged);
    EXPECT_EQ(l.boxPreferredWidth, Settings::MenuBoxPreferredWidth::Auto);
}

TEST_F(StyleTest, LargeWithStockTotalColourAndAutoWidth) {
    LargeWithStock s;
    s.update(record(100, 50)); // received < sent: red
    EXPECT_EQ(s.stockView.lineColor(), DynamicAppearance::shared().stockRedColor());
    EXPECT_EQ(s.textLabel.text(), "150 KB/s");
    ASSERT_TRUE(s.stockView.backgroundColor.has_value());
    EXPECT_NEAR(s.stockView.backgroundColor->alphaF(), 0.2, 0.01);
    s.update(record(1000, 1000));
    EXPECT_EQ(s.stockView.lineColor(), DynamicAppearance::shared().stockGreenColor());
    EXPECT_EQ(s.textLabel.text(), "1.95 MB/s");
    EXPECT_EQ(s.width(), std::trunc(s.textLabel.fittingSize().width()) + 42);
    EXPECT_EQ(s.stockView.data().back(), 2000u);
    EXPECT_DEATH(s.update(record(UINT64_MAX, 1)), "overflow");
}

} // namespace
