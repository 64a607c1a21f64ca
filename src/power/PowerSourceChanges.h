#pragma once

#include "network/ActivityObserver.h"
#include "platform/PowerSources.h"

#include <QObject>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class PowerSupplyMonitor;

// Tells the app when the power sources changed: at once on a kernel power_supply event, and
// by a re-read every 60 heartbeat ticks (for drivers that send no event) that reports a
// change only when the reading differs from the last one. The callback always runs later on
// the main thread, never inside the event or tick that noticed the change.
class PowerSourceChanges : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    static constexpr uint64_t kRereadTicks = 60;

    // Over the default power-source layer, fed by the traffic sampler's ticks.
    static PowerSourceChanges& shared();

    // subscribeToHeartbeat is called with this object when changes are registered; empty:
    // ticks come only through heartbeatTick(). kernelEvents: listen to the uevent socket.
    PowerSourceChanges(std::shared_ptr<PowerSourceProvider> provider,
                       std::function<void(ActivityObserver*)> subscribeToHeartbeat,
                       bool kernelEvents, QObject* parent = nullptr);
    ~PowerSourceChanges() override;

    // The power-source change registration of the start-up sequence. Registering again
    // replaces the callback.
    void registerPowerSourceChanges(std::function<void()> changed);

    // One heartbeat tick; every 60th re-reads the power sources.
    void heartbeatTick();
    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // A kernel event arrived (also what the uevent socket calls).
    void powerSupplyEventArrived();

    bool listensToKernelEvents() const;

private:
    struct Reading {
        std::optional<PowerSourceSnapshot> snapshot;
        std::optional<QVariantMap> registry;
        bool operator==(const Reading& other) const;
    };
    Reading read();
    void schedule();

    std::shared_ptr<PowerSourceProvider> provider_;
    std::function<void(ActivityObserver*)> subscribe_;
    bool kernelEvents_;
    PowerSupplyMonitor* monitor_ = nullptr;
    std::function<void()> changed_;
    std::optional<Reading> last_;
    uint64_t ticks_ = 0;
    bool subscribed_ = false;
};

// The change path of the start-up sequence, for callers that do not go through the
// application delegate: reload the shared report, update the battery status item (when a
// hook is given), check the notification levels, then post
// "YYBatteryStateDidChangeNotificationName" with no object.
void runPowerSourceChangePath(const std::function<void()>& updateMenuBarItemIfNeed = {});
