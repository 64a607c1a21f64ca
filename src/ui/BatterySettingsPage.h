#pragma once

#include "SettingsPage.h"

#include <functional>

class QLabel;

// The battery item and its look, the home page's battery box, the low and full battery
// notifications, and the kept health history.
class BatterySettingsPage : public SettingsPage {
    Q_OBJECT
public:
    // hasBattery: empty asks the battery report.
    BatterySettingsPage(SettingControl::Writer writer, std::function<bool()> hasBattery,
                        QWidget* parent = nullptr);

    // Re-reads the health history (when the page is shown).
    void reloadHistory();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QLabel* history_;
};
