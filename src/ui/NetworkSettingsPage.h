#pragma once

#include "SettingsPage.h"

class NetworkStylePicker;

// The network item: its style (with live previews), width, traffic type and how the tray
// gets it; and what the panel's home page shows of the network.
class NetworkSettingsPage : public SettingsPage {
    Q_OBJECT
public:
    explicit NetworkSettingsPage(SettingControl::Writer writer, QWidget* parent = nullptr);

    NetworkStylePicker* stylePicker() const { return picker_; }
    void activityDidUpdate(const ActivityObject& activity) override;

private:
    NetworkStylePicker* picker_;
};
