#pragma once

#include "app/AppDelegate.h"

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
