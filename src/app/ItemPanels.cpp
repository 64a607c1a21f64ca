#include "ItemPanels.h"

#include "app/FaceService.h"
#include "menubar/BatteryMenuBarItemController.h"
#include "menubar/CPUMenuBarItemController.h"
#include "menubar/MenuBarItemHost.h"
#include "menubar/StatusItem.h"
#include "menubar/StorageMenuBarItemController.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "ui/ItemPanel.h"
#include "ui/MenuBatteryHealthViewController.h"
#include "ui/MenuStorageViewController.h"
#include "ui/ToggleSwitch.h"

#include <QPointer>

namespace ItemPanels {

ItemPanel& battery() {
    static ItemPanel* panel = new ItemPanel(
        [] {
            auto* page = new MenuBatteryHealthViewController;
            const SettingsDomain& settings = SettingsDomain::standard();
            page->percentageToggler()->setChecked(
                settings.boolValue(SettingsKey::MenuBarShowsBatteryPercentage));
            page->tintColorToggler()->setChecked(
                settings.boolValue(SettingsKey::WantsStatusBarItemBatteryColor));
            QObject::connect(page->percentageToggler(), &QAbstractButton::toggled, [](bool on) {
                BatteryMenuBarItemController::shared().setShowsPercentage(on);
            });
            QObject::connect(page->tintColorToggler(), &QAbstractButton::toggled, [](bool on) {
                BatteryMenuBarItemController::shared().toggleBatteryIconTintColor(on);
            });
            page->tapHandler = [](bool expanded) {
                battery().setContentHeight(expanded
                                               ? MenuBatteryHealthViewController::kExpandedHeight
                                               : MenuBatteryHealthViewController::kCollapsedHeight);
            };
            return page;
        },
        QSize(BatteryHealthView::kWidth, MenuBatteryHealthViewController::kCollapsedHeight));
    return *panel;
}

ItemPanel& storage() {
    static ItemPanel* panel =
        new ItemPanel([] { return new MenuStorageViewController; },
                      QSize(MenuStorageViewController::kWidth, MenuStorageViewController::kHeight));
    return *panel;
}

void connectItems() {
    BatteryMenuBarItemController::shared().showPopoverHandler = [](QPoint at) {
        battery().toggleAt(at);
    };
    StorageMenuBarItemController::shared().showPopoverHandler = [](QPoint at) {
        storage().toggleAt(at);
    };
}

bool toggleAt(const QString& kind, QPoint point, PanelEdge edge) {
    if (kind == QLatin1String("battery")) {
        battery().toggleAt(point, edge);
        return true;
    }
    if (kind == QLatin1String("storage")) {
        storage().toggleAt(point, edge);
        return true;
    }
    return false;
}

void connectFaces(FaceService* faces) {
    const std::pair<const char*, MenuBarItemHost*> hosts[] = {
        {"battery", BatteryMenuBarItemController::shared().host()},
        {"cpu", CPUMenuBarItemController::shared().host()},
        {"storage", StorageMenuBarItemController::shared().host()},
    };
    QPointer<FaceService> weak(faces);
    for (const auto& [name, host] : hosts) {
        const QString kind = QString::fromLatin1(name);
        const auto follow = [weak, kind](StatusItem* item) {
            if (!weak)
                return;
            if (!item) {
                weak->removeSource(kind);
                return;
            }
            item->faceChanged = [weak, kind] {
                if (weak)
                    weak->sourceChanged(kind);
            };
            weak->addSource(kind, item, item);
        };
        if (!faces) {
            host->itemChanged = {};
            if (host->statusItem())
                host->statusItem()->faceChanged = {};
            continue;
        }
        host->itemChanged = follow;
        if (host->statusItem())
            follow(host->statusItem());
    }
}

} // namespace ItemPanels
