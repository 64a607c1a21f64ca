#include "MenuBarItemHost.h"

#include "StatusItem.h"
#include "network/NetworkMonitor.h"

#include <algorithm>

QDBusConnection MenuBarItemHost::busFor(const QString& id) {
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                         QStringLiteral("lumenstat-item-") + id);
}

MenuBarItemHost::MenuBarItemHost(const QString& id, const QString& title,
                                 const QDBusConnection& bus, NetworkMonitor* monitor,
                                 std::unique_ptr<NetMenuBox> view, QObject* parent)
    : QObject(parent), id_(id), title_(title), bus_(bus), monitor_(monitor),
      container_(new MenuBarItemContainer(nullptr, this)) {
    const double width = view->width();
    container_->setContentView(std::move(view));
    container_->setFrame(QRectF(0, 0, width, kMenuBarHeight));
    // A record that left the drawing as it was costs no rendering.
    container_->didUpdate = [this](const ActivityObject&) {
        const NetMenuBox* v = container_->contentView();
        if (v && v->redrawRequests() == lastRedraws_)
            return;
        refresh();
    };
}

MenuBarItemHost::~MenuBarItemHost() {
    if (monitor_)
        monitor_->removeActivityObserver(container_);
}

bool MenuBarItemHost::receivesRecords() const {
    if (!monitor_)
        return false;
    const auto& observers = monitor_->activityObservers();
    return std::find(observers.begin(), observers.end(), container_) != observers.end();
}

void MenuBarItemHost::show() {
    if (statusItem_)
        return;
    NetMenuBox* view = container_->contentView();
    statusItem_ = new StatusItem(bus_, view ? view->width() : 64, this,
                                 QStringLiteral("lumenstat-") + id_, title_);
    if (configureItem)
        configureItem(*statusItem_);
    connect(statusItem_, &StatusItem::activated, this, [this](QPoint at) {
        if (activated)
            activated(at);
    });
    if (view) {
        QPointer<MenuBarItemHost> weak(this);
        view->widthChangedHandler = [weak](double width) {
            if (weak)
                weak->applyWidth(width);
        };
        applyWidth(view->width());
    }
    statusItem_->setContentView(view);
    if (monitor_ && !receivesRecords())
        monitor_->addActivityObserver(container_);
    refresh();
    if (itemChanged)
        itemChanged(statusItem_);
}

void MenuBarItemHost::hide() {
    if (monitor_)
        monitor_->removeActivityObserver(container_);
    if (!statusItem_)
        return;
    if (NetMenuBox* view = container_->contentView())
        view->widthChangedHandler = {};
    StatusItem* item = statusItem_;
    statusItem_ = nullptr;
    if (itemChanged)
        itemChanged(nullptr);
    delete item;
}

void MenuBarItemHost::applyWidth(double width) {
    container_->setFrame(QRectF(0, 0, width, kMenuBarHeight));
    if (statusItem_)
        statusItem_->setLength(width);
}

void MenuBarItemHost::refresh() {
    if (!statusItem_)
        return;
    if (const NetMenuBox* v = container_->contentView())
        lastRedraws_ = v->redrawRequests();
    if (itemText) {
        const auto [label, toolTip] = itemText();
        statusItem_->setText(label, toolTip);
    }
    statusItem_->refresh();
}
