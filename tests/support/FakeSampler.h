#pragma once

#include "app/AppDelegate.h"
#include "network/ActivityObject.h"

#include <string>
#include <vector>

// A sampler the test ticks by hand. When log is set, it records "sampler.insert",
// "sampler.start" and "sampler.stop" there.
class FakeSampler : public ActivitySampler {
public:
    void insertActivityObserver(ActivityObserver* o) override {
        note("sampler.insert");
        observers.insert(observers.begin(), o);
    }
    void addActivityObserver(ActivityObserver* o) override { observers.push_back(o); }
    void removeActivityObserver(ActivityObserver* o) override {
        removals += std::erase(observers, o);
    }
    void startMonitoring() override { note("sampler.start"), running = true; }
    void stopMonitoring() override { note("sampler.stop"), running = false; }

    // Hands a record to the observers in list order, as the sampler does.
    void deliver(const ActivityRecord& record) {
        for (ActivityObserver* o : std::vector(observers))
            o->networkActivityDidUpdate(record);
    }
    // n empty records.
    void tick(int n = 1) {
        for (int i = 0; i < n; ++i)
            deliver(std::make_shared<const ActivityObject>());
    }
    // One Wi-Fi record with these paces in KB/s.
    void tick(uint64_t up, uint64_t down) {
        auto record = std::make_shared<ActivityObject>();
        record->netMode = ReachableViaWiFi;
        record->paceActivities = {up, down};
        deliver(record);
    }

    std::vector<ActivityObserver*> observers;
    size_t removals = 0;
    bool running = false;
    std::vector<std::string>* log = nullptr;

private:
    void note(const char* what) {
        if (log)
            log->push_back(what);
    }
};
