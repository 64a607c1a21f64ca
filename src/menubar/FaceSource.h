#pragma once

#include <QString>

class QPainter;

// Something a panel can show as an item's face: a drawing of faceLength() x 22 points and
// its plain-text form. The drawing uses NetMenuBox::labelColor() for its text, so a face can
// be drawn in any panel's text colour (see FaceRenderer).
class FaceSource {
public:
    virtual ~FaceSource() = default;
    virtual double faceLength() const = 0;
    virtual void drawFace(QPainter& p) const = 0;
    virtual QString faceText() const = 0;
    // A text that changes whenever the drawing would; empty when only a drawing tells.
    // Equal keys let a host's face be kept without drawing it again.
    virtual QString faceKey() const { return {}; }
};
