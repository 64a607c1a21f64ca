#include "power/PowerPercentageChart.h"
#include "settings/Language.h"

#include <gtest/gtest.h>

using Json = nlohmann::json;
using namespace PowerPercentageChart;

namespace {

// Real atoms ten minutes apart with the given percentages.
std::vector<Atom> real(std::initializer_list<int> values, bool charging = false) {
    std::vector<Atom> out;
    double t = 1000;
    for (int v : values) {
        out.push_back(Atom{v, t, false, charging});
        t += 600;
    }
    return out;
}

Atom fake() {
    return Atom{};
}

Json point(int cap, double time, bool isFake = false, bool charging = false) {
    return Json{{"Cap", cap}, {"Time", time}, {"Fake", isFake}, {"Charging", charging}};
}

} // namespace

TEST(PowerPercentageAtoms, PaddedDecodedAndCut) {
    std::vector<Json> data = {point(50, 10.0), point(60, 20.0, false, true)};
    auto atoms = PowerPercentageChart::atoms(data);
    ASSERT_EQ(atoms.size(), 288u);
    EXPECT_EQ(atoms[0], (Atom{100, 0, true, false}));
    EXPECT_EQ(atoms[286], (Atom{50, 10.0, false, false}));
    EXPECT_EQ(atoms[287], (Atom{60, 20.0, false, true}));

    // Points that do not decode are skipped, not padded.
    data.push_back(Json{{"Cap", 70}, {"Time", 30.0}, {"Fake", false}}); // no "Charging"
    data.push_back(point(71, 40.0));
    data.back()["Time"] = 40; // integer time
    data.push_back(Json{{"Cap", 72.5}, {"Time", 50.0}, {"Fake", false}, {"Charging", false}});
    data.push_back(Json::array());
    data.push_back(point(73, 60.0));
    atoms = PowerPercentageChart::atoms(data);
    EXPECT_EQ(atoms[287].percentage, 73);
    EXPECT_EQ(atoms[286].percentage, 60);

    std::vector<Json> long_;
    for (int k = 0; k < 1008; ++k)
        long_.push_back(point(k % 101, double(k)));
    atoms = PowerPercentageChart::atoms(long_);
    ASSERT_EQ(atoms.size(), 288u);
    EXPECT_EQ(atoms.front().timeInterval, 720.0);
    EXPECT_EQ(atoms.back().timeInterval, 1007.0);
}

TEST(PowerPercentageRanges, DischargeEndsWhereThePercentageRises) {
    auto a = real({80, 79, 78, 77, 76, 77, 78, 79, 80, 81});
    const auto r = ranges(a);
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0], (AtomRange{0, 4, false, 4 * 600.0, -4}));
    // The next run starts at the atom that broke the fall.
    EXPECT_EQ(r[1], (AtomRange{5, 9, true, 4 * 600.0, 4}));
}

TEST(PowerPercentageRanges, FullPlateausAreTrimmed) {
    const auto r = ranges(real({100, 100, 100, 100, 100, 100, 100, 95, 90}));
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].startIndex, 3);
    EXPECT_EQ(r[0].endIndex, 8);
    EXPECT_EQ(r[0].changedPercentage, -10);
    EXPECT_DOUBLE_EQ(r[0].timeInterval, 8 * 600.0); // from the untrimmed run

    // A shorter plateau stops at its last 100.
    const auto s = ranges(real({100, 100, 99, 98, 97, 96, 95, 94}));
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(s[0].startIndex, 1);
    // Six atoms only (e - i = 5): no trimming at all.
    const auto t = ranges(real({100, 100, 100, 100, 100, 90}));
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].startIndex, 0);

    // A charge ends at its first 100, never closer than five atoms after the start.
    const auto c = ranges(real({90, 92, 94, 96, 98, 100, 100, 100, 100}, true));
    ASSERT_EQ(c.size(), 1u);
    EXPECT_EQ(c[0], (AtomRange{0, 5, true, 8 * 600.0, 10}));
    const auto d = ranges(real({95, 100, 100, 100, 100, 100, 100, 100}, true));
    ASSERT_EQ(d.size(), 1u);
    EXPECT_EQ(d[0].endIndex, 5);
}

