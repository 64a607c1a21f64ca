#include "Settings.h"

#include "NotificationCenter.h"
#include "SettingKeyTable.h"
#include "SettingsDomain.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

SettingsDomain& standard() {
    return SettingsDomain::standard();
}
SettingsDomain& group() {
    return SettingsDomain::group();
}

void post(const char* name) {
    NotificationCenter::defaultCenter().post(QString::fromLatin1(name));
}

} // namespace

Settings& Settings::shared() {
    static Settings* instance = new Settings;
    return *instance;
}

bool Settings::autoLogin() const {
    return standard().boolValue(SettingsKey::WantsAutoLogin);
}
void Settings::setAutoLogin(bool v) {
    standard().setBool(SettingsKey::WantsAutoLogin, v);
}

bool Settings::homepageSubtitleType() const {
    return standard().integerValue(SettingsKey::HomepageSubtitleType) == 1;
}
void Settings::setHomepageSubtitleType(HomepageSubtitleType v) {
    standard().setInteger(SettingsKey::HomepageSubtitleType, static_cast<int>(v));
}

bool Settings::wantsPopupAnimation() const {
    return standard().boolValue(SettingsKey::WantsPopupAnimation);
}
void Settings::setWantsPopupAnimation(bool v) {
    standard().setBool(SettingsKey::WantsPopupAnimation, v);
}

bool Settings::wantsBlurBackground() const {
    return standard().boolValue(SettingsKey::WantsBlurBackground);
}
void Settings::setWantsBlurBackground(bool v) {
    standard().setBool(SettingsKey::WantsBlurBackground, v);
    postSettingsDidChangeNotification(QString::fromLatin1(SettingsKey::WantsBlurBackground));
}

QStringList Settings::batteryRemainingNotificationLevels() const {
    return standard().stringList(SettingsKey::WantsBatteryNotification);
}
void Settings::setBatteryRemainingNotificationLevels(const QStringList& v) {
    standard().setStringList(SettingsKey::WantsBatteryNotification, v);
}

bool Settings::showsHomepageStorageUsage() const {
    return standard().boolValue(SettingsKey::ShowsHomepageStorageUsage);
}
void Settings::setShowsHomepageStorageUsage(bool v) {
    standard().setBool(SettingsKey::ShowsHomepageStorageUsage, v);
    post(SettingsNotification::ShowsHomepageStorageUsage);
}

bool Settings::showsHomepageBatteryUsage() const {
    return standard().boolValue(SettingsKey::ShowsHomepageBatteryUsage);
}
void Settings::setShowsHomepageBatteryUsage(bool v) {
    standard().setBool(SettingsKey::ShowsHomepageBatteryUsage, v);
    post(SettingsNotification::ShowsHomepageBatteryUsage);
}

bool Settings::showsMenuBarBatteryIcon() const {
    return standard().boolValue(SettingsKey::WantsBatteryStatusInMenuBar);
}
void Settings::setShowsMenuBarBatteryIcon(bool v) {
    standard().setBool(SettingsKey::WantsBatteryStatusInMenuBar, v);
}

bool Settings::showsMenuBarBatteryIconTintColor() const {
    return standard().boolValue(SettingsKey::WantsStatusBarItemBatteryColor);
}
void Settings::setShowsMenuBarBatteryIconTintColor(bool v) {
    standard().setBool(SettingsKey::WantsStatusBarItemBatteryColor, v);
}

bool Settings::showsMenuBarBatteryPercentage() const {
    return standard().boolValue(SettingsKey::MenuBarShowsBatteryPercentage);
}
void Settings::setShowsMenuBarBatteryPercentage(bool v) {
    standard().setBool(SettingsKey::MenuBarShowsBatteryPercentage, v);
}

