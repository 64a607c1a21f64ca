#pragma once

#include "ActivityObject.h"

// Receives one activity record per tick, on the main thread.
class ActivityObserver {
public:
    virtual ~ActivityObserver() = default;
    virtual void networkActivityDidUpdate(const ActivityRecord& record) = 0;
};
