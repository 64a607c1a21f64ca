#include "AppUsageSettingsPage.h"

#include "settings/Settings.h"

#include <QLabel>

AppUsageSettingsPage::AppUsageSettingsPage(SettingControl::Writer writer,
                                           std::function<QString()> trackTool, QWidget* parent)
    : SettingsPage(text("settings.page.appUsage"), std::move(writer), parent),
      trackTool_(std::move(trackTool)) {
    addCheck(SettingsKey::WantsAppDataUsageTracking, "settings.appDataUsageTracking");
    addNote(text("settings.appUsage.description"));
    toolNote_ = addNote(QString());
    reloadTool();
}

void AppUsageSettingsPage::showEvent(QShowEvent* event) {
    reloadTool();
    SettingsPage::showEvent(event);
}

void AppUsageSettingsPage::reloadTool() {
    const QString tool = trackTool_ ? trackTool_() : QString();
    toolNote_->setText(tool.isEmpty() ? text("settings.appUsage.toolMissing")
                                      : text("settings.appUsage.toolFound").arg(tool));
}
