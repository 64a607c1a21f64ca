// The network status page: loading state, rows filled from the sampler's records, the signal
// colours on rendered pixels, and the whole path from NetworkManager to the row texts.
#include "network/NetworkMonitor.h"
#include "platform/linux/NetworkManagerWiFi.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "support/NetworkManagerMock.h"
#include "support/Wait.h"
#include "ui/StatusViewController.h"

#include <QImage>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>

#include <gtest/gtest.h>

namespace {

// One wireless link behind the default route; the Wi-Fi details come from elsewhere.
struct FakeLink : LinkSource, RouteSource {
    QString ipv4;
    bool readCounters(std::vector<LinkEntry>& out) override {
        out = {LinkEntry{2, "wlan0", {}, true, false, true, 4096, 2048}};
        return true;
    }
    QString lastIPv4Address() override { return ipv4; }
    std::optional<uint32_t> reachabilityFlags() override { return 0x2u; }
};

// Hands every record of a sampler to the page, as the home page does.
struct PageFeed : ActivityObserver {
    StatusViewController* page;
    explicit PageFeed(StatusViewController* p) : page(p) {}
    void networkActivityDidUpdate(const ActivityRecord& record) override {
        page->activityDidUpdate(*record);
    }
};

// One record from a sampler over the fake link and the given Wi-Fi client.
ActivityRecord sample(std::shared_ptr<WiFiSource> wifi, const QString& ip = {}) {
    auto link = std::make_shared<FakeLink>();
    link->ipv4 = ip;
    NetworkMonitor monitor(NetworkMonitorSources{link, link, std::move(wifi), [] { return 1.0; }});
    return monitor.getActivity();
}

QStringList subtitles(const StatusViewController& page) {
    QStringList out;
    for (const auto* box : page.boxes())
        out << box->subtitle.value_or(QString());
    return out;
}

class StatusViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        DynamicAppearance::shared().setSource(appearance_);
        page.resize(272, 410);
        page.show();
    }
    void TearDown() override { FixedAppearanceSource::setDark(appearance_, false); }

    std::shared_ptr<AppearanceSource> appearance_ = FixedAppearanceSource::make(false);
    StatusViewController page;
};

ActivityObject wifiRecord(long rssi) {
    ActivityObject r;
    r.netMode = ReachableViaWiFi;
    r.macLocation = "11:22:33:44:55:66";
    r.ssid = "Cafe Net";
    r.IPLocation = "192.168.1.20";
    r.security = "WPA2 Personal";
    r.channel = "36";
    r.strengthValue = rssi;
    r.strength = QString::number(rssi) + " dBm";
    r.transmitRate = "866.7 Mbps";
    return r;
}

TEST_F(StatusViewTest, LoadingTextUntilTheFirstRecordThenTheRowsInOrder) {
    EXPECT_EQ(page.title(), Language::getLocalizedString("networkStatus.title"));
    EXPECT_TRUE(page.emptyView()->isVisible());
    EXPECT_EQ(page.emptyView()->text(), Language::getLocalizedString("common.loading..."));
    EXPECT_FALSE(page.scrollView()->isVisible());

    page.activityDidUpdate(wifiRecord(-50));
    EXPECT_FALSE(page.emptyView()->isVisible());
    EXPECT_TRUE(page.scrollView()->isVisible());
    EXPECT_FALSE(page.scrollView()->verticalScrollBar()->isVisible()) << "the rows fit";
    ASSERT_EQ(page.boxes().size(), 7u);
    const char* keys[] = {"networkStatus.macAddress",  "networkStatus.ssid",
                          "networkStatus.IPAddress",   "networkStatus.security",
                          "networkStatus.channel",     "networkStatus.strength",
                          "networkStatus.transmitRate"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(page.boxes()[i]->title(), Language::getLocalizedString(keys[i])) << i;
        EXPECT_EQ(page.boxes()[i]->drawsSeparator, i < 6) << i;
        // Rows stack below the title bar without overlapping.
        EXPECT_EQ(page.boxes()[i]->mapTo(&page, QPoint()).y(),
                  44 + i * StatusViewController::Box::kHeight);
    }
    EXPECT_EQ(subtitles(page), QStringList({"11:22:33:44:55:66", "Cafe Net", "192.168.1.20",
                                            "WPA2 Personal", "36", "-50 dBm", "866.7 Mbps"}));
}

