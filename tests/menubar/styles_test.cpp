// Texts, offline behaviour and widths of the network status item styles.
#include "menubar/ClassicMenuBox.h"
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
        for (const char* key :
             {SettingsKey::PreferredTrafficType, SettingsKey::MenuBoxPreferredWidth,
              "app.menuBar.stock.sent", "app.menuBar.stock.received"})
            SettingsDomain::standard().remove(key);
    }
};

// Compact and Solo keep showing speeds offline; the others show the no-network words.
TEST_F(StyleTest, TextsAndOfflineLabels) {
    for (BoxType type : kOfferedNetworkStyles)
        EXPECT_EQ(NetMenuBox::create(type)->boxType(), type);
    EXPECT_EQ(NetMenuBox::create(BoxType::cpu)->boxType(), BoxType::unspecified) << "not ours";
    Compact c;
    c.update(record(1024, 10241, NotReachable));
    EXPECT_EQ(c.topLabel.text() + " | " + c.bottomLabel.text(), "1024 KB | 10.00 MB");
    c.setEmpty(false);
    EXPECT_NE(c.topLabel.text(), "1024 KB") << "setEmpty writes the no-network words";

    Wide w;
    w.update(record(10241, 10240));
    EXPECT_EQ(w.leftLabel.text() + " | " + w.rightLabel.text(), "10 MB | 10.0 MB");
    EXPECT_TRUE(w.arrowsVisible() && w.emptyLabel().hidden);
    w.update(record(5, 6, NotReachable));
    EXPECT_FALSE(w.emptyLabel().hidden || w.arrowsVisible());
    EXPECT_TRUE(w.leftLabel.hidden && w.rightLabel.hidden);
    EXPECT_EQ(w.leftLabel.text(), "5 KB") << "texts still follow the record";

    DoubleSolo d;
    d.update(record(1024, 20480));
    EXPECT_EQ(d.topLeft.text() + d.bottomLeft.text() + d.topRight.text() + d.bottomRight.text(),
              "1024KB/s20.0MB/s");
    d.update(record(1, 1, NotReachable));
    EXPECT_FALSE(d.emptyLabel().hidden || d.arrowsVisible());
    EXPECT_TRUE(d.topLeft.hidden && d.bottomRight.hidden);

    Stock s;
    s.update(record(30, 40));
    EXPECT_TRUE(s.arrowsVisible());
    s.update(record(7, 9, NotReachable));
    EXPECT_TRUE(s.subviewsHidden && !s.emptyLabel().hidden && !s.arrowsVisible());
    EXPECT_EQ(s.sentStock.data().size(), 12u);
    EXPECT_EQ(s.sentStock.data()[10], 30u);
    EXPECT_EQ(s.receivedStock.data().back(), 9u) << "sparklines are fed offline too";

    Large l;
    EXPECT_EQ(l.textLabel.text(), NetMenuBox::noNetworkText()) << "until the first record";
    l.update(record(1024, 1025, NotReachable));
    EXPECT_EQ(l.textLabel.text(), QString::fromUtf8("1024 KB/s \u2022 1.00 MB/s"));
}

TEST_F(StyleTest, SoloFollowsTrafficTypeAndItsChangeNotification) {
    setPreferredTrafficType(0);
    Solo s;
    s.update(record(5, 7, NotReachable));
    EXPECT_EQ(s.topLabel.text() + " " + s.bottomLabel.text(), "12 KB/s");
    setPreferredTrafficType(2);
    s.update(record(1, 10241));
    EXPECT_EQ(s.topLabel.text() + " " + s.bottomLabel.text(), "10.0 MB/s");
    setPreferredTrafficType(1);
    s.update(record(1025, 9));
    EXPECT_EQ(s.topLabel.text(), "1.00");
    SettingsDomain::standard().setInteger(SettingsKey::PreferredTrafficType, 3);
    NotificationCenter::defaultCenter().post(SettingsNotification::PreferredTrafficTypeChanged);
    s.update(record(500, 900));
    EXPECT_EQ(s.topLabel.text() + " " + s.bottomLabel.text(), "0 KB/s");
}

