#include "RenderStylesCommand.h"

#include "BoxType.h"
#include "NetMenuBox.h"
#include "settings/DynamicAppearance.h"

#include <QDir>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QRegularExpression>

#include <cstdio>
#include <memory>

const char* styleFileName(BoxType type) {
    switch (type) {
    case BoxType::compact:
        return "compact";
    case BoxType::wide:
        return "wide";
    case BoxType::luxury:
        return "luxury";
    case BoxType::stock:
        return "stock";
    case BoxType::solo:
        return "solo";
    case BoxType::doubleSolo:
        return "double-solo";
    case BoxType::icon:
        return "icon";
    case BoxType::large:
        return "large";
    case BoxType::largeWithCPU:
        return "large-with-cpu";
    case BoxType::largeWithStock:
        return "large-with-stock";
    case BoxType::menuBox:
        return "classic-box";
    case BoxType::menuCompactBox:
        return "classic-compact";
    case BoxType::menuWideBox:
        return "classic-wide";
    case BoxType::menuLuxuryBox:
        return "classic-luxury";
    case BoxType::menuStockBox:
        return "classic-stock";
    case BoxType::menuIconBox:
        return "classic-icon";
    case BoxType::menuSoloBox:
        return "classic-solo";
    case BoxType::menuDoubleSoloBox:
        return "classic-double";
    default:
        return "other";
    }
}

namespace {

// A short history so the sparklines have a curve: twelve ticks rising to the final values.
void feed(NetMenuBox& box, uint64_t sent, uint64_t received) {
    static const int shape[12] = {2, 5, 3, 8, 6, 10, 7, 12, 9, 14, 11, 16};
    for (int i = 0; i < 12; ++i) {
        ActivityObject record;
        record.netMode = ReachableViaWiFi;
        if (i == 11) {
            record.paceActivities = {sent, received};
        } else {
            record.paceActivities = {sent * static_cast<uint64_t>(shape[i]) / 16,
                                     received * static_cast<uint64_t>(shape[i]) / 16};
        }
        box.update(record);
    }
}

// The largest pace a picture is drawn for, in KB per second: about a petabyte a second,
// far above any link, and far enough below the 64-bit limit that the byte and history
// arithmetic of the drawing never comes near it.
constexpr uint64_t kMaxPaceKB = 1'000'000'000'000;

// Reads a pace in KB; error says why it is not one.
bool parseCount(const QString& option, const QString& text, uint64_t& out, QString& error) {
    bool ok = false;
    const qulonglong v = text.toULongLong(&ok);
    static const QRegularExpression digits(QStringLiteral("^\\+?[0-9]+$"));
    if (!ok && !digits.match(text).hasMatch()) {
        error = QStringLiteral("%1 needs a whole number of KB, not \"%2\"").arg(option, text);
        return false;
    }
    if (!ok || v > kMaxPaceKB) {
        error = QStringLiteral("%1 %2 is out of range (at most %3 KB)")
                    .arg(option, text)
                    .arg(kMaxPaceKB);
        return false;
    }
    out = v;
    return true;
}

// Every style the setting can choose: the current ten, then the classic family.
std::vector<BoxType> renderedStyles() {
    std::vector<BoxType> all(std::begin(kOfferedNetworkStyles), std::end(kOfferedNetworkStyles));
    all.insert(all.end(), std::begin(kClassicNetworkStyles), std::end(kClassicNetworkStyles));
    return all;
}

} // namespace

bool parseRenderStylesOptions(const QStringList& args, RenderStylesOptions& out, QString& error) {
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--dark")) {
            out.dark = true;
        } else if (a == QLatin1String("--sent") || a == QLatin1String("--received")) {
            if (i + 1 >= args.size()) {
                error = a + QStringLiteral(" needs a whole number of KB");
                return false;
            }
            if (!parseCount(a, args[i + 1], a == QLatin1String("--sent") ? out.sent : out.received,
                            error))
                return false;
            ++i;
        } else if (a.startsWith(QLatin1String("--"))) {
            error = QStringLiteral("unknown option ") + a;
            return false;
        } else if (out.directory.isEmpty()) {
            out.directory = a;
        } else {
            error = QStringLiteral("only one directory, not also ") + a;
            return false;
        }
    }
    if (out.directory.isEmpty()) {
        error = QStringLiteral("--render-styles needs a directory");
        return false;
    }
    return true;
}

