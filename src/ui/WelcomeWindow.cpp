#include "WelcomeWindow.h"

#include "SettingsPage.h"
#include "SettingsWindow.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QPointer<WelcomeWindow>& instance() {
    static QPointer<WelcomeWindow> window;
    return window;
}

QLabel* paragraph(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

QLabel* heading(const QString& text, QWidget* parent, qreal scale) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * scale);
    label->setFont(font);
    return label;
}

} // namespace

WelcomeWindow::PluginHint WelcomeWindow::pluginFor(const QString& currentDesktop) {
    const QStringList names = currentDesktop.toUpper().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (names.contains(QLatin1String("XFCE")))
        return {"welcome.plugin.xfce", QStringLiteral("xfce4-panel --add=lumenstat-network")};
    if (names.contains(QLatin1String("KDE")))
        return {"welcome.plugin.plasma",
                QStringLiteral("qdbus org.kde.plasmashell /PlasmaShell evaluateScript "
                               "\"panels()[0].addWidget('com.quillfern.lumenstat.network')\"")};
    if (names.contains(QLatin1String("GNOME")))
        return {"welcome.plugin.gnome",
                QStringLiteral("gnome-extensions enable lumenstat@quillfern.com")};
    return {"welcome.plugin.other", QString()};
}

bool WelcomeWindow::wanted() {
    if (qEnvironmentVariableIsSet("LUMENSTAT_NO_WELCOME"))
        return false;
    if (QGuiApplication::platformName() == QLatin1String("offscreen"))
        return false;
    return !SettingsDomain::standard().boolValue(SettingsKey::FirstRunWelcomeShown);
}

WelcomeWindow* WelcomeWindow::showIfWanted(Environment environment) {
    if (!wanted())
        return instance();
    SettingsDomain::standard().setBool(SettingsKey::FirstRunWelcomeShown, true);
    return &open(std::move(environment));
}

WelcomeWindow& WelcomeWindow::open(Environment environment) {
    QPointer<WelcomeWindow>& window = instance();
    if (!window)
        window = new WelcomeWindow(std::move(environment));
    window->show();
    window->raise();
    return *window;
}

WelcomeWindow::WelcomeWindow(Environment environment, QWidget* parent)
    : QWidget(parent, Qt::Window), environment_(std::move(environment)) {
    // It appears beside whatever the user is doing at login; it does not take the keyboard.
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("WelcomeWindow"));
    const auto text = [](const char* key) { return SettingsPage::text(key); };
    setWindowTitle(text("welcome.title"));
    QSet<QChar> used;
    const auto mnemonic = [&used](const QString& t) { return SettingsPage::withMnemonic(t, used); };

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(10);
    column->addWidget(heading(text("welcome.title"), this, 1.5));
    column->addWidget(paragraph(text("welcome.item"), this));

    auto* login = new QCheckBox(mnemonic(text("settings.autoLogin")), this);
    column->addWidget(login);
    SettingControl::check(QString::fromLatin1(SettingsKey::WantsAutoLogin), login,
                          environment_.write);

    column->addSpacing(6);
    column->addWidget(heading(text("welcome.plugin.title"), this, 1.0));
    const QString desktop = environment_.desktop.isNull()
                                ? qEnvironmentVariable("XDG_CURRENT_DESKTOP")
                                : environment_.desktop;
    const PluginHint hint = pluginFor(desktop);
    column->addWidget(paragraph(text(hint.textKey), this));
    if (!hint.command.isEmpty()) {
        auto* line = new QHBoxLayout;
        command_ = new QLineEdit(hint.command, this);
        command_->setReadOnly(true);
        command_->setCursorPosition(0);
        command_->setAccessibleName(text("welcome.plugin.title"));
        auto* copy = new QPushButton(mnemonic(text("welcome.copy")), this);
        connect(copy, &QPushButton::clicked, this, [this] {
            if (QClipboard* clipboard = QGuiApplication::clipboard())
                clipboard->setText(command_->text());
        });
        line->addWidget(command_, 1);
        line->addWidget(copy);
        column->addLayout(line);
    }

    column->addSpacing(6);
    column->addWidget(heading(text("settings.page.appUsage"), this, 1.0));
    auto* tracking = new QCheckBox(mnemonic(text("settings.appDataUsageTracking")), this);
    column->addWidget(tracking);
    SettingControl::check(QString::fromLatin1(SettingsKey::WantsAppDataUsageTracking), tracking,
                          environment_.write);
    column->addWidget(paragraph(text("settings.appUsage.description"), this));

    column->addStretch(1);
    auto* buttons = new QHBoxLayout;
    auto* settings = new QPushButton(mnemonic(text("welcome.openSettings")), this);
    done_ = new QPushButton(mnemonic(text("welcome.done")), this);
    done_->setDefault(true);
    buttons->addWidget(settings);
    buttons->addStretch(1);
    buttons->addWidget(done_);
    column->addLayout(buttons);
    connect(settings, &QPushButton::clicked, this, [this] {
        if (environment_.openSettings)
            environment_.openSettings();
        close();
    });
    connect(done_, &QPushButton::clicked, this, &QWidget::close);

    // Light or dark with the desktop, like the settings window.
    const auto recolour = [this] {
        setPalette(SettingsWindow::appearancePalette());
        setAutoFillBackground(true);
    };
    recolour();
    DynamicAppearance::addChanged(this, [recolour](const Notification&) { recolour(); });

    setMinimumWidth(480);
    resize(sizeHint().expandedTo(QSize(520, 0)));
}
