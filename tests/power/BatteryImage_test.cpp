// The drawn battery picture: the level share at its edges, the fill colour rule, and the
// pixels of the fill, the empty part and the charging bolt.
#include "power/BatteryImage.h"

#include <QImage>

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

TEST(BatteryImage, DrawsTheFillTheEmptyPartAndTheBolt) {
    const QSizeF size(60, 30);
    for (bool dark : {false, true}) {
        const QImage half = BatteryImage::image(size, 2, 50, false, dark);
        ASSERT_EQ(half.size(), QSize(120, 60));
        const BatteryImage::Geometry g = BatteryImage::geometry(QRectF(QPointF(), size), 50);
        const QPoint filled = (g.level.center() * 2).toPoint();
        const QPoint empty = (QPointF(g.inside.right() - 3, g.inside.center().y()) * 2).toPoint();
        EXPECT_EQ(half.pixelColor(filled).rgb(), BatteryImage::levelColor(50, false, dark).rgb());
        EXPECT_EQ(half.pixelColor(empty).alpha(), 0);
        // Charging: the bolt covers the middle of the body, in the appearance's ink.
        const QImage charging = BatteryImage::image(size, 2, 50, true, dark);
        EXPECT_EQ(charging.pixelColor((g.body.center() * 2).toPoint()).rgb(),
                  QColor(dark ? Qt::white : Qt::black).rgb());
        EXPECT_EQ(charging.pixelColor(empty).alpha(), 0);
    }
}

} // namespace
