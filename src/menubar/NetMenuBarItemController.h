#pragma once

#include "BoxType.h"
#include "NetMenuBox.h"
#include "network/ActivityObserver.h"

#include <QDBusConnection>
#include <QObject>
#include <QPoint>
#include <QPointer>

#include <functional>
#include <memory>

class NetworkMonitor;
class StatusItem;

// Sits inside the status item and hosts the current style view, which it owns. It is an
// activity observer of the traffic sampler and hands each record to the view.
class MenuBarItemContainer : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    // Registers with monitor (when given) as an activity observer.
    explicit MenuBarItemContainer(NetworkMonitor* monitor, QObject* parent = nullptr);
    ~MenuBarItemContainer() override;

    NetMenuBox* contentView() const { return contentView_.get(); }
    // Replaces the hosted view; the previous one is destroyed.
    void setContentView(std::unique_ptr<NetMenuBox> view);
    QRectF frame() const { return frame_; }
    void setFrame(const QRectF& frame) { frame_ = frame; }

    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // Called before and after the view takes each record (the status item re-renders then).
    std::function<void()> willUpdate;
    std::function<void(const ActivityObject&)> didUpdate;

private:
    NetworkMonitor* monitor_;
    std::unique_ptr<NetMenuBox> contentView_;
    QRectF frame_;
};

// The network status item: its style, its width and the click.
class NetMenuBarItemController : public QObject {
    Q_OBJECT
public:
    // The process-wide controller on the session bus, observing the shared sampler.
    static NetMenuBarItemController& shared();
    NetMenuBarItemController(const QDBusConnection& bus, NetworkMonitor* monitor,
                             QObject* parent = nullptr);
    ~NetMenuBarItemController() override;

    BoxType menuBoxType;
    StatusItem* statusItem() const { return statusItem_; }
    MenuBarItemContainer* itemContainer() const { return itemContainer_; }

    // (Re)builds the item's content from menuBoxType; every call replaces the style view.
    void loadMenuBarItemIfNeed();
    // The settings page's choice of a style: store it and load it.
    void selectBoxType(BoxType type);
    // The item's action: toggles the panel (through showPopoverHandler) at the click point.
    void showPopover();
    // The panel of a later step; called with the last click position.
    std::function<void(QPoint)> showPopoverHandler;
    // Before sleep: stores the home view's sparklines (the home view installs this).
    std::function<void()> storeSparklinesHandler;
    void notifyMacWentOff();
    void resetData();

    // The width the item gets for a stored type (icon for 10 and above).
    static double lengthForBoxType(BoxType type, const NetMenuBox& view);

private:
    void applyWidth(double width);
    void reloadBoxTypeFromSettings();

    StatusItem* statusItem_ = nullptr;
    MenuBarItemContainer* itemContainer_ = nullptr;
    NetworkMonitor* monitor_;
};
