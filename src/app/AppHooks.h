#pragma once

#include "app/AppDelegate.h"

#include <QPoint>
#include <QString>

// Which kind of instance the delegate runs in: the tray app with its windows and status
// items, or the headless monitor that keeps the totals without any window.
enum class AppRole { Tray, Headless };

// Connects the delegate's hooks to the components of this build. Hooks of components that
// do not exist yet stay empty (see AppDelegateHooks).
AppDelegateHooks makeAppDelegateHooks(AppRole role);

// Where the monitor lines and the Tick signal get the CPU load text from; empty when this
// build has no CPU reader.
std::function<QString()> cpuRateSource();

// What ShowPanel does (a second start asking this instance to show itself); empty when
// there is nothing to show.
std::function<void()> makeShowPanelHook(AppRole role);
// What ShowPanel(x, y, edge) does (a panel plug-in's click); empty when there is no panel.
std::function<void(QPoint point, QString edge)> makeTogglePanelAtHook(AppRole role);

// What ShowSettings and `lumenstat --settings` do: open the settings window; empty when
// there is no display.
std::function<void()> makeShowSettingsHook(AppRole role);
// The first-run welcome, on a profile's first start with a display (see WelcomeWindow).
void showFirstRunWelcome(AppRole role);
// What ShowItemPanel(item, x, y, edge) does: toggles the panel of the item kind; false for a
// kind without a panel. Empty when there is no panel.
std::function<bool(QString item, QPoint point, QString edge)>
makeToggleItemPanelAtHook(AppRole role);

class FaceService;
// Publishes the status items' faces on faces (the tray app's items; the headless instance has
// none) and routes the widget bridge's reload requests to it; a null faces disconnects.
void connectFaces(AppRole role, FaceService* faces);

// Connects the panel and the floating window's switches to delegate (the tray app only);
// a null delegate disconnects them again before the delegate goes away.
void connectWindows(AppRole role, AppDelegate* delegate);

// Hands memory the tray app no longer uses back to the system: the pages the loader read at
// start-up and free heap. Runs once start-up has settled and again after the panel first
// closed (which builds and loads the most).
void scheduleMemoryTrim(AppRole role);

// Per-app usage for the instance that tracks applications (the tray app, and the headless
// instance that owns the bus name; never the monitor): fills the delegate's tracking hooks.
void addAppUsageHooks(AppDelegateHooks& hooks);
// What AppUsage(period) answers in such an instance: the report as JSON text.
std::function<QString(const QString& period)> makeAppUsageHook();
