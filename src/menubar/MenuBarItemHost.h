#pragma once

#include "NetMenuBarItemController.h"

#include <QDBusConnection>
#include <QObject>
#include <QPoint>
#include <QString>

#include <functional>
#include <memory>

class NetworkMonitor;
class StatusItem;

// One optional status item beside the network item (battery, CPU, storage): a container for
// its style view, and while shown a StatusItem on the item's own bus connection, so every
// item has its own service name and object paths. The container receives activity records
// only while the item is shown.
class MenuBarItemHost : public QObject {
    Q_OBJECT
public:
    // A session bus connection of its own for the item called id.
    static QDBusConnection busFor(const QString& id);

    MenuBarItemHost(const QString& id, const QString& title, const QDBusConnection& bus,
                    NetworkMonitor* monitor, std::unique_ptr<NetMenuBox> view,
                    QObject* parent = nullptr);
    ~MenuBarItemHost() override;

    // Shows the item (nothing when shown already); its length is the view's width.
    void show();
    // Removes the item from the tray and stops the records.
    void hide();
    bool isShown() const { return statusItem_ != nullptr; }

    StatusItem* statusItem() const { return statusItem_; }
    MenuBarItemContainer* itemContainer() const { return container_; }
    NetMenuBox* view() const { return container_->contentView(); }
    bool receivesRecords() const;

    // Called with the new item when shown and with null when hidden (faces follow it).
    std::function<void(StatusItem*)> itemChanged;
    // A click on the item, at the host's position.
    std::function<void(QPoint)> activated;
    // The item's label (shown beside the square icon by some hosts) and tooltip, asked for
    // before every refresh.
    std::function<std::pair<QString, QString>()> itemText;
    // Refreshes the item now (after a change that came without an activity record).
    void refresh();
    // Sets up a new item (label text, square picture) before it is first shown.
    std::function<void(StatusItem&)> configureItem;

private:
    void applyWidth(double width);

    QString id_;
    QString title_;
    QDBusConnection bus_;
    NetworkMonitor* monitor_;
    MenuBarItemContainer* container_;
    StatusItem* statusItem_ = nullptr;
    int lastRedraws_ = -1;
};
