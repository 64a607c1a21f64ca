// Sparkline geometry, scaling factors and the stored series.
#include "menubar/StockView_T.h"
#include "settings/SettingsDomain.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

// A 100 x 20 view of `length` values, fed with `values`.
std::unique_ptr<StockView_T> view(size_t length, std::vector<uint64_t> values = {},
                                  const QString& name = {}) {
    auto v = std::make_unique<StockView_T>(name);
    v->length = length;
    v->setFrame({0, 0, 100, 20});
    for (uint64_t x : values)
        v->append(x);
    return v;
}

double peakHeightFraction(StockView_T& v) {
    double minY = 1e9;
    for (const QPointF& p : v.currentPaths().points)
        minY = std::min(minY, p.y());
    return (20 - minY) / 20;
}

TEST(Sparkline, AllZerosDrawAFlatLineAtHalfHeightWithTheLowerHalfFilled) {
    auto v = view(5);
    EXPECT_FALSE(v->hasDrawn());
    v->append(0);
    EXPECT_TRUE(v->hasDrawn());
    const auto p = v->currentPaths();
    ASSERT_TRUE(p.flat);
    EXPECT_EQ(p.points, (std::vector<QPointF>{{0, 10}, {100, 10}}));
    EXPECT_EQ(p.fill.boundingRect(), QRectF(0, 10, 100, 10));
}

// The peak's height switches at 32 and 64; a zero sits 10 % above the bottom edge.
TEST(Sparkline, ScalingSpacingAndCeiling) {
    const std::pair<uint64_t, double> cases[] = {{1, 0.3},  {32, 0.3}, {33, 0.5},
                                                 {64, 0.5}, {65, 0.7}, {100000, 0.7}};
    for (const auto& [peak, fraction] : cases) {
        auto v = view(4, {0, 0, 0, peak});
        EXPECT_NEAR(peakHeightFraction(*v), fraction, 1e-9) << peak;
        EXPECT_NEAR(v->currentPaths().points.front().y(), 18.0, 1e-9);
        EXPECT_DOUBLE_EQ(v->currentPaths().points[1].x(), 100.0 / 3);
        EXPECT_DOUBLE_EQ(v->currentPaths().fill.boundingRect().bottom(), 20.0);
    }
    auto unscaled = view(3);
    unscaled->wantsAutoAdjustData = false;
    unscaled->append(10);
    EXPECT_NEAR(unscaled->currentPaths().points.back().y(), 20 - 1.1 * 20, 1e-9);
    auto ceiling = view(3);
    ceiling->maxDataValue = 100; // above 64: 0.1 + 0.6 * 50 / 100 of the height
    for (int i = 0; i < 3; ++i)
        ceiling->append(50);
    EXPECT_NEAR(peakHeightFraction(*ceiling), 0.4, 1e-9);
    EXPECT_EQ(std::tuple(StockView_T::easing(0), StockView_T::easing(1)), std::tuple(0.0, 1.0));
    EXPECT_GT(StockView_T::easing(0.25), 0.7) << "rises fast";
}

TEST(Sparkline, StoredSeriesOfWrongLengthOrTypeIsIgnored) {
    auto& d = SettingsDomain::standard();
    d.setUnsignedList("test.spark.short", std::vector<uint64_t>(19, 7));
    EXPECT_EQ(view(20, {}, "test.spark.short")->data(), std::vector<uint64_t>(20, 0));
    d.setValue("test.spark.mixed", nlohmann::json::array({1, -2, 3}));
    EXPECT_EQ(view(3, {}, "test.spark.mixed")->data(), std::vector<uint64_t>(3, 0));
    d.setUnsignedList("test.spark.ok", {4, 5, 6});
    auto v = view(3, {9}, "test.spark.ok");
    EXPECT_EQ(d.unsignedList("test.spark.ok"), (std::vector<uint64_t>{4, 5, 6}))
        << "appending does not store outside an extension";
    v->storeFrequencies();
    EXPECT_EQ(d.unsignedList("test.spark.ok"), (std::vector<uint64_t>{5, 6, 9}));
    view(3, {1})->storeFrequencies();
    EXPECT_FALSE(d.contains(""));
}

} // namespace
