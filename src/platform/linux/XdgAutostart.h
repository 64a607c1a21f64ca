#pragma once

#include "platform/LoginItems.h"

#include <QByteArray>
#include <QString>

// Launch at login through the desktop's autostart folder: the entry
// $XDG_CONFIG_HOME/autostart/lumenstat.desktop (or ~/.config/autostart/...) is written to
// start the app at login and removed to stop that. Every session that follows the XDG
// autostart rules (GNOME, Plasma, XFCE, LXQt, most others) reads it.
class XdgAutostart : public LoginItems {
public:
    // configHome: the configuration folder; empty follows XDG_CONFIG_HOME and HOME at each
    // call. executable: what the entry starts; empty means this process's own binary.
    explicit XdgAutostart(QString configHome = {}, QString executable = {});

    // Enabling replaces whatever entry is there (one the user edited, a symbolic link) in
    // one rename, so a reader never sees half an entry; disabling removes it.
    QString setEnabled(bool enabled) override;

    QString entryPath() const;
    // The entry that starts executable.
    static QByteArray entryText(const QString& executable);
    // executable as the value of an Exec key: quoted when it holds characters a launcher
    // would otherwise split or expand, then escaped as a desktop-file string.
    static QString execValue(const QString& executable);
    // The binary this process runs from; the installed binary when that cannot be told (or
    // was deleted, as by a package upgrade, without a new file in its place).
    static QString runningExecutable();

private:
    QString configHome_;
    QString executable_;
};
