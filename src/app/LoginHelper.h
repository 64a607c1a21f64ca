#pragma once

#include <memory>

class LoginItems;
class QObject;

// Launch at login. The setting "WantsAutoLogin" says whether the app starts when the user
// logs in; this applies it to the system's login items.
//
// Other systems start a small helper at login that launches the app, and a running helper
// is told that the app runs so it can quit. Here the autostart entry starts the app itself,
// so there is no helper process to tell; a second start already finds the running instance
// on the session bus and only asks it to show its panel.
class LoginHelper {
public:
    // Registers the app as a login item, or removes it. Never bothers the user with a
    // failure: the setting stays as the user set it, and the reason is printed once on
    // standard error (the same reason is not repeated).
    static void setAutoLoginEnabled(bool enabled);

    // Applies every change of "WantsAutoLogin" at once (the settings switch, `--set`, the
    // service's SetValue), for as long as owner lives.
    static void followSetting(QObject* owner);

    // Where the registration goes; null restores the platform's own. For tests.
    static void setLoginItemsForTesting(std::shared_ptr<LoginItems> items);
};
