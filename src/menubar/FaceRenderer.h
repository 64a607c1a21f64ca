#pragma once

#include <QImage>
#include <QRgb>
#include <QString>

#include <optional>

class FaceSource;

// One rendering of a face for a panel.
struct FaceImage {
    int width = 0;  // device-independent pixels
    int height = 0; // device-independent pixels
    QImage image;   // ARGB32 premultiplied, ceil(width * scale) x ceil(height * scale)
    QString text;

    bool samePicture(const FaceImage& other) const {
        return width == other.width && height == other.height && image == other.image;
    }
};

// Draws faces at a panel's thickness, pixel ratio and text colour.
namespace FaceRenderer {
// Thickness and pixel ratio a host may ask for.
inline constexpr int kMinHeight = 8;
inline constexpr int kMaxHeight = 512;
inline constexpr double kMaxScale = 8.0;
bool validRequest(int height, double scale);

// The face at its natural 22 point height when the panel has room, scaled down to height
// below that. colour is 0xAARRGGBB; a colour with alpha 0 leaves the desktop scheme's colour.
FaceImage render(const FaceSource& source, int height, double scale, QRgb colour);
} // namespace FaceRenderer
