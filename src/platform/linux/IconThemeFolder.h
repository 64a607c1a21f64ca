#pragma once

#include <QString>

// A theme folder (the one that holds "hicolor/") in which a host finds one of our icons by
// name, for StatusNotifierItem's IconThemePath.
class IconThemeFolder {
public:
    // The installed icon theme when it holds hicolor/scalable/<context>/<name>.svg; else
    // $XDG_RUNTIME_DIR/lumenstat/icons with a copy of svgFile (a file or a Qt resource) put
    // there now, so the name resolves from a build tree too. Empty when neither works.
    static QString forIcon(const QString& name, const QString& context, const QString& svgFile);
};