// The most saturated pixel of the strength row's right half, named by the nearest of the
// three signal colours.
std::string inkOfStrengthRow(StatusViewController& page) {
    const auto* box = page.boxes()[StatusViewController::kStrengthRow];
    const QRect row(box->mapTo(&page, QPoint(box->width() / 2, 0)),
                    QSize(box->width() / 2, box->height() - 1));
    const QImage image = page.grab(row).toImage();
    QColor best;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (const QColor c = image.pixelColor(x, y); c.hsvSaturation() > best.hsvSaturation())
                best = c;
    const std::pair<const char*, QColor> named[] = {
        {"green", {48, 209, 88}}, {"orange", {255, 111, 48}}, {"red", {209, 61, 48}}};
    std::string nearest = "none";
    int distance = 40; // farther than this from all three: not drawn in any of them
    for (const auto& [name, colour] : named) {
        const int d = std::abs(best.red() - colour.red()) +
                      std::abs(best.green() - colour.green()) +
                      std::abs(best.blue() - colour.blue());
        if (d < distance) {
            distance = d;
            nearest = name;
        }
    }
    return nearest;
}

TEST_F(StatusViewTest, SignalColourBoundariesOnRenderedPixels) {
    const std::pair<long, std::string> cases[] = {{-30, "green"},  {-59, "green"}, {-60, "orange"},
                                                  {-89, "orange"}, {-90, "red"},   {-120, "red"}};
    for (bool dark : {false, true}) {
        FixedAppearanceSource::setDark(appearance_, dark);
        for (const auto& [rssi, colour] : cases) {
            page.activityDidUpdate(wifiRecord(rssi));
            EXPECT_EQ(inkOfStrengthRow(page), colour) << rssi << " dBm, dark " << dark;
        }
    }
    // Without a subtitle nothing coloured is drawn.
    ActivityObject bare = wifiRecord(-30);
    bare.strength.reset();
    page.activityDidUpdate(bare);
    EXPECT_EQ(inkOfStrengthRow(page), "none");
}

// The sampler's record without any Wi-Fi client and without an address, after a full one:
// the address, name and hardware rows clear, the rest show the empty Wi-Fi values.
TEST_F(StatusViewTest, NoWiFiAndNoAddressClearTheirRows) {
    page.activityDidUpdate(wifiRecord(-70));
    page.activityDidUpdate(*sample(nullptr));
    EXPECT_EQ(subtitles(page), QStringList({"", "", "", "None", "0", "0 dBm", "0.0 Mbps"}));
    EXPECT_FALSE(page.boxes()[2]->subtitle.has_value());
    EXPECT_EQ(inkOfStrengthRow(page), "green");
    page.activityDidUpdate(*sample(nullptr, "10.0.0.7"));
    EXPECT_EQ(page.boxes()[2]->subtitle, QString("10.0.0.7"));
}

// NetworkManager (python3-dbusmock) -> the Wi-Fi client -> the sampler's record -> the rows.
TEST_F(StatusViewTest, ShowsTheConnectionNetworkManagerReports) {
    NetworkManagerMock nm;
    if (!nm.isRunning())
        GTEST_SKIP() << "dbus-daemon or python3-dbusmock's networkmanager template is missing";
    nm.setSignal(-72);
    auto wifi = std::make_shared<NetworkManagerWiFi>(nm.connection());
    const QString dev = nm.associate("Cafe Net", 2437, 0x100);
    nm.setBitrate(dev, 144400);
    ASSERT_TRUE(waitUntil([&] { return wifi->current().transmitRate == 144.4; }));

    auto link = std::make_shared<FakeLink>();
    link->ipv4 = "192.168.1.20";
    double now = 100;
    NetworkMonitor monitor(NetworkMonitorSources{link, link, wifi, [&] { return now; }});
    PageFeed feed(&page);
    monitor.addActivityObserver(&feed);
    monitor.updateNetworkInfo();
    EXPECT_EQ(subtitles(page), QStringList({"11:22:33:44:55:66", "Cafe Net", "192.168.1.20",
                                            "WPA Personal Mixed", "6", "-72 dBm", "144.4 Mbps"}));
    EXPECT_EQ(inkOfStrengthRow(page), "orange");

    // A disconnect reaches the rows with the next tick.
    nm.call("SetDeviceDisconnected", {dev});
    ASSERT_TRUE(waitUntil([&] { return !wifi->current().ssid; }));
    now += 1;
    monitor.updateNetworkInfo();
    EXPECT_EQ(subtitles(page)[1], "");
    EXPECT_EQ(subtitles(page)[3], "None");
}

} // namespace
