#pragma once

#include <QString>

#include <optional>

// A theme folder (the one that holds "hicolor/") in which a host finds one of our icons by
// name, for StatusNotifierItem's IconThemePath.
class IconThemeFolder {
public:
    // "" when an icon folder of the data directories ($XDG_DATA_HOME/icons, /usr/share/icons,
    // ...) holds hicolor/scalable/<context>/<name>.svg: hosts find the name in their own theme
    // then, and Plasma recolours a symbolic icon for its panel only when found that way (with
    // an IconThemePath it loads the icon in the application's colours). Else
    // $XDG_RUNTIME_DIR/lumenstat/icons with a copy of svgFile (a file or a Qt resource) put
    // there now, so the name resolves from a build tree too. Absent when neither works.
    static std::optional<QString> forIcon(const QString& name, const QString& context,
                                          const QString& svgFile);
};
