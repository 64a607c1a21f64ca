#pragma once

#include "network/ActivityObserver.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>

// What the monitor prints per tick.
//   text    a fixed human-readable line
//   json    the record as one JSON object
//   format  a template with {up} {down} {total} (speeds), {up_total} {down_total} (the
//           connection's totals), {cpu}, {ssid}, {ip}, {mode}, {time}; "{{" is a brace
//   waybar  Waybar's custom-module JSON: text (the template, or arrows and speeds), tooltip,
//           class ("local", "wwan" or "offline")
struct MonitorOptions {
    bool json = false;
    long ticks = 0; // 0: run until stopped
    bool waybar = false;
    QString format; // empty: none
};

// Prints one line per activity record: the headless monitor's output. Stops the event
// loop after a given number of records when asked to.
class MonitorPrinter : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    MonitorPrinter(MonitorOptions options, std::FILE* out = stdout, QObject* parent = nullptr);
    ~MonitorPrinter() override;

    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // Where each line's CPU load text comes from (the CPU reader's cpuRate, reloaded by the
    // heartbeat before the printer sees the tick). Without one, lines carry no CPU load.
    void setCpuRateSource(std::function<QString()> source) { cpuRateSource_ = std::move(source); }

    // cpuRate: the load text to show; absent leaves it out. An empty text reads as unknown.
    static QByteArray textLine(const ActivityObject& record,
                               const std::optional<QString>& cpuRate = std::nullopt);
    static QByteArray jsonLine(const ActivityObject& record,
                               const std::optional<QString>& cpuRate = std::nullopt);
    static QByteArray templateLine(const ActivityObject& record,
                                   const std::optional<QString>& cpuRate, const QString& format);
    static QByteArray waybarLine(const ActivityObject& record,
                                 const std::optional<QString>& cpuRate, const QString& format);
    // The line the options ask for.
    static QByteArray line(const ActivityObject& record, const std::optional<QString>& cpuRate,
                           const MonitorOptions& options);
    // Why format is not a usable template (an unknown or unclosed placeholder); empty if it is.
    static QString formatError(const QString& format);

signals:
    void finished();

private:
    void emitLine();

    MonitorOptions options_;
    long maxTicks_;
    long ticks_ = 0;
    std::FILE* out_;
    std::function<QString()> cpuRateSource_;
    struct TextPieces;
    std::unique_ptr<TextPieces> pieces_;
    std::string output_; // the line being printed, its room kept between ticks
};
