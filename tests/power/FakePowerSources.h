#pragma once

#include "platform/PowerSources.h"

#include <memory>
#include <ostream>

// Readable QString values in test failures.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

// A power-source layer answering whatever the test puts in it.
class FakePowerSources : public PowerSourceProvider {
public:
    std::optional<PowerSourceSnapshot> snap = PowerSourceSnapshot{};
    std::optional<QVariantMap> registry;
    int snapshotCalls = 0;

    std::optional<PowerSourceSnapshot> snapshot() override {
        ++snapshotCalls;
        return snap;
    }
    std::optional<QVariantMap> batteryRegistry() override { return registry; }

    // One present battery described with the given values.
    static QVariantMap battery(qint64 current, qint64 max, const QString& state, bool charging) {
        QVariantMap d;
        d["Is Present"] = true;
        d["Current Capacity"] = current;
        d["Max Capacity"] = max;
        d["Power Source State"] = state;
        d["Is Charging"] = charging;
        return d;
    }
};
