// lumenstat-appicon: draws the application icon for the hicolor theme, as SVG and as PNGs,
// from the same picture the tray item shows (MenuDrawing::iconPicturePath) on a blue tile.
//
//   lumenstat-appicon OUTDIR SIZE...
//
// writes OUTDIR/scalable/apps/com.quillfern.Lumenstat.svg and
// OUTDIR/SIZExSIZE/apps/com.quillfern.Lumenstat.png for every SIZE.
#include "menubar/MenuDrawing.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* kName = "com.quillfern.Lumenstat";
// The icon is laid out on a 64-unit canvas: a rounded tile with a little margin, and the
// 16-unit tray picture scaled into its middle.
constexpr double kCanvas = 64;
const QRectF kTile(4, 4, 56, 56);
constexpr double kTileRadius = 13;
constexpr double kPictureScale = 2.5;
const QPointF kPictureOrigin(12, 12);
const QColor kTileTop(0x3d, 0x96, 0xf5);
const QColor kTileBottom(0x1d, 0x5c, 0xc8);
const QColor kInk(Qt::white);

QString number(double v) {
    return QString::number(v, 'g', 6);
}

// The picture as SVG path data.
QString svgPathData(const QPainterPath& path) {
    QString d;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        switch (e.type) {
        case QPainterPath::MoveToElement:
            d += QStringLiteral("M%1 %2").arg(number(e.x), number(e.y));
            break;
        case QPainterPath::LineToElement:
            d += QStringLiteral("L%1 %2").arg(number(e.x), number(e.y));
            break;
        case QPainterPath::CurveToElement: {
            const QPainterPath::Element c2 = path.elementAt(i + 1);
            const QPainterPath::Element to = path.elementAt(i + 2);
            d += QStringLiteral("C%1 %2 %3 %4 %5 %6")
                     .arg(number(e.x), number(e.y), number(c2.x), number(c2.y), number(to.x),
                          number(to.y));
            i += 2;
            break;
        }
        case QPainterPath::CurveToDataElement:
            break;
        }
    }
    return d;
}

QByteArray svg() {
    const QString text =
        QStringLiteral(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%1\" "
            "viewBox=\"0 0 %1 %1\">\n"
            "  <defs>\n"
            "    <linearGradient id=\"tile\" x1=\"0\" y1=\"0\" x2=\"0\" y2=\"1\">\n"
            "      <stop offset=\"0\" stop-color=\"%2\"/>\n"
            "      <stop offset=\"1\" stop-color=\"%3\"/>\n"
            "    </linearGradient>\n"
            "  </defs>\n"
            "  <rect x=\"%4\" y=\"%5\" width=\"%6\" height=\"%7\" rx=\"%8\" fill=\"url(#tile)\"/>\n"
            "  <path transform=\"translate(%9 %10) scale(%11)\" fill=\"none\" stroke=\"%12\" "
            "stroke-width=\"1.5\" stroke-linecap=\"round\" stroke-linejoin=\"round\" d=\"%13\"/>\n"
            "</svg>\n")
            .arg(number(kCanvas), kTileTop.name(), kTileBottom.name(), number(kTile.x()),
                 number(kTile.y()), number(kTile.width()), number(kTile.height()),
                 number(kTileRadius), number(kPictureOrigin.x()))
            .arg(number(kPictureOrigin.y()), number(kPictureScale), kInk.name(),
                 svgPathData(MenuDrawing::iconPicturePath()));
    return text.toUtf8();
}

QImage png(int pixels) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, true);
    p.scale(pixels / kCanvas, pixels / kCanvas);
    QLinearGradient gradient(kTile.topLeft(), kTile.bottomLeft());
    gradient.setColorAt(0, kTileTop);
    gradient.setColorAt(1, kTileBottom);
    p.setPen(Qt::NoPen);
    p.setBrush(gradient);
    p.drawRoundedRect(kTile, kTileRadius, kTileRadius);
    p.translate(kPictureOrigin);
    p.scale(kPictureScale, kPictureScale);
    MenuDrawing::strokeImage(p, MenuDrawing::iconPicturePath(), QPointF(0, 0), kInk);
    p.end();
    return image;
}

bool writeFile(const QString& path, const QByteArray& data) {
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(data) == data.size();
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: lumenstat-appicon OUTDIR SIZE...\n");
        return 2;
    }
    const QString out = QFile::decodeName(argv[1]);
    const QString name = QString::fromLatin1(kName);
    if (!writeFile(out + "/scalable/apps/" + name + ".svg", svg())) {
        std::fprintf(stderr, "lumenstat-appicon: cannot write the SVG below %s\n", argv[1]);
        return 1;
    }
    for (int i = 2; i < argc; ++i) {
        const int pixels = std::atoi(argv[i]);
        if (pixels < 8 || pixels > 1024) {
            std::fprintf(stderr, "lumenstat-appicon: bad size %s\n", argv[i]);
            return 2;
        }
        const QString path = QStringLiteral("%1/%2x%2/apps/%3.png").arg(out).arg(pixels).arg(name);
        QDir().mkpath(QFileInfo(path).path());
        if (!png(pixels).save(path, "PNG")) {
            std::fprintf(stderr, "lumenstat-appicon: cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
