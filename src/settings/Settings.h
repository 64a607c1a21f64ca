#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class QObject;
struct Notification;

// Keys of the two settings domains. The names are part of the stored format.
namespace SettingsKey {
// Standard domain
inline constexpr const char* WantsAutoLogin = "WantsAutoLogin";
inline constexpr const char* PerformanceQueuePriority = "PerformanceQueuePriority";
inline constexpr const char* PreferredTrafficType = "PrefrredTrafficType";
inline constexpr const char* HomepageSubtitleType = "HomepageSubtitleType";
inline constexpr const char* WantsPopupAnimation = "WantsPopupAnimation";
inline constexpr const char* WantsBlurBackground = "WantsBlurBackground";
inline constexpr const char* WantsBatteryNotification = "WantsBatteryNotification";
inline constexpr const char* ShowsHomepageStorageUsage = "ShowsHomepageStorageUsage";
inline constexpr const char* ShowsHomepageBatteryUsage = "ShowsHomepageBatteryUsage";
inline constexpr const char* WantsBatteryStatusInMenuBar = "WantsBatteryStatusInMenuBar";
inline constexpr const char* WantsStatusBarItemBatteryColor = "WantsStatusBarItemBatteryColor";
inline constexpr const char* MenuBarShowsBatteryPercentage =
    "app.settings.menuBar.showsBatteryPercentage";
inline constexpr const char* MenuBarBatteryPercentageUseSystemFont =
    "app.settings.menuBar.menuBarBatteryPercentageUseSystemFont";
inline constexpr const char* MenuBarShowsStorageUsage = "app.settings.menuBar.showsStorageUsage";
inline constexpr const char* WantsStorageMenuBarDisplay = "WantsStorageMenuBarDisplay";
inline constexpr const char* WantsCPUUsageInMenuBar = "WantsCPUUsageInMenuBar";
inline constexpr const char* WantsAppDataUsageTracking = "WantsAppDataUsageTracking";
inline constexpr const char* MenuBoxPreferredWidth = "MenuBoxPreferredWidth";
inline constexpr const char* NetMenuBoxType = "app.netMenu.boxType";
inline constexpr const char* WantsFloatWindow = "app.settings.wantsFloatWindow";
inline constexpr const char* FloatWindowHasShadow = "app.settings.floatWindowHasShadow";
inline constexpr const char* FloatWindowBackgroundAlpha = "app.settings.floatWindowBackgroundAlpha";
inline constexpr const char* FloatWindowWideModeShowTime =
    "app.settings.floatWindowWideModeShowTime";
inline constexpr const char* FloatWindowMode = "app.settings.floatWindowMode";
// Small persisted state, standard domain
inline constexpr const char* DidInitSettings = "ASDidInitSettings";
inline constexpr const char* LayoutLogUnsatisfiable = "_UIConstraintBasedLayoutLogUnsatisfiable";
inline constexpr const char* PreferredLanguage = "com.quillfern.preferredLanguage";
inline constexpr const char* LastReloadWidgetsTime = "LastReloadWidgetsTime";
inline constexpr const char* StockFloatWindowNetwork = "app.stock.floatWindow.network";
inline constexpr const char* StockFloatWindowCPU = "app.stock.floatWindow.cpu";
// The floating window's top-left corner on the desktop, [x, y] in points.
inline constexpr const char* FloatWindowOrigin = "app.floatWindow.origin";
inline constexpr const char* TabBarSelectedViewController = "app.tabBar.selectedViewController";
inline constexpr const char* AppReviewRequestCount = "app.count.appReviewRequest";
inline constexpr const char* WelcomeShown = "com.quillfern.lumenstat.welcome";
inline constexpr const char* AppDataUsageTrackWelcome = "app.appDataUsageTrack.welcome";
inline constexpr const char* TrayRendering = "app.menuBar.trayRendering";
// The first-run welcome window was shown (it is shown once).
inline constexpr const char* FirstRunWelcomeShown = "app.firstRunWelcome.shown";
// Group domain
inline constexpr const char* AccentColorIndex = "AccentColorIndex";
inline constexpr const char* StorageReference = "StorageReference";
inline constexpr const char* DataUsageTimeRange = "DataUsageTimeRange";
inline constexpr const char* NetActivitiesWiFiData = "kNetActivitiesWiFiDataKey";
inline constexpr const char* NetActivitiesWWANData = "kNetActivitiesWWANDataKey";
inline constexpr const char* DataUsageData = "app.dataUsage.data";
inline constexpr const char* BatteryHealthData = "app.batteryHealth.data";
inline constexpr const char* BatteryRawData = "BatteryRawData";
inline constexpr const char* AppDataUsageWidgetData =
    "com.quillfern.lumenstat.appDataUsage.widgetData";
} // namespace SettingsKey

