#include "StorageMenuBarItemController.h"

#include "MenuBarItemHost.h"
#include "StatusItem.h"
#include "StorageMenuBox.h"
#include "network/NetworkMonitor.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QPainter>

StorageMenuBarItemController& StorageMenuBarItemController::shared() {
    static StorageMenuBarItemController* controller = new StorageMenuBarItemController(
        MenuBarItemHost::busFor(QStringLiteral("storage")), &NetworkMonitor::shared());
    return *controller;
}

StorageMenuBarItemController::StorageMenuBarItemController(const QDBusConnection& bus,
                                                           NetworkMonitor* monitor, QObject* parent)
    : QObject(parent),
      host_(new MenuBarItemHost(QStringLiteral("storage"),
                                Language::getLocalizedString(QStringLiteral("STORAGE")), bus,
                                monitor, std::make_unique<Storage>(), this)) {
    host_->itemText = [this] {
        const QString text = view()->textLabel.text();
        return std::make_pair(text, Language::getLocalizedString(QStringLiteral("STORAGE")) +
                                        QLatin1Char(' ') + text);
    };
    host_->configureItem = [this](StatusItem& item) {
        // Hosts that squeeze the item get the ring alone.
        item.squarePicture = [this](int pixels, const QColor& colour) {
            QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter p(&image);
            p.scale(pixels / Storage::kRingBox, pixels / Storage::kRingBox);
            const Storage* storage = view();
            p.translate(Storage::kRingBox - storage->width(), 0);
            p.setClipRect(QRectF(storage->width() - Storage::kRingBox, 0, Storage::kRingBox,
                                 Storage::kRingBox));
            NetMenuBox::InkScope ink(colour);
            storage->draw(p);
            return image;
        };
    };
    host_->activated = [this](QPoint at) { showPopover(at); };
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsKey::MenuBarShowsStorageUsage),
        [this](const Notification&) { loadMenuBarItemIfNeed(); });
}

Storage* StorageMenuBarItemController::view() const {
    return static_cast<Storage*>(host_->view());
}

void StorageMenuBarItemController::loadMenuBarItemIfNeed() {
    if (!SettingsDomain::standard().boolValue(SettingsKey::MenuBarShowsStorageUsage)) {
        host_->hide();
        return;
    }
    host_->show();
}

void StorageMenuBarItemController::showPopover(QPoint at) {
    if (showPopoverHandler)
        showPopoverHandler(at);
}
