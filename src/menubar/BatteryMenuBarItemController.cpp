#include "BatteryMenuBarItemController.h"

#include "BatteryMenuBox.h"
#include "MenuBarItemHost.h"
#include "StatusItem.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QTimer>

BatteryMenuBarItemController& BatteryMenuBarItemController::shared() {
    static BatteryMenuBarItemController* controller = new BatteryMenuBarItemController(
        MenuBarItemHost::busFor(QStringLiteral("battery")),
        [] { return &YYSystemBatteryReport::shareReport(); },
        [] { return YYSystemBatteryReport::hasBattery(); });
    return *controller;
}

BatteryMenuBarItemController::BatteryMenuBarItemController(
    const QDBusConnection& bus, std::function<const YYSystemBatteryReport*()> report,
    std::function<bool()> hasBattery, QObject* parent)
    : QObject(parent),
      host_(new MenuBarItemHost(QStringLiteral("battery"),
                                Language::getLocalizedString(QStringLiteral("battery.title")), bus,
                                nullptr, std::make_unique<BatteryMenuBox>(), this)),
      report_(std::move(report)), hasBattery_(std::move(hasBattery)) {
    host_->itemText = [this] {
        const QString text = QString::number(view()->state().percentage) + QLatin1Char('%');
        return std::make_pair(text, Language::getLocalizedString(QStringLiteral("battery.title")) +
                                        QLatin1Char(' ') + text);
    };
    host_->configureItem = [this](StatusItem& item) {
        item.squarePicture = [this](int pixels, const QColor& colour) {
            return BatteryMenuBox::squarePicture(pixels, colour, view()->state());
        };
    };
    host_->activated = [this](QPoint at) {
        if (hasBattery_ && hasBattery_())
            showPopover(at);
    };
    // Appearance changes arrive from the portal; the update runs once the loop is free.
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        if (updateScheduled_)
            return;
        updateScheduled_ = true;
        QTimer::singleShot(0, this, [this] {
            updateScheduled_ = false;
            updateMenuBarItemIfNeed();
        });
    });
    NotificationCenter& center = NotificationCenter::defaultCenter();
    center.addObserver(this, QString::fromLatin1(SettingsKey::WantsBatteryStatusInMenuBar),
                       [this](const Notification&) { loadMenuBarItemIfNeed(); });
    for (const char* key :
         {SettingsKey::MenuBarShowsBatteryPercentage, SettingsKey::WantsStatusBarItemBatteryColor})
        center.addObserver(this, QString::fromLatin1(key),
                           [this](const Notification&) { updateMenuBarItemIfNeed(); });
}

BatteryMenuBox* BatteryMenuBarItemController::view() const {
    return static_cast<BatteryMenuBox*>(host_->view());
}

void BatteryMenuBarItemController::loadMenuBarItemIfNeed() {
    if (!SettingsDomain::standard().boolValue(SettingsKey::WantsBatteryStatusInMenuBar)) {
        host_->hide();
        return;
    }
    if (host_->isShown())
        return;
    updateMenuBarItemIfNeed(); // the first picture before the item appears
    host_->show();
    updateMenuBarItemIfNeed();
}

void BatteryMenuBarItemController::updateMenuBarItemIfNeed() {
    const SettingsDomain& settings = SettingsDomain::standard();
    BatteryMenuBox::State state;
    state.showsPercentage = settings.boolValue(SettingsKey::MenuBarShowsBatteryPercentage);
    state.coloured = settings.boolValue(SettingsKey::WantsStatusBarItemBatteryColor);
    const YYSystemBatteryReport* report = report_ ? report_() : nullptr;
    if (hasBattery_ && hasBattery_() && report && report->successedLoadBatteryReport()) {
        state.percentage = report->iops_battery_percentage();
        // On external power the item always shows the charging picture.
        state.charging = !report->iops_power_source_is_battery();
    } else {
        state.percentage = 0;
        state.charging = true;
    }
    view()->set(state);
    host_->refresh();
}

void BatteryMenuBarItemController::setShowsPercentage(bool on) {
    SettingsDomain::standard().setBool(SettingsKey::MenuBarShowsBatteryPercentage, on);
    updateMenuBarItemIfNeed();
}

void BatteryMenuBarItemController::toggleBatteryIconTintColor(bool on) {
    SettingsDomain::standard().setBool(SettingsKey::WantsStatusBarItemBatteryColor, on);
    updateMenuBarItemIfNeed();
}

void BatteryMenuBarItemController::showPopover(QPoint at) {
    if (showPopoverHandler)
        showPopoverHandler(at);
}
