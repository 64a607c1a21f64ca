#include "NetMenuBarItemController.h"

#include "StatusItem.h"
#include "network/NetworkMonitor.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

MenuBarItemContainer::MenuBarItemContainer(NetworkMonitor* monitor, QObject* parent)
    : QObject(parent), monitor_(monitor) {
    if (monitor_)
        monitor_->addActivityObserver(this);
}

MenuBarItemContainer::~MenuBarItemContainer() {
    if (monitor_)
        monitor_->removeActivityObserver(this);
}

void MenuBarItemContainer::setContentView(std::unique_ptr<NetMenuBox> view) {
    contentView_ = std::move(view);
}

void MenuBarItemContainer::networkActivityDidUpdate(const ActivityRecord& record) {
    if (!contentView_ || !record)
        return;
    if (willUpdate)
        willUpdate();
    contentView_->update(*record);
    if (didUpdate)
        didUpdate(*record);
}

NetMenuBarItemController& NetMenuBarItemController::shared() {
    static NetMenuBarItemController* controller =
        new NetMenuBarItemController(QDBusConnection::sessionBus(), &NetworkMonitor::shared());
    return *controller;
}

NetMenuBarItemController::NetMenuBarItemController(const QDBusConnection& bus,
                                                   NetworkMonitor* monitor, QObject* parent)
    : QObject(parent), monitor_(monitor) {
    menuBoxType =
        boxTypeFromStored(SettingsDomain::standard().integerValue(SettingsKey::NetMenuBoxType));
    statusItem_ = new StatusItem(bus, 48, this);
    itemContainer_ = new MenuBarItemContainer(monitor, this);
    itemContainer_->setFrame(QRectF(0, 0, 48, kMenuBarHeight));
    // The view asks to be redrawn while it takes a record; the refresh right after serves it.
    itemContainer_->willUpdate = [this] { statusItem_->deferRefreshes(); };
    itemContainer_->didUpdate = [this](const ActivityObject& activity) {
        statusItem_->setActivity(activity);
        statusItem_->refresh();
    };
    connect(statusItem_, &StatusItem::activated, this, [this](QPoint) { showPopover(); });
    // `lumenstat --set app.netMenu.boxType=N` (and the settings page) post the key's name.
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsKey::NetMenuBoxType), [this](const Notification&) {
            reloadBoxTypeFromSettings();
            loadMenuBarItemIfNeed();
        });
}

NetMenuBarItemController::~NetMenuBarItemController() = default;

void NetMenuBarItemController::reloadBoxTypeFromSettings() {
    menuBoxType =
        boxTypeFromStored(SettingsDomain::standard().integerValue(SettingsKey::NetMenuBoxType));
}

double NetMenuBarItemController::lengthForBoxType(BoxType type, const NetMenuBox& view) {
    switch (type) {
    case BoxType::compact:
    case BoxType::wide:
    case BoxType::luxury:
    case BoxType::stock:
    case BoxType::solo:
    case BoxType::largeWithCPU:
    case BoxType::largeWithStock:
        return defaultWidthForBoxType(type);
    case BoxType::doubleSolo:
    case BoxType::large:
        return view.defaultWidth(); // these two fit their texts
    case BoxType::menuBox:
    case BoxType::menuCompactBox:
    case BoxType::menuWideBox:
    case BoxType::menuLuxuryBox:
    case BoxType::menuStockBox:
    case BoxType::menuIconBox:
    case BoxType::menuSoloBox:
    case BoxType::menuDoubleSoloBox:
        return defaultWidthForBoxType(type);
    default:
        return 22;
    }
}

void NetMenuBarItemController::loadMenuBarItemIfNeed() {
    // A stored 10, 11 or 12 belongs to another item's styles: show the icon.
    const bool iconOnly =
        menuBoxType == BoxType::icon ||
        (static_cast<int>(menuBoxType) > static_cast<int>(BoxType::largeWithStock) &&
         !isClassicBoxType(menuBoxType));
    std::unique_ptr<NetMenuBox> view = NetMenuBox::create(iconOnly ? BoxType::icon : menuBoxType);
    const double length = lengthForBoxType(iconOnly ? BoxType::icon : menuBoxType, *view);
    QPointer<NetMenuBarItemController> weak(this);
    view->widthChangedHandler = [weak](double width) {
        if (weak)
            weak->applyWidth(width);
    };
    NetMenuBox* raw = view.get();
    itemContainer_->setContentView(std::move(view));
    applyWidth(length);
    statusItem_->setContentView(raw);
    statusItem_->refresh();
}

void NetMenuBarItemController::applyWidth(double width) {
    statusItem_->setLength(width);
    itemContainer_->setFrame(QRectF(0, 0, width, kMenuBarHeight));
}

void NetMenuBarItemController::selectBoxType(BoxType type) {
    menuBoxType = type;
    SettingsDomain::standard().setInteger(SettingsKey::NetMenuBoxType, static_cast<int>(type));
    loadMenuBarItemIfNeed();
}

void NetMenuBarItemController::showPopover() {
    if (showPopoverHandler)
        showPopoverHandler(statusItem_->lastActivatePosition());
}

void NetMenuBarItemController::notifyMacWentOff() {
    if (storeSparklinesHandler)
        storeSparklinesHandler();
}

void NetMenuBarItemController::resetData() {
    if (monitor_)
        monitor_->resetData();
}
