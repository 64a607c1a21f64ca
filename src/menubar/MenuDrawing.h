#pragma once

#include <QColor>
#include <QFont>
#include <QPainterPath>
#include <QRectF>
#include <QString>

#include <vector>

class QPainter;

// Small drawing pieces shared by the status item styles.
namespace MenuDrawing {

// The system face at size (points drawn as pixels) and weight.
QFont systemFont(qreal size, QFont::Weight weight);
// The application face (Saira) at size and weight, falling back to the system face.
QFont appFont(qreal size, QFont::Weight weight);

// The 12 x 22 arrow images: a stroked path of width 1.5, round joins and caps.
QPainterPath uploadArrowPath();
QPainterPath downloadArrowPath();
QPainterPath doubleArrowPath();
// The square up/down picture of the icon style, in a 16 x 16 box.
QPainterPath iconPicturePath();
// The advance of text in font, as QFontMetricsF gives it (remembered).
qreal textAdvance(const QFont& font, const QString& text);
// Strokes path translated to origin with colour.
void strokeImage(QPainter& p, const QPainterPath& path, QPointF origin, const QColor& colour);

} // namespace MenuDrawing

// One run of text in a single font.
struct TextRun {
    QString text;
    QFont font;
};

// A text label of a style: a list of runs placed in a frame with an alignment.
class MenuLabel {
public:
    enum class Anchor { TopLeft, BottomLeft, CenterLeft, Center };

    std::vector<TextRun> runs;
    QPointF origin; // the anchor point in the style's coordinates
    Anchor anchor = Anchor::TopLeft;
    qreal boxWidth = 0; // Center: the width the text is centred in (0: none)
    // Wider text is drawn narrowed to this width (0: no limit). Linux system faces run
    // wider than the narrow faces these layouts were made for.
    qreal maxWidth = 0;
    bool hidden = false;

    void setText(const QString& text, const QFont& font) { runs = {TextRun{text, font}}; }
    QString text() const;
    // Width and height the text needs.
    QSizeF fittingSize() const;
    // The rectangle the text occupies.
    QRectF frame() const;
    void paint(QPainter& p, const QColor& colour) const;
};
