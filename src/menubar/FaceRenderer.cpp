#include "FaceRenderer.h"

#include "BoxType.h"
#include "FaceSource.h"
#include "NetMenuBox.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

bool FaceRenderer::validRequest(int height, double scale) {
    return height >= kMinHeight && height <= kMaxHeight && std::isfinite(scale) && scale > 0 &&
           scale <= kMaxScale;
}

FaceImage FaceRenderer::render(const FaceSource& source, int height, double scale, QRgb colour) {
    FaceImage face;
    face.text = source.faceText();
    const double faceHeight = std::min<double>(height, kMenuBarHeight);
    const double factor = faceHeight / kMenuBarHeight;
    const double length = std::max(0.0, source.faceLength());
    face.width = static_cast<int>(std::ceil(length * factor));
    face.height = static_cast<int>(std::ceil(faceHeight));
    const int w = static_cast<int>(std::ceil(face.width * scale));
    const int h = static_cast<int>(std::ceil(face.height * scale));
    if (w <= 0 || h <= 0)
        return face; // nothing to show: no pixels
    face.image = QImage(w, h, QImage::Format_ARGB32_Premultiplied);
    face.image.fill(Qt::transparent);
    std::optional<NetMenuBox::InkScope> ink;
    if (qAlpha(colour) != 0)
        ink.emplace(QColor::fromRgba(colour));
    QPainter p(&face.image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.scale(scale * factor, scale * factor);
    source.drawFace(p);
    p.end();
    return face;
}
