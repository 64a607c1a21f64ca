// Wi-Fi details from a NetworkManager stand-in (python3-dbusmock) on a private bus.
#include "platform/linux/NetworkManagerWiFi.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusVariant>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

const QString kNM = "org.freedesktop.NetworkManager";
const QString kMock = "org.freedesktop.DBus.Mock";
const QString kWireless = "org.freedesktop.NetworkManager.Device.Wireless";

class NetworkManagerWiFiTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!bus.isRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
        if (!bus.startTemplate("networkmanager", kNM))
            GTEST_SKIP() << "python3-dbusmock's networkmanager template did not start";
        mock = std::make_unique<QDBusInterface>(kNM, "/org/freedesktop/NetworkManager", kMock,
                                                bus.connection());
        proc.write(
            "net/wireless",
            "Inter-| sta-|   Quality        |   Discarded packets               | Missed | WE\n"
            " face | tus | link level noise |  nwid  crypt   frag  retry   misc | beacon | 22\n"
            " wlan0: 0000   49.  -61.  -256        0      0      0      0     12        0\n");
        setenv("LUMENSTAT_PROCFS_ROOT", proc.path().toLocal8Bit().constData(), 1);
    }
    void TearDown() override { unsetenv("LUMENSTAT_PROCFS_ROOT"); }

    QString call(const QString& method, const QList<QVariant>& args) {
        QDBusMessage reply = mock->callWithArgumentList(QDBus::Block, method, args);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
        return reply.arguments().value(0).toString();
    }

    // A device associated with a WPA/WPA2 access point on 5180 MHz (channel 36).
    QString connectWiFi() {
        const QString dev = call("AddWiFiDevice", {"wifi0", "wlan0", 100u});
        const QString ap =
            call("AddAccessPoint", {dev, "ap0", "Cafe Net", "00:11:22:33:44:55", 2u, 5180u, 54000u,
                                    QVariant::fromValue<uchar>(80), 0x100u});
        const QString conn = call("AddWiFiConnection", {dev, "conn0", "Cafe Net", "wpa-psk"});
        call("AddActiveConnection", {QStringList{dev}, conn, ap, "active0", 2u});
        return dev;
    }

    PrivateBus bus;
    TempDir proc;
    std::unique_ptr<QDBusInterface> mock;
};

TEST_F(NetworkManagerWiFiTest, ReadsTheAssociatedNetwork) {
    connectWiFi();
    NetworkManagerWiFi wifi(bus.connection());
    ASSERT_TRUE(waitUntil([&] { return wifi.current().ssid.has_value(); }));
    const WiFiDetails d = wifi.current();
    EXPECT_EQ(*d.ssid, "Cafe Net");
    EXPECT_EQ(d.hardwareAddress, QString("11:22:33:44:55:66"));
    EXPECT_EQ(d.channel, 36);
    EXPECT_EQ(d.securityMode, 3) << "PSK on both WPA and RSN is the mixed personal mode";
    EXPECT_DOUBLE_EQ(d.transmitRate, 5.4);
    EXPECT_EQ(d.rssi, -61);
    EXPECT_EQ(wifi.interfaceName(), "wlan0");
}

TEST_F(NetworkManagerWiFiTest, FollowsChangeSignalsWithoutPolling) {
    NetworkManagerWiFi wifi(bus.connection());
    EXPECT_FALSE(wifi.current().ssid.has_value());
    const QString dev = connectWiFi();
    ASSERT_TRUE(waitUntil([&] { return wifi.current().ssid == QString("Cafe Net"); }))
        << "the device and connection signals trigger a re-read";
    call("SetProperty", {dev, kWireless, "Bitrate", QVariant::fromValue(QDBusVariant(866700u))});
    EXPECT_TRUE(waitUntil([&] { return wifi.current().transmitRate == 866.7; }));
    call("SetDeviceDisconnected", {dev});
    EXPECT_TRUE(waitUntil([&] { return !wifi.current().ssid.has_value(); }));
    EXPECT_EQ(wifi.current().rssi, 0) << "no signal level without an association";
}

TEST(NetworkManagerWiFiNoService, EveryValueStaysEmpty) {
    PrivateBus bus;
    if (!bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not available";
    NetworkManagerWiFi wifi(bus.connection());
    const WiFiDetails d = wifi.current();
    EXPECT_FALSE(d.ssid.has_value());
    EXPECT_FALSE(d.hardwareAddress.has_value());
    EXPECT_EQ(d.securityMode, 0);
    EXPECT_EQ(d.channel, 0);
    EXPECT_EQ(d.rssi, 0);
    EXPECT_EQ(d.transmitRate, 0.0);
}

TEST(NetworkManagerWiFiRules, SecurityChannelAndSignalParsing) {
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(0, 0, 0), 0);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0, 0), 1);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0x100, 0), 2);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0, 0x100), 4);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0x200, 0), 7);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0x200, 0x200), 8);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0, 0x200), 9);
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0, 0x400), 11) << "WPA3 is unknown";
    EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(1, 0, 0x500), 4) << "WPA2/WPA3 transition";
    const std::pair<uint32_t, int> channels[] = {
        {2412, 1},   {2472, 13},  {2484, 14}, {2407, 0},   {2500, 0},   {4910, 182}, {4920, 184},
        {4980, 196}, {4995, 199}, {5180, 36}, {5745, 149}, {5885, 177}, {5935, 2},   {5955, 1},
        {6415, 93},  {7115, 233}, {7120, 0},  {58320, 1},  {70200, 6},  {0, 0},      {900, 0}};
    for (const auto& [mhz, channel] : channels)
        EXPECT_EQ(NetworkManagerWiFi::channelForFrequency(mhz), channel) << mhz << " MHz";
    const QByteArray text = " wlp2s0: 0000   70.  -40.  -256  0 0 0 0 0 0\n"
                            " wlan1: 0000   30.  196.  0  0 0 0 0 0 0\n"
                            " wlan2: 0000   30.  abc.  0\n";
    EXPECT_EQ(NetworkManagerWiFi::rssiFromProcWireless(text, "wlp2s0"), -40L);
    EXPECT_EQ(NetworkManagerWiFi::rssiFromProcWireless(text, "wlan1"), -60L);
    EXPECT_FALSE(NetworkManagerWiFi::rssiFromProcWireless(text, "wlan2").has_value());
    EXPECT_FALSE(NetworkManagerWiFi::rssiFromProcWireless(text, "wlan").has_value());
}

} // namespace
