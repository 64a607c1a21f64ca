#pragma once

#include "platform/NetworkSources.h"

#include <QDBusConnection>
#include <QObject>
#include <QTimer>

#include <memory>
#include <mutex>

class QDBusMessage;
class QDBusServiceWatcher;

// Wi-Fi details of the first Wi-Fi device NetworkManager knows, kept current through
// NetworkManager's change signals on the system bus (nothing is polled). The signal
// strength in dBm comes from /proc/net/wireless, because NetworkManager only reports a
// percentage. Without NetworkManager or without a Wi-Fi device every value stays empty.
class NetworkManagerWiFi : public QObject, public WiFiSource {
    Q_OBJECT
public:
    // The process-wide client on the system bus. Create it on the main thread.
    static std::shared_ptr<NetworkManagerWiFi> shared();
    explicit NetworkManagerWiFi(const QDBusConnection& bus, QObject* parent = nullptr);

    WiFiDetails current() override;
    // The Wi-Fi device's interface name, empty when there is none.
    QString interfaceName() const;
    // Re-reads everything from NetworkManager now.
    void refresh();

    // Maps NetworkManager's access-point flags onto the security mode table.
    static int securityModeForFlags(uint32_t apFlags, uint32_t wpaFlags, uint32_t rsnFlags);
    // Channel number of a frequency in MHz (0 when unknown).
    static int channelForFrequency(uint32_t mhz);
    // The signal level in dBm of one interface in /proc/net/wireless text.
    static std::optional<long> rssiFromProcWireless(const QByteArray& text, const QString& iface);

private slots:
    void onSignal(const QDBusMessage& message);

private:
    QDBusConnection bus_;
    QDBusServiceWatcher* watcher_ = nullptr;
    QTimer debounce_;
    mutable std::mutex mutex_;
    WiFiDetails details_;
    QString interface_;
};
