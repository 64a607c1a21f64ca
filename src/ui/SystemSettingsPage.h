#pragma once

#include "SettingsPage.h"

// The CPU and storage items, what the storage item shows, the storage reference and the
// home page's storage box.
class SystemSettingsPage : public SettingsPage {
    Q_OBJECT
public:
    explicit SystemSettingsPage(SettingControl::Writer writer, QWidget* parent = nullptr);
};
