// Wi-Fi details from a NetworkManager stand-in (python3-dbusmock) on a private bus.
#include "platform/linux/NetworkManagerWiFi.h"
#include "support/NetworkManagerMock.h"
#include "support/Wait.h"

#include <gtest/gtest.h>

#include <array>

namespace {

// Empty before an association, then kept current through the change signals, not polling.
TEST(NetworkManagerWiFi, FollowsTheAssociatedNetwork) {
    NetworkManagerMock nm;
    if (!nm.isRunning())
        GTEST_SKIP() << "dbus-daemon or python3-dbusmock's networkmanager template is missing";
    nm.setSignal(-61);
    NetworkManagerWiFi wifi(nm.connection());
    const WiFiDetails none = wifi.current();
    EXPECT_TRUE(!none.ssid && !none.hardwareAddress && !none.securityMode && !none.channel &&
                !none.rssi && none.transmitRate == 0.0);

    // A device associated with a WPA/WPA2 access point on 5180 MHz (channel 36).
    const QString dev = nm.associate("Cafe Net", 5180, 0x100);
    ASSERT_TRUE(waitUntil([&] { return wifi.current().ssid == QString("Cafe Net"); }));
    const WiFiDetails d = wifi.current();
    EXPECT_EQ(d.hardwareAddress, QString("11:22:33:44:55:66"));
    EXPECT_EQ(d.channel, 36);
    EXPECT_EQ(d.securityMode, 3) << "PSK on both WPA and RSN is the mixed personal mode";
    EXPECT_DOUBLE_EQ(d.transmitRate, 5.4);
    EXPECT_EQ(d.rssi, -61);
    EXPECT_EQ(wifi.interfaceName(), "wlan0");
    nm.setBitrate(dev, 866700);
    EXPECT_TRUE(waitUntil([&] { return wifi.current().transmitRate == 866.7; }));
    nm.call("SetDeviceDisconnected", {dev});
    EXPECT_TRUE(waitUntil([&] { return !wifi.current().ssid.has_value(); }));
    EXPECT_EQ(wifi.current().rssi, 0) << "no signal level without an association";
}

TEST(NetworkManagerWiFiRules, SecurityChannelAndSignalParsing) {
    // Privacy, WPA and RSN flags; RSN 0x400 alone (WPA3) is unknown, 0x500 a WPA2 transition.
    const std::array<uint32_t, 4> security[] = {
        {0, 0, 0, 0},     {1, 0, 0, 1},      {1, 0x100, 0, 2},
        {1, 0, 0x100, 4}, {1, 0x200, 0, 7},  {1, 0x200, 0x200, 8},
        {1, 0, 0x200, 9}, {1, 0, 0x400, 11}, {1, 0, 0x500, 4}};
    for (const auto& [privacy, wpa, rsn, mode] : security)
        EXPECT_EQ(NetworkManagerWiFi::securityModeForFlags(privacy, wpa, rsn), int(mode)) << rsn;
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
