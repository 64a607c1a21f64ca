#include "GeneralSettingsPage.h"

#include "network/DataUsageProvider.h"
#include "network/NetworkMonitor.h"
#include "power/PowerPercentageLogger.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QButtonGroup>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>

namespace {

const char* const kAccentNames[] = {"blue", "purple", "pink", "red", "orange", "yellow", "green"};

QIcon swatch(const QColor& colour) {
    QPixmap pixmap(QSize(18, 18) * 2);
    pixmap.setDevicePixelRatio(2);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(colour.darker(130), 1));
    p.setBrush(colour);
    p.drawEllipse(QRectF(1.5, 1.5, 15, 15));
    return QIcon(pixmap);
}

} // namespace

GeneralSettingsPage::GeneralSettingsPage(SettingControl::Writer writer, Actions actions,
                                         QWidget* parent)
    : SettingsPage(text("settings.page.general"), std::move(writer), parent),
      actions_(std::move(actions)) {
    addCheck(SettingsKey::WantsAutoLogin, "settings.autoLogin");

    std::vector<Choice> languages;
    for (Language::SupportedLanguage language : Language::allLanguages())
        languages.push_back(
            {Language::menuTitle(language), Json(Language::rawValue(language).toStdString())});
    SettingControl* language =
        addCombo(SettingsKey::PreferredLanguage, "settings.language.title", std::move(languages));
    languageNote_ = addNote(text("settings.language.change.description"));
    language->changed = [this] { languageChanged(); };
    languageChanged();

    addCombo(SettingsKey::PerformanceQueuePriority, "settings.queuePriority.title",
             {{text("settings.queuePriority.high"), Json(1)},
              {text("settings.queuePriority.background"), Json(0)}},
             1);

    addSection(text("settings.section.appearance"));
    auto* accents = new QWidget(this);
    auto* row = new QHBoxLayout(accents);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    auto* group = new QButtonGroup(accents);
    std::vector<Choice> tints;
    for (int i = 0; i < 7; ++i) {
        auto* button = new QToolButton(accents);
        const QString name = text((std::string("settings.accentColor.") + kAccentNames[i]).c_str());
        button->setCheckable(true);
        button->setAutoRaise(true);
        button->setIcon(swatch(DynamicAppearance::tintColors()[static_cast<size_t>(i)]));
        button->setIconSize(QSize(18, 18));
        button->setToolTip(name);
        button->setAccessibleName(name);
        button->setFocusPolicy(Qt::StrongFocus);
        group->addButton(button, i);
        row->addWidget(button);
        tints.push_back({name, Json(i)});
    }
    row->addStretch(1);
    addRow(text("settings.accentColor"), accents);
    keep(SettingControl::buttons(QString::fromLatin1(SettingsKey::AccentColorIndex), group,
                                 std::move(tints), this->writer()));
    addCheck(SettingsKey::WantsBlurBackground, "settings.blurBackground");
    addCheck(SettingsKey::WantsPopupAnimation, "settings.popupAnimation");

    addSection(text("settings.section.data"));
    addNote(text("settings.resetData.message"));
    resetButton_ = addButton(text("settings.resetData"));
    connect(resetButton_, &QPushButton::clicked, this, [this] {
        const bool confirmed =
            actions_.confirmReset
                ? actions_.confirmReset()
                : QMessageBox::question(window(), text("settings.resetData"),
                                        text("settings.resetData.message"),
                                        QMessageBox::Reset | QMessageBox::Cancel,
                                        QMessageBox::Cancel) == QMessageBox::Reset;
        if (confirmed)
            resetData();
    });

    auto* buttons = new QWidget(this);
    auto* line = new QHBoxLayout(buttons);
    line->setContentsMargins(0, 12, 0, 0);
    auto* feedback = new QPushButton(mnemonic(text("settings.feedback")), buttons);
    auto* quit = new QPushButton(mnemonic(text("settings.quit")), buttons);
    line->addWidget(feedback);
    line->addStretch(1);
    line->addWidget(quit);
    addWidget(buttons);
    connect(feedback, &QPushButton::clicked, this, [this] {
        if (actions_.feedback)
            actions_.feedback();
    });
    feedback->setEnabled(static_cast<bool>(actions_.feedback));
    connect(quit, &QPushButton::clicked, this, [this] {
        if (actions_.quit)
            actions_.quit();
        else
            QCoreApplication::quit();
    });
}

void GeneralSettingsPage::languageChanged() {
    // The choice is stored by the control's write; the language follows it (and any
    // `--set` of the key) so the note compares the launch language with the new choice.
    const auto chosen = Language::fromRawValue(
        SettingsDomain::standard().stringValue(SettingsKey::PreferredLanguage));
    Language& language = Language::shared();
    const Language::SupportedLanguage wanted = chosen.value_or(Language::SupportedLanguage::System);
    if (language.preferredLanguage() != wanted)
        language.setPreferredLanguage(wanted);
    languageNote_->setVisible(language.changeTakesEffectAtNextLaunch());
}

void GeneralSettingsPage::resetData() {
    if (actions_.resetData) {
        actions_.resetData();
        return;
    }
    NetworkMonitor::shared().resetData();
    DataUsageProvider::shared().resetData();
    // The message promises the battery history too: the percentage log starts afresh.
    if (YYSystemBatteryReport::hasBattery())
        PowerPercentageLogger::shared().resetData();
}
