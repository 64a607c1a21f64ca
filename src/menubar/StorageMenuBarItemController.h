#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QPoint>

#include <functional>

class MenuBarItemHost;
class NetworkMonitor;
class Storage;

// The optional storage item: shown while "app.settings.menuBar.showsStorageUsage" is on; a
// click toggles its panel (installed by the app as showPopoverHandler).
class StorageMenuBarItemController : public QObject {
    Q_OBJECT
public:
    static StorageMenuBarItemController& shared();
    StorageMenuBarItemController(const QDBusConnection& bus, NetworkMonitor* monitor,
                                 QObject* parent = nullptr);

    void loadMenuBarItemIfNeed();
    // The item's click: the panel at the click position.
    void showPopover(QPoint at);
    std::function<void(QPoint)> showPopoverHandler;

    MenuBarItemHost* host() const { return host_; }
    Storage* view() const;

private:
    MenuBarItemHost* host_;
};
