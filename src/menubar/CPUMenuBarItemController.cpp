#include "CPUMenuBarItemController.h"

#include "CPUMenuBox.h"
#include "MenuBarItemHost.h"
#include "StatusItem.h"
#include "network/NetworkMonitor.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QPainter>
#include <QPainterPath>

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
        // Hosts that squeeze the item get the sparkline box with the load in it.
        item.squarePicture = [this](int pixels, const QColor& colour) {
            QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter p(&image);
            p.setRenderHint(QPainter::Antialiasing);
            // The sparkline's frame stretched over the square.
            const CPU* cpu = view();
            const QRectF frame = cpu->stockView.frame();
            p.scale(pixels / frame.width(), pixels / frame.height());
            p.translate(-frame.topLeft());
            QPainterPath box;
            box.addRoundedRect(frame, 4, 4);
            QColor faint = colour;
            faint.setAlphaF(0.2f);
            p.fillPath(box, faint);
            cpu->stockView.paint(p);
            return image;
        };
    };
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsKey::WantsCPUUsageInMenuBar),
        [this](const Notification&) { loadMenuBarItemIfNeed(); });
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