QImage renderStyle(int boxType, uint64_t sent, uint64_t received, qreal dpr) {
    std::unique_ptr<NetMenuBox> box = NetMenuBox::create(static_cast<BoxType>(boxType));
    feed(*box, sent, received);
    return box->render(dpr);
}

QImage renderStyleSheet(uint64_t sent, uint64_t received, bool dark, qreal dpr) {
    const int rowHeight = 30;
    const int labelWidth = 130;
    const int styleWidth = 190;
    const std::vector<BoxType> styles = renderedStyles();
    const int count = static_cast<int>(styles.size());
    QImage sheet(static_cast<int>((labelWidth + styleWidth) * dpr),
                 static_cast<int>((count * rowHeight + 8) * dpr), QImage::Format_ARGB32);
    sheet.setDevicePixelRatio(dpr);
    sheet.fill(dark ? QColor(43, 43, 46) : QColor(236, 236, 236));
    QPainter p(&sheet);
    p.setRenderHint(QPainter::TextAntialiasing, true);
    const QColor caption = dark ? QColor(170, 170, 175) : QColor(90, 90, 95);
    int row = 0;
    for (BoxType type : styles) {
        const int top = 4 + row * rowHeight;
        p.setPen(caption);
        p.setFont(MenuDrawing::systemFont(11, QFont::Normal));
        p.drawText(QRectF(8, top, labelWidth - 8, rowHeight), Qt::AlignVCenter | Qt::AlignLeft,
                   QStringLiteral("%1  %2").arg(static_cast<int>(type)).arg(styleFileName(type)));
        const QImage image = renderStyle(static_cast<int>(type), sent, received, dpr);
        p.drawImage(QPointF(labelWidth, top + (rowHeight - kMenuBarHeight) / 2), image);
        ++row;
    }
    p.end();
    return sheet;
}

int runRenderStylesCommand(const QStringList& args) {
    RenderStylesOptions options;
    QString error;
    if (!parseRenderStylesOptions(args, options, error)) {
        std::fprintf(stderr,
                     "lumenstat: %s (usage: lumenstat --render-styles DIR [--dark] [--sent KB] "
                     "[--received KB])\n",
                     qPrintable(error));
        return 2;
    }
    std::unique_ptr<QGuiApplication> app;
    if (!QGuiApplication::instance()) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "lumenstat";
        static char* argv[] = {name, nullptr};
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
    if (!QDir().mkpath(options.directory)) {
        std::fprintf(stderr, "lumenstat: cannot create %s\n", qPrintable(options.directory));
        return 1;
    }
    DynamicAppearance::shared().setSource(FixedAppearanceSource::make(options.dark));
    const QDir dir(options.directory);
    int written = 0;
    for (BoxType type : renderedStyles()) {
        for (int scale : {1, 2}) {
            const QImage image =
                renderStyle(static_cast<int>(type), options.sent, options.received, scale);
            const QString file = dir.filePath(QStringLiteral("%1-%2@%3x.png")
                                                  .arg(static_cast<int>(type), 2, 10, QChar('0'))
                                                  .arg(styleFileName(type))
                                                  .arg(scale));
            if (!image.save(file, "PNG")) {
                std::fprintf(stderr, "lumenstat: cannot write %s\n", qPrintable(file));
                return 1;
            }
            ++written;
        }
    }
    const QString sheetFile = dir.filePath(options.dark ? QStringLiteral("styles-dark.png")
                                                        : QStringLiteral("styles-light.png"));
    if (!renderStyleSheet(options.sent, options.received, options.dark, 2).save(sheetFile, "PNG")) {
        std::fprintf(stderr, "lumenstat: cannot write %s\n", qPrintable(sheetFile));
        return 1;
    }
    std::printf("wrote %d style images and %s\n", written, qPrintable(sheetFile));
    return 0;
}
