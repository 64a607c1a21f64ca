#include "DesktopPortalAppearance.h"

#include "PlatformPaths.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>

namespace {
const char* const kPortalService = "org.freedesktop.portal.Desktop";
const char* const kPortalPath = "/org/freedesktop/portal/desktop";
const char* const kSettingsInterface = "org.freedesktop.portal.Settings";
const char* const kAppearanceNamespace = "org.freedesktop.appearance";
const char* const kColorSchemeKey = "color-scheme";
constexpr int kPortalTimeoutMs = 800;
constexpr uint kDarkScheme = 1;

QString configHomeFromEnv() {
    const QByteArray xdg = qgetenv("XDG_CONFIG_HOME");
    if (!xdg.isEmpty())
        return QString::fromLocal8Bit(xdg);
    return QDir::homePath() + "/.config";
}
} // namespace

QString gtkThemeNameFromSettingsIni(const QByteArray& text) {
    bool inSettings = false;
    for (const QByteArray& raw : text.split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('[')) {
            inSettings = line == "[Settings]";
            continue;
        }
        if (!inSettings || line.startsWith('#') || line.startsWith(';'))
            continue;
        const int eq = line.indexOf('=');
        if (eq < 0 || line.left(eq).trimmed() != "gtk-theme-name")
            continue;
        QByteArray value = line.mid(eq + 1).trimmed();
        if (value.size() >= 2 && value.startsWith('"') && value.endsWith('"'))
            value = value.mid(1, value.size() - 2);
        return QString::fromUtf8(value);
    }
    return QString();
}

bool gtkThemeIsDark(const QString& gtkThemeEnv, const QString& configHome) {
    QString name = gtkThemeEnv;
    if (name.isEmpty()) {
        for (const char* dir : {"/gtk-3.0/settings.ini", "/gtk-4.0/settings.ini"}) {
            const auto ini = PlatformPaths::readSmallFile(configHome + QLatin1String(dir));
            if (!ini)
                continue;
            name = gtkThemeNameFromSettingsIni(*ini);
            if (!name.isEmpty())
                break;
        }
    }
    return name.contains(QLatin1String("dark"), Qt::CaseInsensitive);
}

DesktopPortalAppearance::DesktopPortalAppearance(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), bus_(bus) {
    if (bus_.isConnected()) {
        bus_.connect(QString(), kPortalPath, kSettingsInterface, "SettingChanged", this,
                     SLOT(onSettingChanged(QString, QString, QDBusVariant)));
    }
    refresh();
}

std::shared_ptr<DesktopPortalAppearance> DesktopPortalAppearance::session() {
    static std::shared_ptr<DesktopPortalAppearance> source =
        std::make_shared<DesktopPortalAppearance>(QDBusConnection::sessionBus());
    return source;
}

std::optional<uint> DesktopPortalAppearance::colorSchemeFromVariant(const QVariant& value) {
    QVariant v = value;
    // Read answers a variant inside a variant; ReadOne one level less. Unwrap both.
    for (int depth = 0; depth < 4; ++depth) {
        if (v.canConvert<QDBusVariant>() && v.userType() == qMetaTypeId<QDBusVariant>()) {
            v = v.value<QDBusVariant>().variant();
            continue;
        }
        if (v.userType() == qMetaTypeId<QDBusArgument>()) {
            const QDBusArgument arg = v.value<QDBusArgument>();
            if (arg.currentType() != QDBusArgument::VariantType)
                return std::nullopt;
            QDBusVariant inner;
            arg >> inner;
            v = inner.variant();
            continue;
        }
        break;
    }
    switch (v.userType()) {
    case QMetaType::UInt:
    case QMetaType::Int:
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::Short:
    case QMetaType::ULongLong:
    case QMetaType::LongLong: {
        bool ok = false;
        const qlonglong n = v.toLongLong(&ok);
        if (!ok || n < 0 || n > 0xffffffffLL)
            return std::nullopt;
        return static_cast<uint>(n);
    }
    default:
        return std::nullopt;
    }
}

void DesktopPortalAppearance::refresh() {
    colorScheme_.reset();
    if (!bus_.isConnected())
        return;
    for (const char* method : {"ReadOne", "Read"}) {
        QDBusMessage call =
            QDBusMessage::createMethodCall(kPortalService, kPortalPath, kSettingsInterface, method);
        call << QString::fromLatin1(kAppearanceNamespace) << QString::fromLatin1(kColorSchemeKey);
        const QDBusMessage reply = bus_.call(call, QDBus::Block, kPortalTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            continue;
        colorScheme_ = colorSchemeFromVariant(reply.arguments().first());
        if (colorScheme_)
            return;
    }
}

bool DesktopPortalAppearance::isDark() {
    if (colorScheme_ && *colorScheme_ != 0)
        return *colorScheme_ == kDarkScheme;
    return gtkThemeIsDark(QString::fromLocal8Bit(qgetenv("GTK_THEME")), configHomeFromEnv());
}

void DesktopPortalAppearance::setChangeHandler(std::function<void()> handler) {
    handler_ = std::move(handler);
}

void DesktopPortalAppearance::onSettingChanged(const QString& nameSpace, const QString& key,
                                               const QDBusVariant& value) {
    if (nameSpace != QLatin1String(kAppearanceNamespace) || key != QLatin1String(kColorSchemeKey))
        return;
    colorScheme_ = colorSchemeFromVariant(value.variant());
    if (handler_)
        handler_();
}
