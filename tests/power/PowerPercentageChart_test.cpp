#include "power/PowerPercentageChart.h"
#include "settings/Language.h"

#include <QSet>

#include <gtest/gtest.h>

using Json = nlohmann::json;
using namespace PowerPercentageChart;

namespace {

// Real atoms ten minutes apart with the given percentages; -1 stands for a placeholder.
std::vector<Atom> atomsOf(std::vector<int> values) {
    std::vector<Atom> out;
    double t = 1000;
    for (int v : values) {
        out.push_back(v < 0 ? Atom{} : Atom{v, t, false, false});
        t += 600;
    }
    return out;
}

Json point(Json cap, Json time, bool charging = false) {
    return Json{{"Cap", cap}, {"Time", time}, {"Fake", false}, {"Charging", charging}};
}

} // namespace

TEST(PowerPercentageAtoms, PaddedDecodedAndCut) {
    // Points that do not decode are skipped, not padded: no "Charging", an integer time, a
    // fractional percentage, not a dictionary.
    Json noCharging = point(70, 30.0);
    noCharging.erase("Charging");
    auto atoms = PowerPercentageChart::atoms({point(50, 10.0), point(60, 20.0, true), noCharging,
                                              point(71, 40), point(72.5, 50.0), Json::array()});
    ASSERT_EQ(atoms.size(), 288u);
    EXPECT_EQ(atoms[0], (Atom{100, 0, true, false}));
    EXPECT_EQ(atoms[286], (Atom{50, 10.0, false, false}));
    EXPECT_EQ(atoms[287], (Atom{60, 20.0, false, true}));

    std::vector<Json> week;
    for (int k = 0; k < 1008; ++k)
        week.push_back(point(k % 101, double(k)));
    atoms = PowerPercentageChart::atoms(week);
    ASSERT_EQ(atoms.size(), 288u);
    EXPECT_EQ(atoms.front().timeInterval, 720.0);
    EXPECT_EQ(atoms.back().timeInterval, 1007.0);
}

TEST(PowerPercentageRanges, Runs) {
    const std::pair<std::vector<int>, std::vector<AtomRange>> rows[] = {
        // A discharge ends where the percentage rises; that atom starts the next run.
        {{80, 79, 78, 77, 76, 77, 78, 79, 80, 81},
         {{0, 4, false, 2400, -4}, {5, 9, true, 2400, 4}}},
        // A leading plateau at 100 is trimmed to its last 100, keeping five atoms after it;
        // time and change come from the untrimmed run.
        {{100, 100, 100, 100, 100, 100, 100, 95, 90}, {{3, 8, false, 4800, -10}}},
        {{100, 100, 99, 98, 97, 96, 95, 94}, {{1, 7, false, 4200, -6}}},
        {{100, 100, 100, 100, 100, 90}, {{0, 5, false, 3000, -10}}},
        // A charge ends at its first 100, never closer than five atoms after the start.
        {{90, 92, 94, 96, 98, 100, 100, 100, 100}, {{0, 5, true, 4800, 10}}},
        {{95, 100, 100, 100, 100, 100, 100, 100}, {{0, 5, true, 4200, 5}}},
        // Equal values never end a run; four atoms or no change make no run.
        {{60, 60, 59, 59, 59, 58}, {{0, 5, false, 3000, -2}}},
        {{80, 79, 78, 77}, {}},
        {{50, 50, 50, 50, 50, 50, 50}, {}},
        // A placeholder splits runs.
        {{80, 79, 78, -1, 77, 76, 75, 74, 73}, {{4, 8, false, 2400, -4}}},
        {std::vector<int>(10, -1), {}},
        {{}, {}},
    };
    for (const auto& [values, expected] : rows)
        EXPECT_EQ(ranges(atomsOf(values)), expected) << ::testing::PrintToString(values);

    EXPECT_EQ(rangeLabel(AtomRange{0, 5, false, 9000, -30}), "2.5h 30%");
    EXPECT_TRUE(chartTitle().contains("48") && !chartTitle().contains("{count}"));
}

TEST(PowerPercentageDrawing, BarsColoursAndHoverTargets) {
    std::vector<Atom> a(288, Atom{});
    const auto tail = atomsOf({100, 50, 31, 30});
    std::copy(tail.begin(), tail.end(), a.end() - 4);
    a[283] = Atom{40, 1.0, false, true};
    const Style style{QColor(128, 128, 128), QColor(200, 200, 200), QColor(0, 0, 0)};

    QImage image(1200, 112, QImage::Format_ARGB32_Premultiplied);
    auto rects = draw(image, a, {}, style);
    ASSERT_EQ(rects.size(), 288u);
    // Bars one point apart fill the width; a 50 % bar is half the height of a full one.
    EXPECT_DOUBLE_EQ(rects[1].frame.left(), rects[0].frame.right() + 1);
    EXPECT_NEAR(rects[287].frame.right(), 1200.0, 1e-9);
    EXPECT_DOUBLE_EQ(rects[285].frame.height() * 2, rects[284].frame.height());
    EXPECT_DOUBLE_EQ(rects[285].frame.bottom(), rects[0].frame.bottom());
    // Placeholder, charging, full, 31 % and above, 30 % and below: five colours.
    auto colour = [&](int k) { return rects[size_t(k)].textColor.rgb(); };
    EXPECT_EQ(colour(285), colour(286));
    EXPECT_EQ((QSet<QRgb>{colour(0), colour(283), colour(284), colour(285), colour(287)}).size(),
              5);
    EXPECT_EQ(colour(0), style.fakeBarColor.rgb());
    EXPECT_FALSE(rects[0].text.has_value());
    EXPECT_EQ(rects[285].text, Language::getLocalizedString("battery.notCharging") + ": 50%");
    EXPECT_EQ(rects[283].text, Language::getLocalizedString("battery.charging") + ": 40%");
    EXPECT_EQ(QColor(image.pixel(rects[285].frame.center().toPoint())).rgb(), colour(285));

    // With ranges a marker strip pushes the plot's top down, not its bottom.
    auto withRanges = draw(image, a, {AtomRange{0, 5, false, 3000, -5}}, style);
    EXPECT_LT(withRanges[285].frame.height(), rects[285].frame.height());
    EXPECT_DOUBLE_EQ(withRanges[285].frame.bottom(), rects[285].frame.bottom());
}
