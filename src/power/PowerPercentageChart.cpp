#include "PowerPercentageChart.h"

#include "settings/Language.h"

#include <QDateTime>
#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <cstdlib>

namespace PowerPercentageChart {

using Json = nlohmann::json;

std::vector<Atom> atoms(const std::vector<Json>& dataset) {
    std::vector<Atom> all(kChartPoints, Atom{});
    for (const Json& point : dataset) {
        if (!point.is_object())
            continue;
        auto cap = point.find("Cap");
        auto time = point.find("Time");
        auto fake = point.find("Fake");
        auto charging = point.find("Charging");
        if (cap == point.end() || time == point.end() || fake == point.end() ||
            charging == point.end())
            continue;
        if (!cap->is_number_integer() || !time->is_number_float() || !fake->is_boolean() ||
            !charging->is_boolean())
            continue;
        all.push_back(Atom{cap->get<int64_t>(), time->get<double>(), fake->get<bool>(),
                           charging->get<bool>()});
    }
    return std::vector<Atom>(all.end() - kChartPoints, all.end());
}

std::vector<AtomRange> ranges(const std::vector<Atom>& a) {
    enum class Direction { Flat, Falling, Rising };
    std::vector<AtomRange> out;
    const int64_t n = int64_t(a.size());
    int64_t i = 0;
    while (i < n) {
        if (!(i + 1 < n && !a[i].isFake && !a[i + 1].isFake)) {
            ++i;
            continue;
        }
        const int64_t s = a[i].percentage;
        Direction direction = Direction::Flat;
        int64_t previous = s;
        int64_t e = i;
        int64_t next = n;
        for (int64_t j = i + 1;; ++j) {
            const int64_t v = a[j].percentage;
            if (direction == Direction::Flat) {
                if (v < s)
                    direction = Direction::Falling;
                else if (v > s)
                    direction = Direction::Rising;
            } else if ((direction == Direction::Falling && v > previous) ||
                       (direction == Direction::Rising && v < previous)) {
                next = j; // this atom broke the direction and starts the next look
                break;
            }
            previous = v;
            e = j;
            if (j == n - 1 || a[j + 1].isFake) {
                next = j + 1;
                break;
            }
        }

        const int64_t length = e - i + 1;
        if (length >= kMinimumRunLength && a[e].percentage != s) {
            AtomRange r;
            r.timeInterval = a[e].timeInterval - a[i].timeInterval;
            r.changedPercentage = a[e].percentage - s;
            r.isCharging = direction == Direction::Rising;
            int64_t start = i;
            int64_t end = e;
            if (!r.isCharging) {
                // Skip most of a leading plateau at 100 %, keeping at least five atoms.
                if (s == 100 && e - i > 5 && a[i + 1].percentage == 100)
                    while (start + 1 <= e - 5 && a[start + 1].percentage == 100)
                        ++start;
            } else {
                // Likewise for a trailing plateau at 100 %.
                if (e - i > 5 && a[e].percentage == 100 && a[e - 1].percentage == 100)
                    while (end - 1 >= i + 5 && a[end - 1].percentage == 100)
                        --end;
            }
            r.startIndex = start;
            r.endIndex = end;
            out.push_back(r);
        }
        i = next;
    }
    return out;
}

QString rangeLabel(const AtomRange& range) {
    return QString::asprintf("%.1lf", range.timeInterval / 3600.0) + QStringLiteral("h ") +
           QString::number(std::llabs(range.changedPercentage)) + QStringLiteral("%");
}

QString chartTitle() {
    return Language::getLocalizedString(QStringLiteral("common.LASTHOURS"))
        .replace(QStringLiteral("{count}"), QStringLiteral("48"));
}

QColor barColor(const Atom& atom, const QColor& fakeBarColor) {
    if (atom.isFake)
        return fakeBarColor;
    if (atom.isCharging)
        return QColor::fromRgbF(34 / 255.0, 164 / 255.0, 50 / 255.0);
    if (atom.percentage < 31)
        return QColor::fromRgbF(255 / 255.0, 69 / 255.0, 58 / 255.0);
    if (atom.percentage == 100)
        return QColor::fromRgbF(12 / 255.0, 140 / 255.0, 123 / 255.0);
    return QColor::fromRgbF(239 / 255.0, 181 / 255.0, 13 / 255.0);
}

namespace {

// A lightning bolt filling rect, standing in for the charging mark.
void drawBolt(QPainter& p, const QRectF& rect, const QColor& colour) {
    QPainterPath bolt;
    const double x = rect.x(), y = rect.y(), w = rect.width(), h = rect.height();
    bolt.moveTo(x + w * 0.62, y);
    bolt.lineTo(x + w * 0.12, y + h * 0.58);
    bolt.lineTo(x + w * 0.48, y + h * 0.58);
    bolt.lineTo(x + w * 0.36, y + h);
    bolt.lineTo(x + w * 0.88, y + h * 0.40);
    bolt.lineTo(x + w * 0.52, y + h * 0.40);
    bolt.closeSubpath();
    p.fillPath(bolt, colour);
}

} // namespace

std::vector<TrackableRect> draw(QImage& image, const std::vector<Atom>& atoms,
                                const std::vector<AtomRange>& ranges, const Style& style) {
    std::vector<TrackableRect> rects;
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);

