#pragma once

#include "network/ActivityObserver.h"

#include <QByteArray>
#include <QObject>

#include <cstdio>
#include <functional>
#include <optional>

// Prints one line per activity record: the headless monitor's output. Stops the event
// loop after a given number of records when asked to.
class MonitorPrinter : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    MonitorPrinter(bool json, long maxTicks, std::FILE* out = stdout, QObject* parent = nullptr);

    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // Where each line's CPU load text comes from (the CPU reader's cpuRate, reloaded by the
    // heartbeat before the printer sees the tick). Without one, lines carry no CPU load.
    void setCpuRateSource(std::function<QString()> source) { cpuRateSource_ = std::move(source); }

    // cpuRate: the load text to show; absent leaves it out. An empty text reads as unknown.
    static QByteArray textLine(const ActivityObject& record,
                               const std::optional<QString>& cpuRate = std::nullopt);
    static QByteArray jsonLine(const ActivityObject& record,
                               const std::optional<QString>& cpuRate = std::nullopt);

signals:
    void finished();

private:
    bool json_;
    long maxTicks_;
    long ticks_ = 0;
    std::FILE* out_;
    std::function<QString()> cpuRateSource_;
};
