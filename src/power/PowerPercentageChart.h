#pragma once

#include <nlohmann/json.hpp>

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

// The chart model of the last 48 hours of battery percentage: one bar per ten-minute point,
// the charge and discharge stretches with their labels, and the drawing.

// One bar.
struct Atom {
    int64_t percentage = 100;
    double timeInterval = 0; // the point's "Time"
    bool isFake = true;
    bool isCharging = false;
    bool operator==(const Atom&) const = default;
};

// A charge or discharge stretch over atoms startIndex..endIndex (inclusive).
struct AtomRange {
    int64_t startIndex = 0;
    int64_t endIndex = 0;
    bool isCharging = false;       // the percentage rose
    double timeInterval = 0;       // seconds, from the untrimmed run
    int64_t changedPercentage = 0; // negative for a discharge, from the untrimmed run
    bool operator==(const AtomRange&) const = default;
};

// A hover target produced by drawing.
struct TrackableRect {
    QRectF frame;
    QColor textColor;
    std::optional<QString> text;
};

namespace PowerPercentageChart {

inline constexpr int kChartPoints = 288; // 48 hours
inline constexpr int kMinimumRunLength = 5;
inline constexpr double kTopMargin = 20;
inline constexpr double kRangeStrip = 20;
inline constexpr double kAxisHeight = 16;

// The last 288 atoms of 288 placeholders followed by every decodable point of the dataset.
std::vector<Atom> atoms(const std::vector<nlohmann::json>& dataset);
// Charge and discharge stretches of at least five real atoms that changed the percentage.
std::vector<AtomRange> ranges(const std::vector<Atom>& atoms);
// "2.5h 30%".
QString rangeLabel(const AtomRange& range);
// The localized "common.LASTHOURS" with "{count}" replaced by 48.
QString chartTitle();

struct Style {
    QColor fakeBarColor; // the palette's battery stock line colour
    QColor guideColor;   // guide lines
    QColor labelColor;   // time labels and range labels
};
// The bar colour of one atom.
QColor barColor(const Atom& atom, const QColor& fakeBarColor);
// Draws atoms and ranges into image (its size is the chart's content size) and returns one
// hover rectangle per bar, in atom order.
std::vector<TrackableRect> draw(QImage& image, const std::vector<Atom>& atoms,
                                const std::vector<AtomRange>& ranges, const Style& style);

} // namespace PowerPercentageChart
