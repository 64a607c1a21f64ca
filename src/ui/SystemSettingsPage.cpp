#include "SystemSettingsPage.h"

#include "settings/Settings.h"

SystemSettingsPage::SystemSettingsPage(SettingControl::Writer writer, QWidget* parent)
    : SettingsPage(text("settings.page.system"), std::move(writer), parent) {
    addSection(text("settings.section.cpu"));
    addCheck(SettingsKey::WantsCPUUsageInMenuBar, "settings.menuBar.showsCPUUsage");

    addSection(text("settings.section.storage"));
    addCheck(SettingsKey::MenuBarShowsStorageUsage, "settings.menuBar.showsStorageUsage");
    addCombo(SettingsKey::WantsStorageMenuBarDisplay, "settings.menuBar.storageDisplay.title",
             {{text("settings.menuBar.storageDisplay.used"), Json(0)},
              {text("settings.menuBar.storageDisplay.available"), Json(1)}});
    addCombo(SettingsKey::StorageReference, "settings.storage.title",
             {{text("settings.storage.maxAvailable"), Json(0)},
              {text("settings.storage.file"), Json(2)}});
    addCheck(SettingsKey::ShowsHomepageStorageUsage, "settings.homepage.showStorageUsage");
}
