#pragma once

#include "PrivateBus.h"
#include "TempDir.h"

#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusVariant>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

// python3-dbusmock's NetworkManager template on a private bus, plus the signal level a Wi-Fi
// interface reports in /proc/net/wireless (LUMENSTAT_PROCFS_ROOT points at a private copy
// while the object lives).
class NetworkManagerMock {
public:
    static constexpr const char* kService = "org.freedesktop.NetworkManager";

    NetworkManagerMock() {
        if (!bus_.startTemplate("networkmanager", kService))
            return;
        mock_ = std::make_unique<QDBusInterface>(kService, "/org/freedesktop/NetworkManager",
                                                 "org.freedesktop.DBus.Mock", bus_.connection());
        setenv("LUMENSTAT_PROCFS_ROOT", proc_.path().toLocal8Bit().constData(), 1);
    }
    ~NetworkManagerMock() { unsetenv("LUMENSTAT_PROCFS_ROOT"); }

    // False when dbus-daemon or the template is missing (the test then skips).
    bool isRunning() const { return mock_ != nullptr; }
    QDBusConnection connection() { return bus_.connection(); }

    // Calls a method of the template's mock interface; returns the first answer as text.
    QString call(const QString& method, const QList<QVariant>& args) {
        const QDBusMessage reply = mock_->callWithArgumentList(QDBus::Block, method, args);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
        return reply.arguments().value(0).toString();
    }

    // Adds the Wi-Fi device "wlan0" (hardware address 11:22:33:44:55:66) associated with an
    // access point of that name on a frequency in MHz, with NetworkManager's key-management
    // flags (0x100: pre-shared key) for both WPA and RSN. Returns the device's object path.
    QString associate(const QString& ssid, uint32_t mhz, uint32_t keyManagement) {
        const QString dev = call("AddWiFiDevice", {"wifi0", "wlan0", 100u});
        const QString ap =
            call("AddAccessPoint", {dev, "ap0", ssid, "00:11:22:33:44:55", 2u, mhz, 54000u,
                                    QVariant::fromValue<uchar>(80), keyManagement});
        const QString conn = call("AddWiFiConnection", {dev, "conn0", ssid, "wpa-psk"});
        call("AddActiveConnection", {QStringList{dev}, conn, ap, "active0", 2u});
        return dev;
    }
    // The device's current bit rate in kbit/s.
    void setBitrate(const QString& dev, uint32_t kbps) {
        call("SetProperty", {dev, "org.freedesktop.NetworkManager.Device.Wireless", "Bitrate",
                             QVariant::fromValue(QDBusVariant(kbps))});
    }
    // The signal level wlan0 reports, in dBm.
    void setSignal(long dbm) {
        proc_.write("net/wireless", "Inter-| sta-|   Quality        |   Discarded packets\n"
                                    " face | tus | link level noise |  nwid  crypt   frag\n"
                                    " wlan0: 0000   49.  " +
                                        QByteArray::number(qlonglong(dbm)) +
                                        ".  -256        0      0      0\n");
    }

private:
    PrivateBus bus_;
    TempDir proc_;
    std::unique_ptr<QDBusInterface> mock_;
};
