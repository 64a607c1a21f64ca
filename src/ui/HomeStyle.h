#pragma once

#include "menubar/MenuDrawing.h"
#include "settings/DynamicAppearance.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QString>

// Drawing pieces the boxes of the home page share: the small headings and text that is
// narrowed rather than cut when a translation runs long.
namespace HomeStyle {

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

// font, horizontally condensed so that text fits into width (never below 60 %).
inline QFont fitted(QFont font, const QString& text, qreal width) {
    const qreal needed = QFontMetricsF(font).horizontalAdvance(text);
    if (needed > width && needed > 0)
        font.setStretch(std::max(60, static_cast<int>(100.0 * width / needed)));
    return font;
}

} // namespace HomeStyle