TEST_F(StyleTest, TotalsAndLoadSourcesAndTheirOverflowDeaths) {
    Luxury::todayTotalsSource() = [] { return Luxury::Totals{1048577, 1048576}; };
    Luxury l;
    l.update(record(2048, 12));
    EXPECT_EQ(l.topLeft.text() + " | " + l.topRight.text(), "2.0 MB | 12 KB");
    EXPECT_EQ(l.bottomLeft.text() + " | " + l.bottomRight.text(), "1024 MB | 1 GB");
    Luxury::todayTotalsSource() = [] { return Luxury::Totals{-1, 0}; };
    EXPECT_DEATH(l.update(record(1, 1)), "negative");
    Luxury::todayTotalsSource() = [] { return Luxury::Totals{}; };

    LargeWithCPU::cpuTextSource() = [] { return QString(); };
    LargeWithCPU c;
    c.update(record(1, 2));
    EXPECT_EQ(c.textLabel.text(), QString::fromUtf8("1 KB/s \u2022 2 KB/s \u2022 0 %"));
    LargeWithCPU::cpuTextSource() = [] { return QStringLiteral("37"); };
    c.update(record(1, 2));
    EXPECT_TRUE(c.textLabel.text().endsWith(QString::fromUtf8("\u2022 37 %")));

    LargeWithStock s;
    s.update(record(100, 50)); // received below sent: red
    EXPECT_EQ(s.stockView.lineColor(), DynamicAppearance::shared().stockRedColor());
    EXPECT_EQ(s.textLabel.text(), "150 KB/s");
    s.update(record(1000, 1000));
    EXPECT_EQ(s.stockView.lineColor(), DynamicAppearance::shared().stockGreenColor());
    EXPECT_EQ(s.textLabel.text(), "1.95 MB/s");
    EXPECT_EQ(s.stockView.data().back(), 2000u);
    EXPECT_DEATH(s.update(record(UINT64_MAX, 1)), "overflow");
}

TEST_F(StyleTest, AutoWidthAnnouncesOnlyChangesAndAPreferredWidthFixesIt) {
    Large l;
    std::vector<double> seen;
    l.widthChangedHandler = [&](double w) { seen.push_back(w); };
    l.update(record(1, 2));
    l.update(record(2, 1)); // same digits, same fitted width
    ASSERT_EQ(seen, std::vector<double>{l.width()});
    l.update(record(2048, 4096));
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_GT(seen.back(), seen.front());

    setMenuBoxPreferredWidth(2);
    LargeWithCPU c;
    LargeWithStock s;
    seen.clear();
    l.update(record(1, 2));
    l.update(record(1, 2));
    c.update(record(1, 2));
    s.update(record(1, 2));
    EXPECT_EQ(seen, (std::vector<double>{144, 144})) << "announced every time";
    EXPECT_EQ(c.width(), 180);
    EXPECT_EQ(s.width(), 120);
    setMenuBoxPreferredWidth(1); // the change notification re-reads the setting at once
    EXPECT_EQ(std::vector<double>({l.width(), c.width(), s.width()}),
              std::vector<double>({120, 156, 100}));
    SettingsDomain::standard().setInteger(SettingsKey::MenuBoxPreferredWidth, -1);
    NotificationCenter::defaultCenter().post(SettingsNotification::MenuBoxPreferredWidthChanged);
    EXPECT_EQ(l.boxPreferredWidth, Settings::MenuBoxPreferredWidth::Auto) << "out of range";
}

} // namespace

// The classic family: chosen through the stored number, each drawn differently, with the
// rules where it differs from its successor.
TEST_F(StyleTest, ClassicStylesRenderDifferentlyAndKeepTheirOwnRules) {
    std::vector<QImage> images;
    for (BoxType type : kClassicNetworkStyles) {
        SCOPED_TRACE(static_cast<int>(type));
        EXPECT_EQ(boxTypeFromStored(static_cast<int>(type)), type);
        std::unique_ptr<NetMenuBox> box = NetMenuBox::create(type);
        ASSERT_EQ(box->boxType(), type);
        EXPECT_EQ(box->width(), defaultWidthForBoxType(type));
        for (uint64_t kb : {300, 5000, 900, 20000})
            box->update(record(kb, kb / 3 + 7));
        const QImage image = box->render(2);
        int inked = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                inked += qAlpha(image.pixel(x, y)) > 0;
        if (type != BoxType::menuBox) {
            EXPECT_GT(inked, 20) << "nothing drawn";
        }
        for (const QImage& other : images)
            EXPECT_NE(image, other);
        images.push_back(image);
        // Offline, every classic style shows the no-network state.
        box->update(record(300, 300, NotReachable));
        EXPECT_NE(box->render(2), image);
    }
    EXPECT_EQ(boxTypeFromStored(13), BoxType::compact);
    EXPECT_EQ(boxTypeFromStored(28), BoxType::compact);

    EXPECT_EQ(MenuBox::compactText(1025), "1.00 MB");
    EXPECT_EQ(MenuBox::compactText(1024), "1024 KB");
    MenuSoloBox solo;
    solo.trafficType = 3;
    solo.update(record(700, 800));
    EXPECT_EQ(solo.figure, std::make_pair(QStringLiteral("1.46"), QStringLiteral("MB/s")));
    solo.trafficType = 2;
    solo.update(record(700, 800));
    EXPECT_EQ(solo.figure.first, "800");
    EXPECT_EQ(MenuWideBox::byteText(10240),
              std::make_pair(QStringLiteral("10.0"), QStringLiteral("MB")));
    EXPECT_EQ(MenuWideBox::byteText(10241).first, "10");
}
