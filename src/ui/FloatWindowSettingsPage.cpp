#include "FloatWindowSettingsPage.h"

#include "FloatWindowPreview.h"
#include "settings/Settings.h"

FloatWindowSettingsPage::FloatWindowSettingsPage(SettingControl::Writer writer, QWidget* parent)
    : SettingsPage(text("settings.page.floatWindow"), std::move(writer), parent),
      preview_(new FloatWindowPreview(this)) {
    addCheck(SettingsKey::WantsFloatWindow, "settings.floatWindow.show");
    addCombo(SettingsKey::FloatWindowMode, "settings.floatWindow.mode.title",
             {{text("settings.floatWindow.mode.compactA"), Json(0)},
              {text("settings.floatWindow.mode.compactB"), Json(1)},
              {text("settings.floatWindow.mode.wide"), Json(2)}},
             2);
    // The stored opacity runs from 0.4 to 1.0, in steps of a hundredth.
    addSlider(SettingsKey::FloatWindowBackgroundAlpha, "settings.floatWindow.backgroundAlpha", 40,
              100, 100.0);
    addCheck(SettingsKey::FloatWindowHasShadow, "settings.floatWindow.hasShadow");
    addCheck(SettingsKey::FloatWindowWideModeShowTime, "settings.floatWindow.wideModeShowsTime");

    addSection(text("settings.floatWindow.preview"));
    addWidget(preview_);
    for (SettingControl* control : controls())
        control->changed = [this] { preview_->reload(); };
}

void FloatWindowSettingsPage::activityDidUpdate(const ActivityObject& activity) {
    preview_->activityDidUpdate(activity);
}
