// The battery picture's level share at its edges and the fill colour rule (the drawn pixels
// are checked through the battery item in tests/menubar/items_test.cpp).
#include "power/BatteryImage.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(BatteryImage, LevelFillsItsShareOfTheInsideAndTakesTheColourOfItsState) {
    const QRectF target(0, 0, 29.387755102040817, 15);
    const double inside = BatteryImage::geometry(target, 100).inside.width();
    const struct {
        double percentage;
        double share;
    } levels[] = {{0, 0}, {50, 0.5}, {100, 1}, {140, 1}, {-5, 0}, {NAN, 0}};
    for (const auto& row : levels)
        EXPECT_DOUBLE_EQ(BatteryImage::geometry(target, row.percentage).level.width(),
                         inside * row.share)
            << row.percentage;

    const QColor green(52, 199, 89), red(255, 59, 48);
    const struct {
        double percentage;
        bool charging, dark;
        QColor colour;
    } colours[] = {{10, true, false, green},
                   {20, false, true, red},
                   {21, false, true, Qt::white},
                   {21, false, false, Qt::black}};
    for (const auto& row : colours)
        EXPECT_EQ(BatteryImage::levelColor(row.percentage, row.charging, row.dark), row.colour)
            << row.percentage;
}

} // namespace
