#include "PowerSourceChanges.h"

#include "BatteryUserNotificationDispatcher.h"
#include "YYSystemBatteryReport.h"
#include "network/NetworkMonitor.h"
#include "platform/linux/PowerSupplyMonitor.h"
#include "settings/NotificationCenter.h"

#include <QTimer>

PowerSourceChanges& PowerSourceChanges::shared() {
    static PowerSourceChanges* changes = new PowerSourceChanges(
        YYSystemBatteryReport::defaultProvider(),
        [](ActivityObserver* observer) { NetworkMonitor::shared().addActivityObserver(observer); },
        true);
    return *changes;
}

PowerSourceChanges::PowerSourceChanges(std::shared_ptr<PowerSourceProvider> provider,
                                       std::function<void(ActivityObserver*)> subscribeToHeartbeat,
                                       bool kernelEvents, QObject* parent)
    : QObject(parent), provider_(std::move(provider)), subscribe_(std::move(subscribeToHeartbeat)),
      kernelEvents_(kernelEvents) {}

PowerSourceChanges::~PowerSourceChanges() = default;

bool PowerSourceChanges::Reading::operator==(const Reading& other) const {
    if (registry != other.registry)
        return false;
    if (snapshot.has_value() != other.snapshot.has_value())
        return false;
    if (!snapshot)
        return true;
    return snapshot->descriptions == other.snapshot->descriptions &&
           snapshot->providingPowerSourceType == other.snapshot->providingPowerSourceType &&
           snapshot->timeRemainingEstimate == other.snapshot->timeRemainingEstimate;
}

PowerSourceChanges::Reading PowerSourceChanges::read() {
    return Reading{provider_->snapshot(), provider_->batteryRegistry()};
}

void PowerSourceChanges::registerPowerSourceChanges(std::function<void()> changed) {
    changed_ = std::move(changed);
    last_ = read();
    ticks_ = 0;
    if (kernelEvents_ && !monitor_) {
        monitor_ = new PowerSupplyMonitor(this);
        if (monitor_->start()) {
            connect(monitor_, &PowerSupplyMonitor::powerSupplyChanged, this,
                    [this] { powerSupplyEventArrived(); });
        } else {
            delete monitor_;
            monitor_ = nullptr; // the re-read alone keeps the report current
        }
    }
    if (subscribe_ && !subscribed_) {
        subscribed_ = true;
        subscribe_(this);
    }
}

bool PowerSourceChanges::listensToKernelEvents() const {
    return monitor_ && monitor_->isRunning();
}

void PowerSourceChanges::schedule() {
    if (!changed_)
        return;
    QTimer::singleShot(0, this, [this] {
        if (changed_)
            changed_();
    });
}

void PowerSourceChanges::powerSupplyEventArrived() {
    last_ = read();
    schedule();
}

void PowerSourceChanges::heartbeatTick() {
    if (!changed_)
        return;
    if (++ticks_ < kRereadTicks)
        return;
    ticks_ = 0;
    Reading now = read();
    if (last_ && *last_ == now)
        return;
    last_ = std::move(now);
    schedule();
}

void PowerSourceChanges::networkActivityDidUpdate(const ActivityRecord&) {
    heartbeatTick();
}

void runPowerSourceChangePath(const std::function<void()>& updateMenuBarItemIfNeed) {
    YYSystemBatteryReport::shareReport().loadReports();
    if (updateMenuBarItemIfNeed)
        updateMenuBarItemIfNeed();
    BatteryUserNotificationDispatcher::shared().postBatteryUserNotificationIfNeed();
    NotificationCenter::defaultCenter().post(
        QStringLiteral("YYBatteryStateDidChangeNotificationName"));
}
