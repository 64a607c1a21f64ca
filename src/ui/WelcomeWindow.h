#pragma once

#include "SettingControl.h"

#include <QString>
#include <QWidget>

#include <functional>

class QLineEdit;
class QPushButton;

// The first-run welcome: where the tray item is, launch at login, the panel plug-in for the
// running desktop with the command that adds it, and the per-app usage switch. It opens once,
// on the first start, without taking the focus from what the user is doing; the About page
// opens it again.
class WelcomeWindow : public QWidget {
    Q_OBJECT
public:
    struct Environment {
        SettingControl::Writer write;
        std::function<void()> openSettings;
        QString desktop; // XDG_CURRENT_DESKTOP; empty: this process's environment
    };

    // The panel plug-in a desktop takes, and the command that adds it ("" where there is none).
    struct PluginHint {
        const char* textKey;
        QString command;
    };
    static PluginHint pluginFor(const QString& currentDesktop);

    // True on the first start of a profile on a real display: not yet shown, not on the
    // offscreen platform, and LUMENSTAT_NO_WELCOME unset (the tests set it).
    static bool wanted();
    // Shows the welcome when wanted() and marks it shown; the process's window otherwise.
    static WelcomeWindow* showIfWanted(Environment environment);
    // Shows (and raises) the process's welcome, made on first use.
    static WelcomeWindow& open(Environment environment);

    explicit WelcomeWindow(Environment environment, QWidget* parent = nullptr);

    QLineEdit* commandField() const { return command_; }
    QPushButton* doneButton() const { return done_; }

private:
    Environment environment_;
    QLineEdit* command_ = nullptr;
    QPushButton* done_ = nullptr;
};
