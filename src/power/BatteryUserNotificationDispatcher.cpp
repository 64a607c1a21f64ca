#include "BatteryUserNotificationDispatcher.h"

#include "BatteryNotificationImages.h"
#include "YYSystemBatteryReport.h"
#include "platform/linux/DesktopNotifications.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/Settings.h"

#include <memory>

BatteryUserNotificationDispatcher& BatteryUserNotificationDispatcher::shared() {
    static BatteryUserNotificationDispatcher* dispatcher = new BatteryUserNotificationDispatcher();
    return *dispatcher;
}

BatteryUserNotificationDispatcher::BatteryUserNotificationDispatcher(
    Poster poster, std::function<bool()> isDarkAppearance,
    std::function<QStringList()> chosenLevels)
    : poster_(std::move(poster)), isDarkAppearance_(std::move(isDarkAppearance)),
      chosenLevels_(std::move(chosenLevels)) {
    if (!poster_) {
        auto service = std::make_shared<DesktopNotifications>();
        poster_ = [service](const QString& title, const std::optional<QString>& subtitle,
                            const QImage& canvas) {
            service->notify(title, subtitle.value_or(QString()), canvas);
        };
    }
    if (!isDarkAppearance_)
        isDarkAppearance_ = [] { return DynamicAppearance::systemAppearanceIsDark(); };
    if (!chosenLevels_)
        chosenLevels_ = [] { return Settings::shared().batteryRemainingNotificationLevels(); };
}

void BatteryUserNotificationDispatcher::postBatteryUserNotificationIfNeed() {
    const bool present = YYSystemBatteryReport::hasBattery();
    postBatteryUserNotificationIfNeed(present,
                                      present ? &YYSystemBatteryReport::shareReport() : nullptr);
}

void BatteryUserNotificationDispatcher::postBatteryUserNotificationIfNeed(
    bool hasBattery, const YYSystemBatteryReport* report) {
    if (!hasBattery || !report || !report->successedLoadBatteryReport())
        return;
    std::optional<QString> subtitle;
    const double e = report->iops_timeRemainingEstimate();
    if (e != -1.0 && e != -2.0)
        subtitle = QStringLiteral("%1: %2").arg(
            Language::getLocalizedString(QStringLiteral("battery.notification.timeRemaining")),
            report->iops_timeRemainingBody());
    postBatteryPercentageDidChangeNotification(
        static_cast<int32_t>(report->iops_battery_percentage()), subtitle);
}

void BatteryUserNotificationDispatcher::postBatteryPercentageDidChangeNotification(
    int32_t percentage, const std::optional<QString>& subtitle) {
    if (cacheBatteryPercentage_ == 0) {
        cacheBatteryPercentage_ = percentage;
        return;
    }
    if (cacheBatteryPercentage_ == percentage)
        return;
    const QStringList levels = chosenLevels_();

    if (percentage > 50) {
        if (percentage == 100 && cacheBatteryPercentage_ < 100 &&
            levels.contains(QStringLiteral("100")))
            postUserNotificationWithTitle(
                Language::getLocalizedString(QStringLiteral("battery.notification.fullCharged")),
                subtitle,
                isDarkAppearance_() ? QStringLiteral("battery_100_dark")
                                    : QStringLiteral("battery_100_light"));
    } else {
        // Enter at the first level at or above the percentage and walk up: a level that is
        // not chosen or not armed hands the turn to the next one.
        int start = 10;
        while (percentage > start)
            start += 10;
        for (int level = start; level <= 50; level += 10) {
            bool& ready = ready_[level / 10 - 1];
            if (ready && levels.contains(QString::number(level))) {
                ready = false;
                postUserNotificationWithTitle(
                    Language::getLocalizedString(
                        QStringLiteral("battery.notification.%1%Remaining").arg(level)),
                    subtitle,
                    QStringLiteral("battery_%1_%2")
                        .arg(level)
                        .arg(isDarkAppearance_() ? QStringLiteral("dark")
                                                 : QStringLiteral("light")));
                break;
            }
        }
    }
    cacheBatteryPercentage_ = percentage;
    resetReadyToPost();
}

void BatteryUserNotificationDispatcher::resetReadyToPost() {
    for (int level = 10; level <= 50; level += 10)
        if (cacheBatteryPercentage_ >= level + 1)
            ready_[level / 10 - 1] = true;
}

void BatteryUserNotificationDispatcher::postUserNotificationWithTitle(
    const QString& title, const std::optional<QString>& subtitle, const QString& imageName) {
    poster_(title, subtitle, BatteryNotificationImages::canvas(imageName));
}