// Names of the in-process notifications that settings changes post.
namespace SettingsNotification {
inline constexpr const char* PerformanceQueuePriority = "PerformanceQueuePriorityNotificationKey";
inline constexpr const char* WantsAutoLogin = "WantsAutoLoginNotificationKey";
inline constexpr const char* PreferredTrafficTypeChanged =
    "PrefrredTrafficTypeChangedNotificationKey";
inline constexpr const char* DataUsageTimeRangeChanged = "DataUsageTimeRangeChangedNotificationKey";
inline constexpr const char* ShowsHomepageStorageUsage =
    "ShowsHomepageStorageUsageNotificationName";
inline constexpr const char* ShowsHomepageBatteryUsage =
    "ShowsHomepageBatteryUsageNotificationName";
inline constexpr const char* MenuBoxPreferredWidthChanged =
    "MenuBoxPreferredWidthChangedNotificationName";
inline constexpr const char* MenuBarStorageDisplayTypeDidChange =
    "MenuBarStorageDisplayTypeDidChangeNotificationName";
inline constexpr const char* FloatWindowModeDidChange =
    "app.settings.notification.floatWindowModeDidChange";
inline constexpr const char* WindowWideModeShowsTimeDidChange =
    "app.settings.notification.windowWideModeShowsTimeDidChange";
} // namespace SettingsNotification

// The typed front of the settings. Every read and write goes straight to the domain, so
// there is nothing cached here to go stale.
class Settings {
public:
    enum class HomepageSubtitleType : int { None = 0, IPAddress = 1 };
    enum class MenuBoxPreferredWidth : int { Auto = 0, Compact = 1, Wide = 2 };
    enum class MenuBarStorageDisplayType : int { Used = 0, Available = 1 };

    using ChangeHook = std::function<void(const QString& key)>;

    static Settings& shared();

    bool autoLogin() const;
    void setAutoLogin(bool v);
    bool homepageSubtitleType() const; // true exactly when the stored value is 1
    void setHomepageSubtitleType(HomepageSubtitleType v);
    bool wantsPopupAnimation() const;
    void setWantsPopupAnimation(bool v);
    bool wantsBlurBackground() const;
    void setWantsBlurBackground(bool v);
    QStringList batteryRemainingNotificationLevels() const;
    void setBatteryRemainingNotificationLevels(const QStringList& v);
    bool showsHomepageStorageUsage() const;
    void setShowsHomepageStorageUsage(bool v);
    bool showsHomepageBatteryUsage() const;
    void setShowsHomepageBatteryUsage(bool v);
    bool showsMenuBarBatteryIcon() const;
    void setShowsMenuBarBatteryIcon(bool v);
    bool showsMenuBarBatteryIconTintColor() const;
    void setShowsMenuBarBatteryIconTintColor(bool v);
    bool showsMenuBarBatteryPercentage() const;
    void setShowsMenuBarBatteryPercentage(bool v);
    bool menuBarBatteryPercentageUseSystemFont() const;
    void setMenuBarBatteryPercentageUseSystemFont(bool v);
    bool showsMenuBarStorageUsage() const;
    void setShowsMenuBarStorageUsage(bool v);
    bool showsMenuBarCPUUsage() const;
    void setShowsMenuBarCPUUsage(bool v);
    bool wantsAppDataUsageTracking() const;
    void setWantsAppDataUsageTracking(bool v);
    bool showsFloatWindow() const;
    void setShowsFloatWindow(bool v);
    bool floatWindowHasShadow() const;
    void setFloatWindowHasShadow(bool v);
    double floatWindowBackgroundAlpha() const; // clamped into 0.4 ... 1.0
    void setFloatWindowBackgroundAlpha(double v);
    bool floatWindowWideModeShowsTime() const;
    void setFloatWindowWideModeShowsTime(bool v); // posts its notification
    int floatWindowMode() const;
    void setFloatWindowMode(int v); // posts its notification

    // Appends a callback to the hook list. Callbacks are never removed.
    void settingsDidChange(ChangeHook hook);
    // Calls every hook in registration order with key.
    void postSettingsDidChangeNotification(const QString& key);

    static void
    addPerformanceQueuePriorityDidChange(QObject* observer,
                                         std::function<void(const Notification&)> action);
    static void addAutoLoginDidChange(QObject* observer,
                                      std::function<void(const Notification&)> action);

    // The notification a change of key posts, or empty when it posts none.
    static QString notificationNameForKey(const QString& key);
    // True for keys that live in the group domain.
    static bool isGroupKey(const QString& key);

private:
    Settings() = default;
    std::vector<ChangeHook> settingsDidChangeHook_;
};

// Free accessors for keys shared with code outside Settings.
int performanceQueuePriority();
void setPerformanceQueuePriority(int v); // posts PerformanceQueuePriorityNotificationKey
int preferredTrafficType();
void setPreferredTrafficType(int v); // posts PrefrredTrafficTypeChangedNotificationKey
int accentColorIndex();
void setAccentColorIndex(int v);
int storageReference();
void setStorageReference(int v);
int dataUsageTimeRange();          // 1 (last 24 hours) exactly when stored 1, else 0 (today)
void setDataUsageTimeRange(int v); // posts DataUsageTimeRangeChangedNotificationKey
Settings::MenuBoxPreferredWidth menuBoxPreferredWidth();
void setMenuBoxPreferredWidth(int v); // clamps, posts MenuBoxPreferredWidthChangedNotificationName
int menuBarStorageDisplayType();
void setMenuBarStorageDisplayType(int v); // writes 1 for any non-zero, posts its notification
