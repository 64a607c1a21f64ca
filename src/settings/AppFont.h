#pragma once

#include <QFont>
#include <QString>
#include <QStringList>

#include <optional>

// The application's own typeface: the "Saira" family, shipped as eight font files compiled
// into the program's resources and registered for this process only.
class AppFont {
public:
    // Where the shipped face files live in the program's resources.
    static QString resourceDirectory();
    // The file names (without ".ttf") of the eight shipped faces.
    static const QStringList& resourceNames();

    // The face used for a weight, by exact match on the weight table; absent for a weight
    // outside the table. Light deliberately draws with the extra-light face and semibold with
    // the bold face.
    static std::optional<QString> faceName(int weight);

    // Registers every "<name>.ttf" of resourceNames() found in directory with the font
    // database; a missing or unreadable file is skipped. Returns how many were added.
    static int registerFaces(const QString& directory);

    // The face named like "Saira-Bold" (family, dash, style) at size, when the font database
    // holds that face.
    static std::optional<QFont> face(const QString& faceName, qreal size);

    // The system font at size and weight.
    static QFont systemFont(qreal size, int weight);

    // sairaFontOf with the face files taken from directory.
    static QFont fontOf(qreal size, int weight, const QString& directory);

    // How many times the face files were registered (each failed first attempt registers).
    static int registrationCount();
};

// The application font of size (layout points, drawn as pixels) and weight: the Saira face of
// the weight table, registering the shipped files on first need, else the system font.
QFont sairaFontOf(qreal size, QFont::Weight weight);