bool Settings::menuBarBatteryPercentageUseSystemFont() const {
    return standard().boolValue(SettingsKey::MenuBarBatteryPercentageUseSystemFont);
}
void Settings::setMenuBarBatteryPercentageUseSystemFont(bool v) {
    standard().setBool(SettingsKey::MenuBarBatteryPercentageUseSystemFont, v);
}

bool Settings::showsMenuBarStorageUsage() const {
    return standard().boolValue(SettingsKey::MenuBarShowsStorageUsage);
}
void Settings::setShowsMenuBarStorageUsage(bool v) {
    standard().setBool(SettingsKey::MenuBarShowsStorageUsage, v);
}

bool Settings::showsMenuBarCPUUsage() const {
    return standard().boolValue(SettingsKey::WantsCPUUsageInMenuBar);
}
void Settings::setShowsMenuBarCPUUsage(bool v) {
    standard().setBool(SettingsKey::WantsCPUUsageInMenuBar, v);
}

bool Settings::wantsAppDataUsageTracking() const {
    return standard().boolValue(SettingsKey::WantsAppDataUsageTracking);
}
void Settings::setWantsAppDataUsageTracking(bool v) {
    standard().setBool(SettingsKey::WantsAppDataUsageTracking, v);
}

bool Settings::showsFloatWindow() const {
    return standard().boolValue(SettingsKey::WantsFloatWindow);
}
void Settings::setShowsFloatWindow(bool v) {
    standard().setBool(SettingsKey::WantsFloatWindow, v);
}

bool Settings::floatWindowHasShadow() const {
    return standard().boolValue(SettingsKey::FloatWindowHasShadow);
}
void Settings::setFloatWindowHasShadow(bool v) {
    standard().setBool(SettingsKey::FloatWindowHasShadow, v);
}

double Settings::floatWindowBackgroundAlpha() const {
    const double v = standard().doubleValue(SettingsKey::FloatWindowBackgroundAlpha);
    return std::clamp(v, 0.4, 1.0);
}
void Settings::setFloatWindowBackgroundAlpha(double v) {
    standard().setDouble(SettingsKey::FloatWindowBackgroundAlpha, v);
}

bool Settings::floatWindowWideModeShowsTime() const {
    return standard().boolValue(SettingsKey::FloatWindowWideModeShowTime);
}
void Settings::setFloatWindowWideModeShowsTime(bool v) {
    standard().setBool(SettingsKey::FloatWindowWideModeShowTime, v);
    post(SettingsNotification::WindowWideModeShowsTimeDidChange);
}

int Settings::floatWindowMode() const {
    return static_cast<int>(standard().integerValue(SettingsKey::FloatWindowMode));
}
void Settings::setFloatWindowMode(int v) {
    standard().setInteger(SettingsKey::FloatWindowMode, v);
    post(SettingsNotification::FloatWindowModeDidChange);
}

void Settings::settingsDidChange(ChangeHook hook) {
    settingsDidChangeHook_.push_back(std::move(hook));
}

void Settings::postSettingsDidChangeNotification(const QString& key) {
    // Index loop: a hook may register further hooks while we call them.
    for (size_t i = 0; i < settingsDidChangeHook_.size(); ++i) {
        ChangeHook hook = settingsDidChangeHook_[i];
        hook(key);
    }
}

void Settings::addPerformanceQueuePriorityDidChange(
    QObject* observer, std::function<void(const Notification&)> action) {
    NotificationCenter::defaultCenter().addObserver(
        observer, QString::fromLatin1(SettingsNotification::PerformanceQueuePriority),
        std::move(action));
}

void Settings::addAutoLoginDidChange(QObject* observer,
                                     std::function<void(const Notification&)> action) {
    NotificationCenter::defaultCenter().addObserver(
        observer, QString::fromLatin1(SettingsNotification::WantsAutoLogin), std::move(action));
}

