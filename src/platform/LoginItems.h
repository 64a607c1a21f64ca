#pragma once

#include <QString>

#include <memory>

// Starting the app when the user logs in.
class LoginItems {
public:
    virtual ~LoginItems() = default;
    // Registers the app to start at login (enabled) or removes that registration. Returns why
    // it failed, or an empty text when the registration is as asked.
    virtual QString setEnabled(bool enabled) = 0;

    // This system's mechanism: an XDG autostart entry of the user.
    static std::shared_ptr<LoginItems> forCurrentPlatform();
};
