// Sparkline geometry, scaling factors and the stored series.
#include "menubar/StockView_T.h"
#include "settings/SettingsDomain.h"

#include <gtest/gtest.h>

namespace {

std::unique_ptr<StockView_T> view(const QString& name, size_t length,
                                  QRectF frame = {0, 0, 100, 20}) {
    auto v = std::make_unique<StockView_T>(name);
    v->length = length;
    v->setFrame(frame);
    return v;
}

double peakHeightFraction(StockView_T& v) {
    const auto paths = v.currentPaths();
    double minY = 1e9;
    for (const QPointF& p : paths.points)
        minY = std::min(minY, p.y());
    return (v.frame().height() - minY) / v.frame().height();
}

TEST(Sparkline, AllZerosDrawFlatLineAtHalfHeightWithLowerHalfFilled) {
    auto v = view("", 5);
    EXPECT_FALSE(v->hasDrawn());
    v->append(0);
    EXPECT_TRUE(v->hasDrawn());
    const auto p = v->currentPaths();
    ASSERT_TRUE(p.flat);
    ASSERT_EQ(p.points.size(), 2u);
    EXPECT_EQ(p.points[0], QPointF(0, 10));
    EXPECT_EQ(p.points[1], QPointF(100, 10));
    EXPECT_EQ(p.fill.boundingRect(), QRectF(0, 10, 100, 10));
}

TEST(Sparkline, ScalingFactorSwitchesAt32And64) {
    const struct {
        uint64_t peak;
        double fraction;
    } cases[] = {{1, 0.3}, {32, 0.3}, {33, 0.5}, {64, 0.5}, {65, 0.7}, {100000, 0.7}};
    for (const auto& c : cases) {
        auto v = view("", 4);
        v->append(0);
        v->append(c.peak);
        EXPECT_NEAR(peakHeightFraction(*v), c.fraction, 1e-9) << c.peak;
        // A zero value sits 10% above the bottom edge.
        EXPECT_NEAR(v->currentPaths().points.front().y(), 18.0, 1e-9);
    }
}

TEST(Sparkline, WithoutAutoAdjustPeakReachesAboveTopAndCeilingOverrides) {
    auto v = view("", 3);
    v->wantsAutoAdjustData = false;
    v->append(10);
    EXPECT_NEAR(v->currentPaths().points.back().y(), 20 - 1.1 * 20, 1e-9);
    auto fixedCeiling = view("", 3);
    fixedCeiling->maxDataValue = 100;
    for (int i = 0; i < 3; ++i)
        fixedCeiling->append(50);
    // ceiling 100 > 64: k = 0.6, so 0.1 + 0.6 * 0.5 of the height.
    EXPECT_NEAR(peakHeightFraction(*fixedCeiling), 0.4, 1e-9);
    for (const QPointF& p : fixedCeiling->currentPaths().points)
        EXPECT_NEAR(p.y(), 12.0, 1e-9);
}

TEST(Sparkline, PointsSpreadEvenlyAndFillClosesAtBottom) {
    auto v = view("", 5);
    for (uint64_t x : {1, 2, 3, 4, 5})
        v->append(x);
    const auto p = v->currentPaths();
    ASSERT_EQ(p.points.size(), 5u);
    for (size_t i = 0; i < 5; ++i)
        EXPECT_DOUBLE_EQ(p.points[i].x(), 25.0 * static_cast<double>(i));
    EXPECT_DOUBLE_EQ(p.fill.boundingRect().bottom(), 20.0);
    EXPECT_EQ(v->data(), (std::vector<uint64_t>{1, 2, 3, 4, 5}));
}

TEST(Sparkline, StoredSeriesOfWrongLengthOrTypeIsIgnored) {
    auto& d = SettingsDomain::standard();
    d.setUnsignedList("test.spark.short", std::vector<uint64_t>(19, 7));
    EXPECT_EQ(view("test.spark.short", 20)->data(), std::vector<uint64_t>(20, 0));
    d.setValue("test.spark.mixed", nlohmann::json::array({1, -2, 3}));
    EXPECT_EQ(view("test.spark.mixed", 3)->data(), std::vector<uint64_t>(3, 0));
    d.setUnsignedList("test.spark.ok", {4, 5, 6});
    auto v = view("test.spark.ok", 3);
    EXPECT_EQ(v->data(), (std::vector<uint64_t>{4, 5, 6}));
    v->append(9);
    EXPECT_EQ(d.unsignedList("test.spark.ok"), (std::vector<uint64_t>{4, 5, 6}))
        << "appending does not store outside an extension";
    v->storeFrequencies();
    EXPECT_EQ(d.unsignedList("test.spark.ok"), (std::vector<uint64_t>{5, 6, 9}));
    auto unnamed = view("", 3);
    unnamed->append(1);
    unnamed->storeFrequencies();
    EXPECT_FALSE(d.contains(""));
}

TEST(Sparkline, EasingFollowsTheCurveEnds) {
    EXPECT_EQ(StockView_T::easing(0), 0);
    EXPECT_EQ(StockView_T::easing(1), 1);
    // Both control points sit at y = 1: the curve rises fast and is nearly done halfway.
    EXPECT_GT(StockView_T::easing(0.25), 0.7);
    EXPECT_LT(StockView_T::easing(0.25), StockView_T::easing(0.5));
    EXPECT_LE(StockView_T::easing(0.9), 1.0);
}

} // namespace