QString Settings::notificationNameForKey(const QString& key) {
    static const std::map<QString, QString> names = {
        {SettingsKey::PerformanceQueuePriority, SettingsNotification::PerformanceQueuePriority},
        {SettingsKey::WantsAutoLogin, SettingsNotification::WantsAutoLogin},
        {SettingsKey::PreferredTrafficType, SettingsNotification::PreferredTrafficTypeChanged},
        {SettingsKey::DataUsageTimeRange, SettingsNotification::DataUsageTimeRangeChanged},
        {SettingsKey::ShowsHomepageStorageUsage, SettingsNotification::ShowsHomepageStorageUsage},
        {SettingsKey::ShowsHomepageBatteryUsage, SettingsNotification::ShowsHomepageBatteryUsage},
        {SettingsKey::MenuBoxPreferredWidth, SettingsNotification::MenuBoxPreferredWidthChanged},
        {SettingsKey::WantsStorageMenuBarDisplay,
         SettingsNotification::MenuBarStorageDisplayTypeDidChange},
        {SettingsKey::FloatWindowMode, SettingsNotification::FloatWindowModeDidChange},
        {SettingsKey::FloatWindowWideModeShowTime,
         SettingsNotification::WindowWideModeShowsTimeDidChange},
        {SettingsKey::AccentColorIndex, "appleInterfaceDidChange"},
    };
    auto it = names.find(key);
    return it == names.end() ? QString() : it->second;
}

bool Settings::isGroupKey(const QString& key) {
    const SettingKeyTable::Entry* entry = SettingKeyTable::find(key.toStdString());
    return entry && entry->group;
}

int performanceQueuePriority() {
    return static_cast<int>(standard().integerValue(SettingsKey::PerformanceQueuePriority));
}
void setPerformanceQueuePriority(int v) {
    standard().setInteger(SettingsKey::PerformanceQueuePriority, v);
    post(SettingsNotification::PerformanceQueuePriority);
}

int preferredTrafficType() {
    return static_cast<int>(standard().integerValue(SettingsKey::PreferredTrafficType));
}
void setPreferredTrafficType(int v) {
    standard().setInteger(SettingsKey::PreferredTrafficType, v);
    post(SettingsNotification::PreferredTrafficTypeChanged);
}

int accentColorIndex() {
    return static_cast<int>(group().integerValue(SettingsKey::AccentColorIndex));
}
void setAccentColorIndex(int v) {
    group().setInteger(SettingsKey::AccentColorIndex, v);
}

int storageReference() {
    return static_cast<int>(group().integerValue(SettingsKey::StorageReference));
}
void setStorageReference(int v) {
    group().setInteger(SettingsKey::StorageReference, v);
}

int dataUsageTimeRange() {
    return group().integerValue(SettingsKey::DataUsageTimeRange) == 1 ? 1 : 0;
}
void setDataUsageTimeRange(int v) {
    group().setInteger(SettingsKey::DataUsageTimeRange, v);
    post(SettingsNotification::DataUsageTimeRangeChanged);
}

Settings::MenuBoxPreferredWidth menuBoxPreferredWidth() {
    const int64_t v = standard().integerValue(SettingsKey::MenuBoxPreferredWidth);
    if (v < 0 || v > 2)
        return Settings::MenuBoxPreferredWidth::Auto;
    return static_cast<Settings::MenuBoxPreferredWidth>(v);
}
void setMenuBoxPreferredWidth(int v) {
    standard().setInteger(SettingsKey::MenuBoxPreferredWidth, (v < 0 || v > 2) ? 0 : v);
    post(SettingsNotification::MenuBoxPreferredWidthChanged);
}

int menuBarStorageDisplayType() {
    return static_cast<int>(standard().integerValue(SettingsKey::WantsStorageMenuBarDisplay));
}
void setMenuBarStorageDisplayType(int v) {
    standard().setInteger(SettingsKey::WantsStorageMenuBarDisplay, v != 0 ? 1 : 0);
    post(SettingsNotification::MenuBarStorageDisplayTypeDidChange);
}
