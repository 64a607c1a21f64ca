#pragma once

#include "app/MonitorPrinter.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdio>

// The long-running modes of `lumenstat` and `--set`. Each creates its own application
// object from argc/argv and returns the process's exit status.

// Plain `lumenstat`: with a display the tray app, without one the headless monitor. When
// an instance already runs on the session bus, asks it to show its panel and returns 0.
int runApp(int& argc, char** argv, bool showPanel = false, bool showSettings = false);
// `lumenstat --monitor`: the headless instance, or, when an instance already runs, a
// printer of that instance's ticks.
int runMonitorMode(int& argc, char** argv, MonitorOptions options);
// `lumenstat --set key=value ...`.
int runSetCommand(int& argc, char** argv, const QStringList& assignments);

// True when a display server is reachable through the environment (DISPLAY,
// WAYLAND_DISPLAY, or a Qt platform chosen explicitly with QT_QPA_PLATFORM).
bool hasDisplay();

// Prints the ticks another instance sends over D-Bus.
class RemoteTickPrinter : public QObject {
    Q_OBJECT
public:
    RemoteTickPrinter(MonitorOptions options, std::FILE* out, QObject* parent = nullptr);
    long printed() const { return printed_; }
    bool done() const { return options_.ticks > 0 && printed_ >= options_.ticks; }

public slots:
    void onTick(const QString& line);

signals:
    void finished();

private:
    MonitorOptions options_;
    std::FILE* out_;
    long printed_ = 0;
};
