// The battery history page: slots and the value axis per range, the list's figures, deletion
// through the log, the empty state.
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"
#include "support/TempDir.h"
#include "ui/BatteryHistoryListView.h"
#include "ui/BatteryHistoryViewController.h"
#include "ui/PageSegmentedControl.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>

#include <gtest/gtest.h>

namespace {

using Item = BatteryHealthLogger::Item;
using Range = BatteryHistoryChartView::TimeRange;
using Json = nlohmann::json;

const QDate kToday(2025, 6, 15);

Item item(const QString& date, int64_t full, int64_t design = 1000, int64_t cycle = 1) {
    return Item{date, cycle, full, design};
}

// The dates of the slots that found an entry, and the entries' dates.
std::vector<std::pair<QString, QString>>
filled(const std::vector<BatteryHistoryChartView::Atom>& a) {
    std::vector<std::pair<QString, QString>> out;
    for (const auto& atom : a)
        if (atom.item)
            out.emplace_back(atom.date.toString(Qt::ISODate), atom.item->date);
    return out;
}

TEST(BatteryHistoryChart, SlotsPerRangeEndTodayAndTakeTheEarliestEntryOfAMonthOrYear) {
    const std::vector<Item> log = {item("2023-02-01", 900), item("2025-03-03", 950),
                                   item("2025-03-20", 940), item("2025-03-17", 930),
                                   item("2025-06-08", 920), item("2025-06-09", 910),
                                   item("2025-06-15", 905), item("2020-12-31", 990)};
    struct Case {
        Range range;
        size_t count;
        QDate first;
        std::vector<std::pair<QString, QString>> filled;
    };
    // clang-format off
    const Case cases[] = {
        {Range::Day, 90, kToday.addDays(-89), {{"2025-03-20", "2025-03-20"},
         {"2025-06-08", "2025-06-08"}, {"2025-06-09", "2025-06-09"}, {"2025-06-15", "2025-06-15"}}},
        // 2025-06-08 is eight days back: outside the week.
        {Range::Week, 7, QDate(2025, 6, 9), {{"2025-06-09", "2025-06-09"},
         {"2025-06-15", "2025-06-15"}}},
        {Range::Month, 12, QDate(2024, 7, 15), {{"2025-03-15", "2025-03-03"},
         {"2025-06-15", "2025-06-08"}}},
        {Range::Year, 5, QDate(2021, 6, 15), {{"2023-06-15", "2023-02-01"},
         {"2025-06-15", "2025-03-03"}}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(int(c.range));
        const auto atoms = BatteryHistoryChartView::slotsFor(c.range, log, kToday);
        ASSERT_EQ(atoms.size(), c.count);
        EXPECT_EQ(atoms.front().date, c.first);
        EXPECT_EQ(atoms.back().date, kToday);
        EXPECT_EQ(filled(atoms), c.filled);
    }
    EXPECT_EQ(BatteryHistoryChartView::timeRange(3), Range::Year);
    EXPECT_FALSE(BatteryHistoryChartView::timeRange(4));
    EXPECT_FALSE(BatteryHistoryChartView::timeRange(-1));
}

TEST(BatteryHistoryChart, AxisStartsBelowTheSmallestShownHealth) {
    const std::pair<std::vector<int64_t>, int> cases[] = {
        {{850, 990}, 80}, {{801}, 80}, {{800}, 60}, {{750, 1200}, 60}, {{601}, 60},
        {{600}, 0},       {{550}, 0},  {{-20}, 0},  {{1500}, 80}};
    for (const auto& [capacities, anchor] : cases) {
        std::vector<Item> log;
        for (size_t i = 0; i < capacities.size(); ++i)
            log.push_back(item(kToday.addDays(-int(i)).toString(Qt::ISODate), capacities[i]));
        const auto atoms = BatteryHistoryChartView::slotsFor(Range::Week, log, kToday);
        EXPECT_EQ(BatteryHistoryChartView::minAnchorFor(atoms, 42), anchor) << capacities[0];
    }
    // Nothing in range: the axis stays where it was.
    const auto none =
        BatteryHistoryChartView::slotsFor(Range::Week, {item("2001-01-01", 500)}, kToday);
    EXPECT_EQ(BatteryHistoryChartView::minAnchorFor(none, 60), 60);
    EXPECT_EQ(BatteryHistoryChartView::health(item("x", 1200)), 1.0);
    EXPECT_EQ(BatteryHistoryChartView::health(item("x", -5)), 0.0);
}

TEST(BatteryHistoryList, FiguresAndTheirColours) {
    const QColor green = BatteryHistoryListView::healthColor(0.81);
    const QColor amber = BatteryHistoryListView::healthColor(0.8);
    const QColor red = BatteryHistoryListView::healthColor(0.7);
    EXPECT_NE(green, amber);
    EXPECT_NE(amber, red);
    EXPECT_EQ(BatteryHistoryListView::healthColor(0.71), amber);
    EXPECT_EQ(BatteryHistoryListView::healthColor(0), red);
    EXPECT_GT(green.green(), 2 * green.red());
    EXPECT_GT(red.red(), 2 * red.green());
    const std::pair<Item, QString> texts[] = {{item("d", 3812, 4000), "95.30%"},
                                              {item("d", 4100, 4000), "102.50%"},
                                              {item("d", -1, 4000), "0.00%"}};
    for (const auto& [it, text] : texts)
        EXPECT_EQ(BatteryHistoryListView::healthText(it), text);
    EXPECT_EQ(BatteryHistoryListView::cycleText(item("d", 1, 1, 312)), "312c");
}

struct PageFixture {
    TempDir dir;
    SettingsDomain group{dir.file("group.json")};
    std::unique_ptr<BatteryHealthLogger> log;
    std::unique_ptr<BatteryHistoryViewController> page;

    explicit PageFixture(const std::vector<Item>& items) {
        Json stored = Json::array();
        for (const Item& i : items)
            stored.push_back({{"date", i.date.toStdString()},
                              {"cycle", i.cycle},
                              {"fullCapacity", i.fullCapacity},
                              {"maxCapacity", i.maxCapacity}});
        group.setValue(SettingsKey::BatteryHealthData, stored);
        log = std::make_unique<BatteryHealthLogger>(&group);
        page = std::make_unique<BatteryHistoryViewController>(log.get(), [] { return kToday; });
        page->resize(272, 358);
        page->show();
    }
    std::vector<QString> storedDates() {
        std::vector<QString> out;
        const auto stored = group.array(SettingsKey::BatteryHealthData);
        for (const Json& e : *stored)
            out.push_back(QString::fromStdString(e["date"].get<std::string>()));
        return out;
    }
    void click(QWidget* w, QPoint at) {
        QMouseEvent press(QEvent::MouseButtonPress, at, w->mapToGlobal(at), Qt::LeftButton,
                          Qt::LeftButton, {});
        QMouseEvent release(QEvent::MouseButtonRelease, at, w->mapToGlobal(at), Qt::LeftButton, {},
                            {});
        QApplication::sendEvent(w, &press);
        QApplication::sendEvent(w, &release);
    }
};

TEST(BatteryHistoryPage, DeletingARowRemovesItsEntryFromLogListAndChart) {
    PageFixture f({item("2025-06-13", 950), item("2025-06-14", 940), item("2025-06-15", 930)});
    auto* list = f.page->collectionView();
    ASSERT_EQ(list->rowCount(), 3);
    EXPECT_EQ(list->itemAtRow(0).date, "2025-06-15");
    EXPECT_FALSE(f.page->emptyView()->isVisible());

    // The top row's button deletes the newest entry.
    f.click(list->viewport(), list->deleteButtonRect(0).center());
    EXPECT_EQ(f.storedDates(), (std::vector<QString>{"2025-06-13", "2025-06-14"}));
    EXPECT_EQ(list->rowCount(), 2);
    EXPECT_EQ(list->itemAtRow(0).date, "2025-06-14");
    EXPECT_FALSE(f.page->chartView()->data().back().item);

    // Outside the list: nothing.
    for (int row : {-1, 2, 9})
        f.page->deleteRow(row);
    EXPECT_EQ(f.page->items().size(), 2u);

    f.page->deleteRow(1); // the oldest
    EXPECT_EQ(f.storedDates(), std::vector<QString>{"2025-06-14"});
    f.page->deleteRow(0);
    EXPECT_TRUE(f.storedDates().empty());
    EXPECT_TRUE(f.page->chartView()->isEmptyData());
    EXPECT_TRUE(f.page->emptyView()->isVisible());
    EXPECT_EQ(list->rowCount(), 0);
}

// An empty log's page is the end of the deletion test above.
TEST(BatteryHistoryPage, RangeSwitchSetsTheSlotsAndTheAxis) {
    PageFixture f({item("2025-01-20", 600), item("2025-06-15", 900)});
    auto* segments = f.page->segmentedControl();
    ASSERT_EQ(segments->titles().size(), 4);
    f.click(segments, segments->segmentRect(2).center().toPoint());
    EXPECT_EQ(f.page->chartView()->timeRange(), Range::Month);
    EXPECT_EQ(f.page->chartView()->minAnchor(), 0);
    f.click(segments, segments->segmentRect(1).center().toPoint());
    EXPECT_EQ(f.page->chartView()->data().size(), 7u);
    EXPECT_EQ(f.page->chartView()->minAnchor(), 80);
}

} // namespace
