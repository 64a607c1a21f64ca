#include "AboutSettingsPage.h"

#include "settings/AppFont.h"

#include <QCoreApplication>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

static void initFontResources() {
    // The licence text sits with the fonts in the settings library's resources.
    Q_INIT_RESOURCE(AppFont);
}

AboutSettingsPage::AboutSettingsPage(std::function<void()> showWelcome, QWidget* parent)
    : SettingsPage(text("settings.page.about"), {}, parent) {
    auto* name = new QLabel(QStringLiteral("Lumenstat"), this);
    QFont big = name->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    name->setFont(big);
    addWidget(name);
    const QString version = QCoreApplication::applicationVersion();
    addNote(text("settings.version")
                .replace(QLatin1String("%@"), version.isEmpty() ? QStringLiteral("?") : version));
    welcomeButton_ = addButton(text("settings.about.showWelcome"));
    connect(welcomeButton_, &QPushButton::clicked, this, [showWelcome] {
        if (showWelcome)
            showWelcome();
    });

    addSection(text("settings.about.licences"));
    addNote(text("settings.about.appLicence"));
    addNote(text("settings.about.fontLicence"));
    auto* licence = new QPlainTextEdit(this);
    licence->setReadOnly(true);
    licence->setTabChangesFocus(true);
    licence->setMinimumHeight(180);
    initFontResources();
    QFile ofl(AppFont::resourceDirectory() + QStringLiteral("/OFL.txt"));
    if (ofl.open(QIODevice::ReadOnly))
        licence->setPlainText(QString::fromUtf8(ofl.readAll()));
    addRow(text("settings.about.fontLicenceText"), licence);
}
