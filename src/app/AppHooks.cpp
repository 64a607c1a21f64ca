#include "AppHooks.h"

AppDelegateHooks makeAppDelegateHooks(AppRole role) {
    AppDelegateHooks h;
    (void)role;
    return h;
}

std::function<QString()> cpuRateSource() {
    return {};
}

std::function<void()> makeShowPanelHook(AppRole) {
    return {};
}
