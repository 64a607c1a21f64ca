#pragma once

#include "menubar/MenuDrawing.h"
#include "settings/DynamicAppearance.h"

#include <QFontMetricsF>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QString>

#include <functional>

// Drawing pieces the boxes of the home page share: the small headings and text that is
// narrowed rather than cut when a translation runs long.
namespace HomeStyle {

// An icon of size points drawn by draw at twice the resolution, on a clear background.
inline QIcon drawnIcon(QSizeF size, const std::function<void(QPainter&)>& draw) {
    QPixmap pixmap((size * 2).toSize());
    pixmap.setDevicePixelRatio(2);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    draw(p);
    return QIcon(pixmap);
}

inline constexpr int kMargin = 12;

inline QFont headingFont() {
    return MenuDrawing::systemFont(10, QFont::Black);
}

// A heading such as "NETWORK", left-aligned at the top of rect.
inline void drawHeading(QPainter& p, const QRectF& rect, const QString& text) {
    p.setFont(headingFont());
    p.setPen(DynamicColor::dynamicSecondaryTextColor());
    p.drawText(rect, Qt::AlignLeft | Qt::AlignTop, text);
}

// font, made smaller (down to 60 % of its size) until text fits into width.
inline QFont fitted(QFont font, const QString& text, qreal width) {
    const int size = font.pixelSize();
    for (int px = size; px > 0 && px * 10 >= size * 6; --px) {
        font.setPixelSize(px);
        if (QFontMetricsF(font).horizontalAdvance(text) <= width)
            break;
    }
    return font;
}

// A thin scroll bar in the palette's colours instead of the desktop style's light one.
inline QString thinScrollBarStyle() {
    QColor handle = DynamicColor::dynamicSecondaryTextColor();
    handle.setAlphaF(0.5);
    return QStringLiteral(
               "QScrollBar:vertical { background: transparent; width: 8px; margin: 2px; }"
               "QScrollBar::handle:vertical { background: %1; border-radius: 2px;"
               " min-height: 24px; }"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
               "QScrollBar::add-page, QScrollBar::sub-page { background: none; }")
        .arg(handle.name(QColor::HexArgb));
}

} // namespace HomeStyle