TEST(PowerPercentageRanges, ShortFlatAndInterruptedRuns) {
    EXPECT_TRUE(ranges(real({80, 79, 78, 77})).empty());             // four atoms
    EXPECT_TRUE(ranges(real({50, 50, 50, 50, 50, 50, 50})).empty()); // no change
    // Equal values never end a run.
    const auto plateau = ranges(real({60, 60, 59, 59, 59, 58}));
    ASSERT_EQ(plateau.size(), 1u);
    EXPECT_EQ(plateau[0].changedPercentage, -2);
    EXPECT_EQ(plateau[0].endIndex, 5);

    // A placeholder splits runs.
    auto a = real({80, 79, 78});
    a.push_back(fake());
    for (const Atom& x : real({77, 76, 75, 74, 73}))
        a.push_back(x);
    const auto r = ranges(a);
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].startIndex, 4);
    EXPECT_EQ(r[0].endIndex, 8);

    std::vector<Atom> fakes(10, fake());
    EXPECT_TRUE(ranges(fakes).empty());
    EXPECT_TRUE(ranges({}).empty());

    EXPECT_EQ(rangeLabel(AtomRange{0, 5, false, 9000, -30}), "2.5h 30%");
    EXPECT_EQ(rangeLabel(AtomRange{0, 5, true, 0, 0}), "0.0h 0%");
    EXPECT_FALSE(chartTitle().contains("{count}"));
    EXPECT_TRUE(chartTitle().contains("48"));
}

TEST(PowerPercentageDrawing, BarsColoursAndHoverTargets) {
    std::vector<Atom> a(288, fake());
    const auto tail = real({100, 50, 31, 30});
    std::copy(tail.begin(), tail.end(), a.end() - 4);
    a[283] = Atom{40, 1.0, false, true};
    const Style style{QColor(128, 128, 128), QColor(200, 200, 200), QColor(0, 0, 0)};

    QImage image(1200, 112, QImage::Format_ARGB32_Premultiplied);
    auto rects = draw(image, a, {}, style);
    ASSERT_EQ(rects.size(), 288u);
    const double barWidth = (1200.0 - 287) / 288;
    EXPECT_DOUBLE_EQ(rects[1].frame.x(), barWidth + 1);
    EXPECT_DOUBLE_EQ(rects[1].frame.width(), barWidth);
    // Without ranges the plot spans 20 .. 96: a 50 % bar is half of (76 - 4).
    EXPECT_DOUBLE_EQ(rects[285].frame.height(), 36.0);
    EXPECT_DOUBLE_EQ(rects[285].frame.bottom(), 96.0);
    EXPECT_EQ(rects[284].textColor, QColor::fromRgbF(12 / 255.0, 140 / 255.0, 123 / 255.0));
    // 31 % is the lowest amber bar, 30 % the highest red one.
    EXPECT_EQ(rects[286].textColor, QColor::fromRgbF(239 / 255.0, 181 / 255.0, 13 / 255.0));
    EXPECT_EQ(rects[287].textColor, QColor::fromRgbF(255 / 255.0, 69 / 255.0, 58 / 255.0));
    EXPECT_EQ(rects[283].textColor, QColor::fromRgbF(34 / 255.0, 164 / 255.0, 50 / 255.0));
    EXPECT_EQ(rects[0].textColor, style.fakeBarColor);
    EXPECT_FALSE(rects[0].text.has_value());
    EXPECT_EQ(rects[285].text, Language::getLocalizedString("battery.notCharging") + ": 50%");
    EXPECT_EQ(rects[283].text, Language::getLocalizedString("battery.charging") + ": 40%");
    // The drawn pixels are the bar's colour.
    const QPoint inside = rects[285].frame.center().toPoint();
    EXPECT_EQ(QColor(image.pixel(inside)).rgb(), rects[285].textColor.rgb());

    // With ranges a marker strip pushes the plot down by 20 points.
    auto withRanges = draw(image, a, {AtomRange{0, 5, false, 3000, -5}}, style);
    EXPECT_DOUBLE_EQ(withRanges[285].frame.height(), 26.0);
    EXPECT_DOUBLE_EQ(withRanges[285].frame.top(), 96.0 - 26.0);
}
