// The network status page: loading state, rows from the sampler's records, signal colours on
// rendered pixels. NetworkManager's figures reach the record in tests/platform/nm_wifi_test
// and tests/network/sampler_test.
#include "network/NetworkMonitor.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "ui/StatusViewController.h"

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

// The record a sampler over the fake link without a Wi-Fi client hands out.
ActivityRecord sample(const QString& ip = {}) {
    auto link = std::make_shared<FakeLink>();
    link->ipv4 = ip;
    NetworkMonitor monitor(NetworkMonitorSources{link, link, nullptr, [] { return 1.0; }});
    return monitor.getActivity();
}

ActivityObject wifiRecord(long rssi) {
    ActivityObject r;
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

class StatusViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        DynamicAppearance::shared().setSource(appearance_);
        page.resize(272, 410);
        page.show();
    }
    void TearDown() override { FixedAppearanceSource::setDark(appearance_, false); }

    QStringList subtitles() const {
        QStringList out;
        for (const auto* box : page.boxes())
            out << box->subtitle.value_or(QString());
        return out;
    }
    // The most saturated pixel of the strength row's right half.
    QColor strengthInk() {
        const auto* box = page.boxes()[StatusViewController::kStrengthRow];
        const QImage image = page.grab(QRect(box->mapTo(&page, QPoint(box->width() / 2, 0)),
                                             QSize(box->width() / 2, box->height() - 1)))
                                 .toImage();
        QColor best(Qt::white);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (const QColor c = image.pixelColor(x, y);
                    c.hsvSaturation() > best.hsvSaturation())
                    best = c;
        return best;
    }

    std::shared_ptr<AppearanceSource> appearance_ = FixedAppearanceSource::make(false);
    StatusViewController page;
};

bool near(const QColor& a, const QColor& b) {
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
               std::abs(a.blue() - b.blue()) <
           40;
}

const QColor kGreen(48, 209, 88), kOrange(255, 111, 48), kRed(209, 61, 48);

// Loading text until the first record; then the rows in their order. The sampler's record
// without a Wi-Fi client or an address clears those rows and shows the empty Wi-Fi values.
TEST_F(StatusViewTest, LoadingThenRowsThenNoWiFi) {
    EXPECT_TRUE(page.emptyView()->isVisible());
    EXPECT_EQ(page.emptyView()->text(), Language::getLocalizedString("common.loading..."));
    EXPECT_FALSE(page.scrollView()->isVisible());

    page.activityDidUpdate(wifiRecord(-50));
    EXPECT_FALSE(page.emptyView()->isVisible());
    EXPECT_TRUE(page.scrollView()->isVisible());
    EXPECT_FALSE(page.scrollView()->verticalScrollBar()->isVisible()) << "the rows fit";
    EXPECT_EQ(subtitles(), QStringList({"11:22:33:44:55:66", "Cafe Net", "192.168.1.20",
                                        "WPA2 Personal", "36", "-50 dBm", "866.7 Mbps"}));

    page.activityDidUpdate(*sample());
    EXPECT_EQ(subtitles(), QStringList({"", "", "", "None", "0", "0 dBm", "0.0 Mbps"}));
    EXPECT_FALSE(page.boxes()[2]->subtitle.has_value());
    EXPECT_TRUE(near(strengthInk(), kGreen));
    page.activityDidUpdate(*sample("10.0.0.7"));
    EXPECT_EQ(page.boxes()[2]->subtitle, QString("10.0.0.7"));
}

TEST_F(StatusViewTest, SignalColourBoundariesOnRenderedPixels) {
    const std::pair<long, QColor> cases[] = {{-30, kGreen},  {-59, kGreen}, {-60, kOrange},
                                             {-89, kOrange}, {-90, kRed},   {-120, kRed}};
    for (bool dark : {false, true}) {
        FixedAppearanceSource::setDark(appearance_, dark);
        for (const auto& [rssi, colour] : cases) {
            page.activityDidUpdate(wifiRecord(rssi));
            EXPECT_TRUE(near(strengthInk(), colour)) << rssi << " dBm, dark " << dark;
        }
    }
}

} // namespace
