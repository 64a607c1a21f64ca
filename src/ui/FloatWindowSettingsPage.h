#pragma once

#include "SettingsPage.h"

class FloatWindowPreview;

// The floating window: shown or not, its mode, background opacity, shadow and time display,
// with a live preview that follows every change.
class FloatWindowSettingsPage : public SettingsPage {
    Q_OBJECT
public:
    explicit FloatWindowSettingsPage(SettingControl::Writer writer, QWidget* parent = nullptr);

    FloatWindowPreview* preview() const { return preview_; }
    void activityDidUpdate(const ActivityObject& activity) override;

private:
    FloatWindowPreview* preview_;
};
