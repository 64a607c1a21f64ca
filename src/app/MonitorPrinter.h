#pragma once

#include "network/ActivityObserver.h"

#include <QByteArray>
#include <QObject>

#include <cstdio>

// Prints one line per activity record: the headless monitor's output. Stops the event
// loop after a given number of records when asked to.
class MonitorPrinter : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    MonitorPrinter(bool json, long maxTicks, std::FILE* out = stdout, QObject* parent = nullptr);

    void networkActivityDidUpdate(const ActivityRecord& record) override;

    static QByteArray textLine(const ActivityObject& record);
    static QByteArray jsonLine(const ActivityObject& record);

signals:
    void finished();

private:
    bool json_;
    long maxTicks_;
    long ticks_ = 0;
    std::FILE* out_;
};
