#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

// The application entries (.desktop files) of the XDG data folders: $XDG_DATA_HOME
// (~/.local/share) first, then every folder of $XDG_DATA_DIRS (/usr/local/share:/usr/share),
// each with its "applications" subfolder. An id found twice is taken from the first folder.
class DesktopEntryIndex {
public:
    struct Entry {
        QString id;            // the desktop-file id without ".desktop" ("org.gnome.Nautilus")
        QString name;          // Name=
        QString localizedName; // Name[xx] for the first language that has one, else Name=
        QString icon;          // Icon=
        QString executable;    // the file name of the program Exec= starts ("firefox-esr")
    };

    // languages: locale names in order of preference ("de_DE", "de"); dataDirs: the folders
    // to read (empty: from the environment).
    explicit DesktopEntryIndex(QStringList languages = {}, QStringList dataDirs = {});

    // The folders of the environment, most important first.
    static QStringList environmentDataDirs();

    const Entry* find(const QString& id) const;
    // The entry whose Exec= starts the program with this file name; null when none.
    const Entry* findByExecutable(const QString& fileName) const;
    int size() const { return int(entries_.size()); }

    // Parses the text of one file; absent when it is not a shown application entry.
    static std::optional<Entry> parse(const QString& id, const QByteArray& text,
                                      const QStringList& languages);
    // The program file name of an Exec= value ("env A=1 /usr/bin/foo %U" -> "foo").
    static QString executableOf(const QString& exec);

private:
    void scan(const QString& root, const QString& folder);

    QStringList languages_;
    QHash<QString, Entry> entries_;
    QHash<QString, QString> byExecutable_;
};
