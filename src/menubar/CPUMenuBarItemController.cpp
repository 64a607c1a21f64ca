#include "CPUMenuBarItemController.h"

#include "CPUMenuBox.h"
#include "MenuBarItemHost.h"
#include "StatusItem.h"
#include "network/NetworkMonitor.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

CPUMenuBarItemController& CPUMenuBarItemController::shared() {
    static CPUMenuBarItemController* controller = new CPUMenuBarItemController(
        MenuBarItemHost::busFor(QStringLiteral("cpu")), &NetworkMonitor::shared());
    return *controller;
}

CPUMenuBarItemController::CPUMenuBarItemController(const QDBusConnection& bus,
                                                   NetworkMonitor* monitor, QObject* parent)
    : QObject(parent), host_(new MenuBarItemHost(QStringLiteral("cpu"), QStringLiteral("CPU"), bus,
                                                 monitor, std::make_unique<CPU>(), this)) {
    host_->itemText = [this] {
        const QString text = view()->textLabel.text();
        return std::make_pair(text, QStringLiteral("CPU ") + text);
    };
    host_->configureItem = [this](StatusItem& item) {
        // Hosts that squeeze the item get a gauge of the load in tenths: it changes seldom,
        // so the host is not sent a new picture every second (the figure is in the tooltip).
        item.squarePicture = [this](int pixels, const QColor& colour) {
            return gauge(pixels, colour);
        };
    };
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsKey::WantsCPUUsageInMenuBar),
        [this](const Notification&) { loadMenuBarItemIfNeed(); });
}

QImage CPUMenuBarItemController::gauge(int pixels, const QColor& colour) {
    const uint64_t load = view()->stockView.data().empty() ? 0 : view()->stockView.data().back();
    const int tenths = CPU::gaugeTenths(load);
    // The item asks for two sizes (the picture and its small fall-back).
    Gauge& g = gauges_[0].pixels == pixels || gauges_[0].pixels == 0 ? gauges_[0] : gauges_[1];
    if (g.pixels != pixels || g.colour != colour.rgba() || g.tenths != tenths)
        g = Gauge{pixels, colour.rgba(), tenths, CPU::gaugePicture(pixels, colour, load)};
    return g.image;
}

CPU* CPUMenuBarItemController::view() const {
    return static_cast<CPU*>(host_->view());
}

void CPUMenuBarItemController::loadMenuBarItemIfNeed() {
    if (!SettingsDomain::standard().boolValue(SettingsKey::WantsCPUUsageInMenuBar)) {
        host_->hide();
        return;
    }
    host_->show();
}
