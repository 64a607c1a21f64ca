#include "NetworkSettingsPage.h"

#include "NetworkStylePicker.h"
#include "settings/Settings.h"

#include <QAbstractButton>
#include <QButtonGroup>

NetworkSettingsPage::NetworkSettingsPage(SettingControl::Writer writer, QWidget* parent)
    : SettingsPage(text("settings.page.network"), std::move(writer), parent),
      picker_(new NetworkStylePicker(this)) {
    addSection(text("settings.menuBar.boxType.title"));
    std::vector<Choice> styles;
    for (BoxType type : picker_->types())
        styles.push_back({NetworkStylePicker::styleTitle(type), Json(static_cast<int>(type))});
    // The picker's buttons carry the style names; the first one takes the page's mnemonic.
    if (QAbstractButton* first = picker_->group()->button(0))
        first->setText(mnemonic(first->text()));
    addWidget(picker_);
    addNote(text("settings.style.description"));
    keep(SettingControl::buttons(QString::fromLatin1(SettingsKey::NetMenuBoxType), picker_->group(),
                                 std::move(styles), this->writer()));

    addCombo(SettingsKey::MenuBoxPreferredWidth, "settings.menuBar.preferredWidth.title",
             {{text("settings.menuBar.preferredWidth.auto"), Json(0)},
              {text("settings.menuBar.preferredWidth.compact"), Json(1)},
              {text("settings.menuBar.preferredWidth.wide"), Json(2)}});
    addCombo(SettingsKey::PreferredTrafficType, "settings.menuBarNetworkStyle.title",
             {{text("settings.menuBarNetworkStyle.total"), Json(0)},
              {text("settings.menuBarNetworkStyle.upload"), Json(1)},
              {text("settings.menuBarNetworkStyle.download"), Json(2)}});
    addCombo(SettingsKey::TrayRendering, "settings.menuBar.trayRendering.title",
             {{text("settings.menuBar.trayRendering.auto"), Json("auto")},
              {text("settings.menuBar.trayRendering.wide"), Json("wide")},
              {text("settings.menuBar.trayRendering.square"), Json("square")}});

    addSection(text("settings.section.homepage"));
    addCheck(SettingsKey::HomepageSubtitleType, "settings.homepage.showIPAddress", Json(1),
             Json(0));
    addCombo(SettingsKey::DataUsageTimeRange, "settings.homepage.showDataUsage.title",
             {{text("settings.homepage.showDataUsage.today"), Json(0)},
              {text("settings.homepage.showDataUsage.last24Hours"), Json(1)}});
}

void NetworkSettingsPage::activityDidUpdate(const ActivityObject& activity) {
    picker_->activityDidUpdate(activity);
}
