#include "AppFont.h"

#include <QFile>
#include <QFontDatabase>

#include <algorithm>
#include <atomic>
#include <cmath>

static void initAppFontResources() {
    // Resources of a static library are linked in only when something refers to them.
    Q_INIT_RESOURCE(AppFont);
}

namespace {

std::atomic<int> registrations{0};

QString normalizedStyle(const QString& style) {
    QString out;
    for (QChar c : style)
        if (!c.isSpace() && c != QLatin1Char('-'))
            out.append(c.toLower());
    return out;
}

int pixelSizeFor(qreal size) {
    if (!std::isfinite(size))
        return 1;
    return std::max(1, static_cast<int>(std::lround(std::clamp(size, 1.0, 4096.0))));
}

} // namespace

QString AppFont::resourceDirectory() {
    return QStringLiteral(":/lumenstat/fonts");
}

const QStringList& AppFont::resourceNames() {
    static const QStringList names{
        QStringLiteral("Saira-Black"),     QStringLiteral("Saira-Bold"),
        QStringLiteral("Saira-ExtraBold"), QStringLiteral("Saira-ExtraLight"),
        QStringLiteral("Saira-Light"),     QStringLiteral("Saira-Medium"),
        QStringLiteral("Saira-Regular"),   QStringLiteral("Saira-Thin"),
    };
    return names;
}

std::optional<QString> AppFont::faceName(int weight) {
    switch (weight) {
    case QFont::ExtraLight: // ultra light
        return QStringLiteral("Saira-ExtraLight");
    case QFont::Thin:
        return QStringLiteral("Saira-Thin");
    case QFont::Light:
        return QStringLiteral("Saira-ExtraLight");
    case QFont::Normal: // regular
        return QStringLiteral("Saira-Regular");
    case QFont::Medium:
        return QStringLiteral("Saira-Medium");
    case QFont::DemiBold: // semibold
        return QStringLiteral("Saira-Bold");
    case QFont::Bold:
        return QStringLiteral("Saira-Bold");
    case QFont::ExtraBold: // heavy
        return QStringLiteral("Saira-ExtraBold");
    case QFont::Black:
        return QStringLiteral("Saira-Black");
    default:
        return std::nullopt;
    }
}

int AppFont::registerFaces(const QString& directory) {
    registrations.fetch_add(1);
    int added = 0;
    for (const QString& name : resourceNames()) {
        const QString path = directory + QLatin1Char('/') + name + QStringLiteral(".ttf");
        if (!QFile::exists(path))
            continue;
        if (QFontDatabase::addApplicationFont(path) >= 0)
            ++added;
    }
    return added;
}

std::optional<QFont> AppFont::face(const QString& faceName, qreal size) {
    const qsizetype dash = faceName.lastIndexOf(QLatin1Char('-'));
    if (dash <= 0 || dash == faceName.size() - 1)
        return std::nullopt;
    const QString family = faceName.left(dash);
    const QString wanted = normalizedStyle(faceName.mid(dash + 1));
    if (!QFontDatabase::families().contains(family))
        return std::nullopt;
    const QStringList styles = QFontDatabase::styles(family);
    const auto style = std::find_if(styles.begin(), styles.end(),
                                    [&](const QString& s) { return normalizedStyle(s) == wanted; });
    if (style == styles.end())
        return std::nullopt;
    QFont font(family);
    font.setStyleName(*style);
    font.setWeight(static_cast<QFont::Weight>(QFontDatabase::weight(family, *style)));
    font.setItalic(false);
    font.setPixelSize(pixelSizeFor(size));
    return font;
}

QFont AppFont::systemFont(qreal size, int weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(pixelSizeFor(size));
    font.setWeight(static_cast<QFont::Weight>(std::clamp(weight, 1, 1000)));
    return font;
}

QFont AppFont::fontOf(qreal size, int weight, const QString& directory) {
    const std::optional<QString> name = faceName(weight);
    if (!name)
        return systemFont(size, weight);
    if (auto font = face(*name, size))
        return *font;
    // Not registered yet (or no longer findable): register the shipped faces and look again.
    registerFaces(directory);
    if (auto font = face(*name, size))
        return *font;
    return systemFont(size, weight);
}

int AppFont::registrationCount() {
    return registrations.load();
}

QFont sairaFontOf(qreal size, QFont::Weight weight) {
    static const bool resourcesReady = (initAppFontResources(), true);
    (void)resourcesReady;
    return AppFont::fontOf(size, weight, AppFont::resourceDirectory());
}
