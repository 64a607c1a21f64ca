#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>

class YYSystemBatteryReport;

// Posts a desktop notification when the battery falls to one of the chosen levels (10, 20,
// 30, 40, 50 % remaining) and when it reaches 100 %. Asked after every power-source change
// and once at start-up; at most one notification per call.
class BatteryUserNotificationDispatcher {
public:
    // Delivers one notification: title, optional subtitle and the 192 x 192 canvas.
    using Poster = std::function<void(const QString& title, const std::optional<QString>& subtitle,
                                      const QImage& canvas)>;

    static BatteryUserNotificationDispatcher& shared();

    // Empty arguments take the desktop's notification service, the desktop's dark test and
    // the "WantsBatteryNotification" setting.
    explicit BatteryUserNotificationDispatcher(Poster poster = {},
                                               std::function<bool()> isDarkAppearance = {},
                                               std::function<QStringList()> chosenLevels = {});

    // Entry point for start-up and the power-source change path.
    void postBatteryUserNotificationIfNeed();
    // Same over a given presence answer and report (absent: nothing happens).
    void postBatteryUserNotificationIfNeed(bool hasBattery, const YYSystemBatteryReport* report);

    void postBatteryPercentageDidChangeNotification(int32_t percentage,
                                                    const std::optional<QString>& subtitle);
    void postUserNotificationWithTitle(const QString& title, const std::optional<QString>& subtitle,
                                       const QString& imageName);
    void resetReadyToPost();
    // Notifications are shown even while the application is in front.
    bool shouldPresentNotification() const { return true; }

    bool percentage10ReadyToPost() const { return ready_[0]; }
    bool percentage20ReadyToPost() const { return ready_[1]; }
    bool percentage30ReadyToPost() const { return ready_[2]; }
    bool percentage40ReadyToPost() const { return ready_[3]; }
    bool percentage50ReadyToPost() const { return ready_[4]; }
    void setPercentage10ReadyToPost(bool v) { ready_[0] = v; }
    void setPercentage20ReadyToPost(bool v) { ready_[1] = v; }
    void setPercentage30ReadyToPost(bool v) { ready_[2] = v; }
    void setPercentage40ReadyToPost(bool v) { ready_[3] = v; }
    void setPercentage50ReadyToPost(bool v) { ready_[4] = v; }
    int32_t cacheBatteryPercentage() const { return cacheBatteryPercentage_; }
    void setCacheBatteryPercentage(int32_t v) { cacheBatteryPercentage_ = v; }

private:
    Poster poster_;
    std::function<bool()> isDarkAppearance_;
    std::function<QStringList()> chosenLevels_;
    bool ready_[5] = {false, false, false, false, false};
    int32_t cacheBatteryPercentage_ = 0;
};
