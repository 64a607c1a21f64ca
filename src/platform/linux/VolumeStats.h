#pragma once

#include "platform/SystemSources.h"

// Volume capacities from statvfs. Linux keeps no purgeable space, so the important,
// opportunistic and plain available figures are all the space available to an
// unprivileged user (f_bavail blocks of f_frsize bytes).
class VolumeStats : public VolumeCapacitySource {
public:
    std::optional<VolumeCapacities> capacities(const QString& path) override;
};
