#include "StorageMenuBox.h"

#include "platform/DecimalText.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "system/StorageUsageProvider.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

Storage::MenuBarStorageDisplayType Storage::displayTypeFromStored(int64_t stored) {
    return stored == 1 ? MenuBarStorageDisplayType::available : MenuBarStorageDisplayType::used;
}

Storage::Storage() {
    textLabel.anchor = MenuLabel::Anchor::Center;
    const auto readDisplay = [this] {
        storageDisplay = displayTypeFromStored(
            SettingsDomain::standard().integerValue(SettingsKey::WantsStorageMenuBarDisplay));
    };
    readDisplay();
    // The settings page posts the first; `lumenstat --set` and D-Bus SetValue the key.
    for (const char* name :
         {DisplayTypeDidChangeNotification, SettingsKey::WantsStorageMenuBarDisplay})
        NotificationCenter::defaultCenter().addObserver(this, QString::fromLatin1(name),
                                                        [this, readDisplay](const Notification&) {
                                                            readDisplay();
                                                            refresh(true);
                                                        });
    refresh(true);
}

void Storage::update(const ActivityObject&) {
    refresh(false);
}

std::optional<double> Storage::shownFraction() const {
    if (!readable_)
        return std::nullopt;
    return storageDisplay == MenuBarStorageDisplayType::available ? 1.0 - precentage : precentage;
}

void Storage::refresh(bool force) {
    const std::optional<double> used = StorageUsageProvider::usedFraction();
    const bool readable = used.has_value();
    const double f = used.value_or(0);
    if (!force && readable == readable_ && (!readable || f == precentage))
        return;
    readable_ = readable;
    precentage = f;
    const std::optional<double> shown = shownFraction();
    // A volume in use changes by a few bytes every second; what is drawn changes only with
    // the whole percent (rounded as the text rounds it, half to even).
    const int percent = shown ? static_cast<int>(std::nearbyint(*shown * 100)) : -1;
    if (!force && percent == shownPercent_)
        return;
    shownPercent_ = percent;
    const QString number = shown ? decimalText(*shown * 100, 0) : QStringLiteral("--");
    textLabel.runs = {{number, MenuDrawing::appFont(15, QFont::Bold)},
                      {QStringLiteral(" %"), MenuDrawing::appFont(8, QFont::Medium)}};
    ++labelWrites;
    adaptWidth();
    requestRedraw();
}

void Storage::adaptWidth() {
    const double fitting = textLabel.fittingSize().width();
    const double w =
        std::max(kDefaultWidth, std::isfinite(fitting) ? std::ceil(fitting + 4 + kRingBox) : 0.0);
    if (w == width())
        return;
    setWidth(w);
    if (widthChangedHandler)
        widthChangedHandler(w);
}

QPointF Storage::ringCentre() const {
    return QPointF(width() - kRingBox / 2, kMenuBarHeight / 2);
}

void Storage::drawContent(QPainter& p) const {
    const QColor ink = labelColor();
    MenuLabel centred = textLabel;
    centred.origin = QPointF((width() - kRingBox) / 2 + 1, kMenuBarHeight / 2);
    centred.paint(p, ink);

    p.save();
    p.setRenderHint(QPainter::Antialiasing, true);
    const QPointF c = ringCentre();
    QColor faint = ink;
    faint.setAlphaF(0.2f);
    p.setPen(QPen(faint, 3));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(c, kRingRadius, kRingRadius);
    const double shown = std::max(shownPercent_, 0) / 100.0;
    if (shown > 0) {
        // From the top, clockwise (Qt's angles run counter-clockwise from three o'clock).
        QPainterPath arc;
        const QRectF box(c.x() - kRingRadius, c.y() - kRingRadius, 2 * kRingRadius,
                         2 * kRingRadius);
        arc.arcMoveTo(box, 90);
        arc.arcTo(box, 90, -shown * 360);
        p.setPen(QPen(ink, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.drawPath(arc);
    }
    p.restore();
}
