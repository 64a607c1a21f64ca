#include "BatteryMenuBox.h"

#include "power/BatteryImage.h"
#include "settings/DynamicAppearance.h"

#include <QPainter>

#include <cmath>

int BatteryMenuBox::levelFor(int64_t p) {
    if (p >= 21)
        return p >= 96 ? 100 : int((p - 1) / 5) * 5 + 5; // 21-25: 25, 26-30: 30, ...
    if (p >= 11)
        return 20;
    if (p >= 1)
        return 10;
    return 0;
}

QString BatteryMenuBox::iconName(int64_t percentage, bool charging, bool dark) {
    return QStringLiteral("battery_%1%2%3")
        .arg(levelFor(percentage))
        .arg(dark ? QStringLiteral("_dark") : QStringLiteral("_light"))
        .arg(charging ? QStringLiteral("_charging") : QString());
}

void BatteryMenuBox::set(const State& state) {
    const bool widthChanges = state.showsPercentage != showsPercentage;
    if (state == state_ && !widthChanges)
        return;
    // The text stays as it was when the percentage is switched off; only the length changes.
    if (state.showsPercentage)
        label_.setText(QString::number(state.percentage) + QLatin1Char('%'),
                       MenuDrawing::appFont(11, QFont::Bold));
    state_ = state;
    showsPercentage = state.showsPercentage;
    if (widthChanges) {
        setWidth(defaultWidth());
        if (widthChangedHandler)
            widthChangedHandler(width());
    }
    requestRedraw();
}

QString BatteryMenuBox::percentageText() const {
    return label_.text();
}

QRectF BatteryMenuBox::pictureRect() const {
    const double top = (kMenuBarHeight - kPictureHeight) / 2;
    if (showsPercentage)
        return QRectF(width() - kPictureWidth, top, kPictureWidth, kPictureHeight);
    return QRectF((width() - kPictureWidth) / 2, top, kPictureWidth, kPictureHeight);
}

void BatteryMenuBox::drawPicture(QPainter& p, const QRectF& target, const State& state,
                                 const QColor& ink) {
    const bool dark = ink.lightnessF() > 0.5;
    const double level = levelFor(state.percentage);
    if (state.coloured) {
        BatteryImage::draw(p, target, level, state.charging, dark);
        return;
    }
    // A template picture: every part in the bar's text colour, keeping the parts' alpha; the
    // bolt is set off from the fill by a cleared rim.
    const qreal dpr = p.device() ? p.device()->devicePixelRatioF() : 1.0;
    QImage picture = toTintColor(BatteryImage::image(target.size(), dpr, level, false, dark), ink);
    if (state.charging) {
        QPainter q(&picture);
        q.setRenderHint(QPainter::Antialiasing, true);
        const QPainterPath bolt = BatteryImage::boltPath(
            BatteryImage::geometry(QRectF(QPointF(), target.size()), level).body);
        q.setCompositionMode(QPainter::CompositionMode_Clear);
        q.strokePath(bolt, QPen(Qt::black, 2.0));
        q.setCompositionMode(QPainter::CompositionMode_SourceOver);
        q.fillPath(bolt, ink);
    }
    p.drawImage(target.topLeft(), picture);
}

QImage BatteryMenuBox::squarePicture(int pixels, const QColor& colour, const State& state) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    const double w = pixels * 0.95;
    const double h = w * kPictureHeight / kPictureWidth;
    drawPicture(p, QRectF((pixels - w) / 2, (pixels - h) / 2, w, h), state, colour);
    return image;
}

void BatteryMenuBox::drawContent(QPainter& p) const {
    const QColor ink = labelColor();
    if (showsPercentage) {
        MenuLabel left = label_;
        left.anchor = MenuLabel::Anchor::CenterLeft;
        left.origin = QPointF(1, kMenuBarHeight / 2);
        left.maxWidth = width() - kPictureWidth - 3;
        left.paint(p, ink);
    }
    drawPicture(p, pictureRect(), state_, ink);
}

std::optional<std::vector<const MenuLabel*>> BatteryMenuBox::drawnLabels() const {
    // The picture is not a label, so only a drawing tells.
    return std::nullopt;
}
