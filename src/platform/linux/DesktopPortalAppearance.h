#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QDBusVariant;

// Where the desktop's dark or light preference comes from. The palette asks isDark() when
// it is created and again whenever the source reports a change.
class AppearanceSource {
public:
    virtual ~AppearanceSource() = default;
    // True for a dark desktop, false for a light one.
    virtual bool isDark() = 0;
    // Called on the main thread whenever the preference may have changed.
    virtual void setChangeHandler(std::function<void()> handler) = 0;
};

// The GTK theme fall-back: GTK_THEME, else gtk-theme-name in
// <configHome>/gtk-3.0/settings.ini (then gtk-4.0). Dark when the name contains "dark"
// in any case.
bool gtkThemeIsDark(const QString& gtkThemeEnv, const QString& configHome);
// The theme name found in one settings.ini text, empty when absent.
QString gtkThemeNameFromSettingsIni(const QByteArray& text);

// The colour-scheme preference of the desktop portal
// (org.freedesktop.portal.Settings, namespace org.freedesktop.appearance, key
// color-scheme: 0 no preference, 1 dark, 2 light), kept current through the portal's
// SettingChanged signal. Without a portal, or with no preference, the GTK theme decides.
class DesktopPortalAppearance : public QObject, public AppearanceSource {
    Q_OBJECT
public:
    explicit DesktopPortalAppearance(const QDBusConnection& bus, QObject* parent = nullptr);
    // The source on the session bus, for the process-wide palette.
    static std::shared_ptr<DesktopPortalAppearance> session();

    bool isDark() override;
    void setChangeHandler(std::function<void()> handler) override;

    // The portal's last known color-scheme, absent when no portal answered.
    std::optional<uint> colorScheme() const { return colorScheme_; }
    // Asks the portal again (blocking, short timeout).
    void refresh();
    // Unwraps the nested variants the portal returns into a colour-scheme number.
    static std::optional<uint> colorSchemeFromVariant(const QVariant& value);

private slots:
    void onSettingChanged(const QString& nameSpace, const QString& key, const QDBusVariant& value);

private:
    QDBusConnection bus_;
    std::optional<uint> colorScheme_;
    std::function<void()> handler_;
};
