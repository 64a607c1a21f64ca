#include "BatterySettingsPage.h"

#include "power/BatteryHealthLogger.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/Settings.h"

#include <QCheckBox>
#include <QLabel>

BatterySettingsPage::BatterySettingsPage(SettingControl::Writer writer,
                                         std::function<bool()> hasBattery, QWidget* parent)
    : SettingsPage(text("settings.page.battery"), std::move(writer), parent) {
    const bool battery = hasBattery ? hasBattery() : YYSystemBatteryReport::hasBattery();
    if (!battery)
        addNote(text("settings.battery.none"));

    addSection(text("settings.section.menuBar"));
    addCheck(SettingsKey::WantsBatteryStatusInMenuBar, "settings.menuBar.showsBattery");
    addCheck(SettingsKey::WantsStatusBarItemBatteryColor, "settings.menuBar.batteryTintColor");
    addCheck(SettingsKey::MenuBarShowsBatteryPercentage, "settings.menuBar.showsBatteryPercentage");
    addCheck(SettingsKey::MenuBarBatteryPercentageUseSystemFont,
             "settings.menuBar.batteryPercentageUseSystemFont");
    addCheck(SettingsKey::ShowsHomepageBatteryUsage, "settings.homepage.showBatteryUsage");

    addSection(text("settings.batteryNotification.title"));
    std::vector<QCheckBox*> boxes;
    QStringList levels;
    for (const char* level : {"10", "20", "30", "50", "100"}) {
        const QString key = QStringLiteral("settings.batteryNotification.%1%Remaining").arg(level);
        auto* box = new QCheckBox(mnemonic(text(key.toUtf8().constData())), this);
        addWidget(box);
        boxes.push_back(box);
        levels << QString::fromLatin1(level);
    }
    keep(SettingControl::textSet(QString::fromLatin1(SettingsKey::WantsBatteryNotification),
                                 std::move(boxes), levels, this->writer()));

    addSection(text("settings.battery.healthHistory"));
    history_ = addNote(QString());
    reloadHistory();
}

void BatterySettingsPage::showEvent(QShowEvent* event) {
    reloadHistory();
    SettingsPage::showEvent(event);
}

void BatterySettingsPage::reloadHistory() {
    const auto& items = BatteryHealthLogger::shared().items();
    if (items.empty()) {
        history_->setText(text("settings.battery.healthEmpty"));
        return;
    }
    // The newest week, newest first.
    QStringList lines;
    for (auto it = items.rbegin(); it != items.rend() && lines.size() < 7; ++it)
        lines << text("settings.battery.healthRow")
                     .arg(it->date)
                     .arg(it->maxCapacity)
                     .arg(it->fullCapacity)
                     .arg(it->cycle);
    history_->setText(lines.join(QLatin1Char('\n')));
}
