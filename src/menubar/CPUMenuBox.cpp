#include "CPUMenuBox.h"

#include "settings/DynamicAppearance.h"
#include "system/CPUReader.h"

#include <QPainter>
#include <QPainterPath>

#include <charconv>
#include <cmath>

namespace {

constexpr double kStockLeft = 2;
constexpr double kTextLeft = kStockLeft + CPU::kStockWidth + 2;

// A whole unsigned decimal number, or 0 ("12.5", "--" and "" give 0).
uint64_t loadValue(const QString& text) {
    const QByteArray bytes = text.toLatin1();
    uint64_t value = 0;
    const auto r = std::from_chars(bytes.constData(), bytes.constData() + bytes.size(), value);
    if (r.ec != std::errc{} || r.ptr != bytes.constData() + bytes.size())
        return 0;
    return value;
}

} // namespace

std::function<QString()>& CPU::cpuTextSource() {
    static std::function<QString()> source = [] { return CPUReader::shared().cpuRate(); };
    return source;
}

CPU::CPU() {
    textLabel.anchor = MenuLabel::Anchor::Center;
    stockView.length = 12;
    stockView.cornerRadius = 4;
    stockView.setFrame(QRectF(kStockLeft, 2, kStockWidth, kMenuBarHeight - 4));
    connect(&stockView, &StockView_T::needsDisplay, this, &NetMenuBox::needsDisplay);
    textLabel.runs = {{QStringLiteral("--"), MenuDrawing::appFont(15, QFont::Bold)},
                      {QStringLiteral(" %"), MenuDrawing::appFont(8, QFont::Medium)}};
}

void CPU::update(const ActivityObject&) {
    reload();
}

void CPU::reload() {
    const QString text = cpuTextSource() ? cpuTextSource()() : QString();
    stockView.append(loadValue(text.isEmpty() ? QStringLiteral("0") : text));
    const QColor line = DynamicAppearance::shared().stockBlueColor();
    stockView.setLineColor(line);
    QColor background = line;
    background.setAlphaF(0.2);
    stockView.backgroundColor = background;
    // The sparkline moved; the label (and with it the width) only when the figure changed,
    // in the fonts the constructor chose.
    const QString figure = text.isEmpty() ? QStringLiteral("--") : text;
    if (textLabel.runs.size() == 2 && textLabel.runs[0].text != figure) {
        textLabel.runs[0].text = figure;
        adaptWidth();
    }
    requestRedraw();
}

void CPU::adaptWidth() {
    // Wider than the default only when the text needs it (a wide fall-back face).
    const double fitting = textLabel.fittingSize().width();
    const double w =
        std::max(kDefaultWidth, std::isfinite(fitting) ? std::ceil(kTextLeft + fitting + 2) : 0.0);
    if (w == width())
        return;
    setWidth(w);
    ++widthAnnouncements;
    if (widthChangedHandler)
        widthChangedHandler(w);
}

int CPU::gaugeTenths(uint64_t load) {
    return static_cast<int>(std::round(std::min<uint64_t>(load, 100) / 10.0));
}

QImage CPU::gaugePicture(int pixels, const QColor& colour, uint64_t load) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(pixels / 22.0, pixels / 22.0);
    const QRectF chip(4, 4, 14, 14);
    p.setPen(QPen(colour, 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(chip, 2.5, 2.5);
    // The chip's pins, three a side.
    for (int i = 0; i < 3; ++i) {
        const double at = 7 + i * 4;
        p.drawLine(QPointF(at, 1), QPointF(at, 4));
        p.drawLine(QPointF(at, 18), QPointF(at, 21));
        p.drawLine(QPointF(1, at), QPointF(4, at));
        p.drawLine(QPointF(18, at), QPointF(21, at));
    }
    const double tenths = gaugeTenths(load) / 10.0;
    const QRectF inside = chip.adjusted(2.5, 2.5, -2.5, -2.5);
    if (tenths > 0) {
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawRect(QRectF(inside.left(), inside.bottom() - inside.height() * tenths, inside.width(),
                          inside.height() * tenths));
    }
    return image;
}

void CPU::drawContent(QPainter& p) const {
    stockView.paintOnBackground(p);
    MenuLabel centred = textLabel;
    centred.origin = QPointF(kTextLeft + (width() - kTextLeft) / 2, kMenuBarHeight / 2);
    centred.paint(p, labelColor());
}
