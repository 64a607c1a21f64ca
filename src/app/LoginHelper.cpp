#include "LoginHelper.h"

#include "platform/LoginItems.h"
#include "settings/Settings.h"

#include <QString>

#include <cstdio>

namespace {

std::shared_ptr<LoginItems>& loginItems() {
    static std::shared_ptr<LoginItems> items;
    if (!items)
        items = LoginItems::forCurrentPlatform();
    return items;
}

QString& lastReported() {
    static QString text;
    return text;
}

} // namespace

void LoginHelper::setAutoLoginEnabled(bool enabled) {
    const QString error = loginItems()->setEnabled(enabled);
    if (error.isEmpty()) {
        lastReported().clear();
        return;
    }
    if (error == lastReported())
        return;
    lastReported() = error;
    std::fprintf(stderr, "lumenstat: launch at login could not be %s: %s\n",
                 enabled ? "switched on" : "switched off", qPrintable(error));
}

void LoginHelper::followSetting(QObject* owner) {
    Settings::addAutoLoginDidChange(
        owner, [](const Notification&) { setAutoLoginEnabled(Settings::shared().autoLogin()); });
}

void LoginHelper::setLoginItemsForTesting(std::shared_ptr<LoginItems> items) {
    loginItems() = std::move(items);
    lastReported().clear();
}