    const double width = image.width() / image.devicePixelRatioF();
    const double height = image.height() / image.devicePixelRatioF();
    const double plotTop = kTopMargin + (ranges.empty() ? 0 : kRangeStrip);
    const double plotBottom = height - kAxisHeight;
    const double plotHeight = std::max(0.0, plotBottom - plotTop);
    const int count = int(atoms.size());
    const double barWidth = (width - double(count - 1)) / double(std::max(count, 1));

    // Bars, bottom-aligned, one point apart. Whole pixels without antialiasing, copied in
    // (they never overlap), so each is one plain rectangle fill: an antialiased bar goes to
    // the raster engine as a batch of coverage spans, which it splits over its thread pool,
    // and 288 of those round trips cost the page more than the drawing itself.
    p.setPen(Qt::NoPen);
    p.setRenderHint(QPainter::Antialiasing, false);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    for (int k = 0; k < count; ++k) {
        const Atom& atom = atoms[size_t(k)];
        const double x = k * (barWidth + 1.0);
        const double barHeight = double(atom.percentage) / 100.0 * (plotHeight - 4.0);
        const QRectF frame(x, plotBottom - barHeight, barWidth, barHeight);
        const QColor colour = barColor(atom, style.fakeBarColor);
        p.fillRect(frame, colour);
        TrackableRect r{frame, colour, std::nullopt};
        if (!atom.isFake)
            r.text = Language::getLocalizedString(atom.isCharging
                                                      ? QStringLiteral("battery.charging")
                                                      : QStringLiteral("battery.notCharging")) +
                     QStringLiteral(": ") + QString::number(atom.percentage) + QStringLiteral("%");
        rects.push_back(r);
    }

    // Guide lines at the top of the plot and at its quarter heights, behind the bars.
    p.setRenderHint(QPainter::Antialiasing);
    p.setCompositionMode(QPainter::CompositionMode_DestinationOver);
    p.setPen(QPen(style.guideColor, 0.5));
    for (int q = 0; q < 4; ++q) {
        const double y = plotTop + plotHeight * q / 4.0;
        p.drawLine(QPointF(0, y), QPointF(width, y));
    }
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);

    // Nine time labels, six hours apart, ending at the newest point.
    double newest = 0;
    for (const Atom& atom : atoms)
        newest = std::max(newest, atom.timeInterval);
    if (newest <= 0)
        newest = double(QDateTime::currentSecsSinceEpoch());
    QFont small;
    small.setPointSizeF(8);
    p.setFont(small);
    p.setPen(style.labelColor);
    const QFontMetricsF metrics(small);
    for (int position = 0; position <= 8; ++position) {
        const double t = newest - double(8 - position) * 6 * 3600;
        const QString text =
            QDateTime::fromSecsSinceEpoch(qint64(t)).toString(QStringLiteral("d HH:00"));
        const double textWidth = metrics.horizontalAdvance(text);
        double x = width * position / 8.0 - textWidth / 2;
        x = std::clamp(x, 0.0, std::max(0.0, width - textWidth));
        p.drawText(QPointF(x, height - 4), text);
    }

    // Each range: a 4-point bar over its atoms, split around its label in the middle.
    for (const AtomRange& range : ranges) {
        const double left = double(range.startIndex) * (barWidth + 1.0);
        const double right = double(range.endIndex) * (barWidth + 1.0) + barWidth;
        const double barY = kTopMargin + (kRangeStrip - 4) / 2;
        const QColor colour = range.isCharging
                                  ? QColor::fromRgbF(34 / 255.0, 164 / 255.0, 50 / 255.0)
                                  : QColor::fromRgbF(239 / 255.0, 181 / 255.0, 13 / 255.0);
        const QString label = rangeLabel(range);
        const double boltWidth = range.isCharging ? 8 : 0;
        const double gap = metrics.horizontalAdvance(label) + boltWidth + 8;
        const double middle = (left + right) / 2;
        const double gapLeft = std::max(left, middle - gap / 2);
        const double gapRight = std::min(right, middle + gap / 2);
        p.fillRect(QRectF(left, barY, std::max(0.0, gapLeft - left), 4), colour);
        p.fillRect(QRectF(gapRight, barY, std::max(0.0, right - gapRight), 4), colour);
        double textX = middle - gap / 2 + 4;
        if (range.isCharging) {
            drawBolt(p, QRectF(textX, barY - 3, 7, 10), colour);
            textX += boltWidth;
        }
        p.setPen(style.labelColor);
        p.drawText(QPointF(textX, barY + 5), label);
    }
    p.end();
    return rects;
}

} // namespace PowerPercentageChart
