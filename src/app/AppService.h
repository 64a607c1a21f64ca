#pragma once

#include "network/ActivityObserver.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>

#include <nlohmann/json.hpp>

class FaceService;
class QDBusServiceWatcher;

#include <functional>
#include <optional>

// The running instance's face on the session bus: name com.quillfern.Lumenstat, object
// "/", interface com.quillfern.Lumenstat.
//
//   ShowPanel()                 a second start asks the running instance to show its panel
//   ShowPanel(i x, i y, s edge) a panel plug-in's click: toggles the panel hanging from (x, y)
//                               (global, device independent pixels) on the side away from
//                               edge ("top", "bottom", "left", "right"; "" when unknown)
//   ShowSettings()              opens the settings window (raises it when it is open)
//   ShowItemPanel(s item, i x, i y, s edge)
//                               the same for the panel of one item kind ("network",
//                               "battery", "storage"; "cpu" has none and nothing opens)
//   SetValue(s key, v value)    writes a settings key, typed, and posts its notifications
//   RemoveValue(s key)          removes a settings key and posts its notifications
//   GetValue(s key) -> s        the stored value as JSON text ("null" when absent)
//   Follow()                    asks for Tick signals until the caller leaves the bus
//   Unfollow()                  stops them again
//   AppUsage(s period) -> s     per-app data usage of "today" or "week" as a JSON report
//                               (AppUsageReport); an error when this instance keeps none
//   signal Tick(s line)         the JSON line of every activity record, sent only while
//                               some client follows (nothing is built or sent otherwise)
//   signal ValueChanged(s key)  after SetValue or RemoveValue
//
// The items' faces for panel plug-ins are on the same object (FaceService).
//
// Owning the bus name is what makes an instance the running one: one per user.
class AppService : public QObject, public ActivityObserver, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillfern.Lumenstat")
public:
    static constexpr const char* kServiceName = "com.quillfern.Lumenstat";
    static constexpr const char* kObjectPath = "/";
    static constexpr const char* kInterface = "com.quillfern.Lumenstat";

    explicit AppService(QObject* parent = nullptr);
    ~AppService() override;

    // Exports the object and claims the name on bus. False when the bus is not connected,
    // or another process owns the name already.
    bool registerOn(QDBusConnection bus);

    // Called by ShowPanel(); empty in the headless instance, which answers with an error.
    std::function<void()> showPanelHook;
    // Called by ShowPanel(x, y, edge); empty in the headless instance.
    std::function<void(QPoint point, QString edge)> togglePanelAtHook;
    // Called by ShowSettings(); empty in the headless instance, which answers with an error.
    std::function<void()> showSettingsHook;
    // Called by ShowItemPanel; answers false for a kind without a panel.
    std::function<bool(QString item, QPoint point, QString edge)> toggleItemPanelAtHook;
    static constexpr const char* kNoPanelError = "com.quillfern.Lumenstat.Error.NoPanel";

    void networkActivityDidUpdate(const ActivityRecord& record) override;

    // Conversions between JSON values and what travels in a D-Bus variant: booleans,
    // 64-bit integers, doubles and strings as themselves, arrays as "av", objects as
    // "a{sv}". Absent for values D-Bus cannot carry (null).
    static std::optional<QVariant> toDBus(const nlohmann::json& value);
    static std::optional<nlohmann::json> fromDBus(const QVariant& value);
    // Reads a Tick line back into a record (and its CPU load text, when the line has one).
    // Absent when the line is not a JSON object.
    static std::optional<ActivityObject> activityFromJsonLine(const QByteArray& line,
                                                              std::optional<QString>* cpuRate);
    // The CPU load text that goes into each Tick line; empty: the line has none.
    std::function<QString()> cpuRateSource;
    // Answers AppUsage(period) with the report's JSON text; empty where the instance does not
    // track applications (the monitor), which answers with kNoAppUsageError.
    std::function<QString(const QString& period)> appUsageHook;
    static constexpr const char* kNoAppUsageError = "com.quillfern.Lumenstat.Error.NoAppUsage";

public slots:
    Q_SCRIPTABLE void ShowPanel();
    Q_SCRIPTABLE void ShowPanel(int x, int y, const QString& edge);
    Q_SCRIPTABLE void ShowSettings();
    Q_SCRIPTABLE void ShowItemPanel(const QString& item, int x, int y, const QString& edge);
    Q_SCRIPTABLE void SetValue(const QString& key, const QDBusVariant& value);
    Q_SCRIPTABLE void RemoveValue(const QString& key);
    Q_SCRIPTABLE QString GetValue(const QString& key);
    Q_SCRIPTABLE void Follow();
    Q_SCRIPTABLE void Unfollow();
    Q_SCRIPTABLE QString AppUsage(const QString& period);

signals:
    Q_SCRIPTABLE void Tick(const QString& line);
    Q_SCRIPTABLE void ValueChanged(const QString& key);

public:
    FaceService* faces() const { return faces_; }
    int followers() const { return static_cast<int>(followers_.size()); }

private:
    // Writes a checked value (or removes the key); a refused one is answered with an error.
    void applyValue(const QString& key, const std::optional<nlohmann::json>& value);

    QDBusConnection bus_;
    FaceService* faces_ = nullptr; // adaptor, child of this object
    bool registered_ = false;
    QStringList followers_; // unique names of the clients that asked for ticks
    QDBusServiceWatcher* followerWatcher_ = nullptr;
};

// Client side of the service, used by a second `lumenstat`.
namespace AppServiceClient {
// True when some process owns the service name on bus.
bool instanceRunning(const QDBusConnection& bus);
// Empty on success, else the error text (the instance has no panel, it did not answer).
QString showPanel(const QDBusConnection& bus);
// Empty on success, else the error text.
QString showSettings(const QDBusConnection& bus);
// Asks the running instance for its Tick signals; false when it could not be asked.
bool follow(const QDBusConnection& bus);
// Empty on success, else the error text.
QString setValue(const QDBusConnection& bus, const QString& key,
                 const std::optional<nlohmann::json>& value);
// The running instance's AppUsage(period) answer; absent with *error set when it gave none.
std::optional<QString> appUsage(const QDBusConnection& bus, const QString& period, QString* error);
} // namespace AppServiceClient
