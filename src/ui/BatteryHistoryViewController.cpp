#include "BatteryHistoryViewController.h"

#include "BatteryHistoryListView.h"
#include "PageSegmentedControl.h"
#include "menubar/MenuDrawing.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QLabel>

namespace {

constexpr int kSide = 15;
constexpr int kChartHeight = 150;

void paintSecondary(QLabel* label) {
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, DynamicColor::dynamicSecondaryTextColor());
    label->setPalette(palette);
}

} // namespace

BatteryHistoryViewController::BatteryHistoryViewController(BatteryHealthLogger* logger,
                                                           BatteryHistoryChartView::DayClock clock,
                                                           QWidget* parent)
    : TransitionController(parent), logger_(logger ? logger : &BatteryHealthLogger::shared()),
      segmentedControl_(new PageSegmentedControl(
          {Language::getLocalizedString(QStringLiteral("batteryHistory.segments.day")),
           Language::getLocalizedString(QStringLiteral("batteryHistory.segments.week")),
           Language::getLocalizedString(QStringLiteral("batteryHistory.segments.month")),
           Language::getLocalizedString(QStringLiteral("batteryHistory.segments.year"))},
          this)),
      chartView_(new BatteryHistoryChartView(std::move(clock), this)),
      separator_(new QWidget(this)), collectionView_(new BatteryHistoryListView(this)),
      emptyView_(new QLabel(Language::getLocalizedString(QStringLiteral("common.noData")), this)) {
    setObjectName(QStringLiteral("BatteryHistoryViewController"));
    setTitle(Language::getLocalizedString(QStringLiteral("batteryHistory.title")));
    segmentedControl_->selectionHandler = [this](int index) {
        if (auto range = BatteryHistoryChartView::timeRange(index))
            selectRange(*range);
    };
    collectionView_->deleteHandler = [this](int row) { deleteRow(row); };
    separator_->setAutoFillBackground(true);
    emptyView_->setAlignment(Qt::AlignCenter);
    emptyView_->setFont(MenuDrawing::systemFont(15, QFont::Bold));
    const auto applyAppearance = [this] {
        paintSecondary(emptyView_);
        QPalette palette = separator_->palette();
        palette.setColor(QPalette::Window, DynamicColor::dynamicSeparatorColor());
        separator_->setPalette(palette);
    };
    applyAppearance();
    DynamicAppearance::addChanged(this,
                                  [applyAppearance](const Notification&) { applyAppearance(); });
    reloadItems();
}

void BatteryHistoryViewController::reloadItems() {
    items_ = logger_->items();
    reloadViews();
}

void BatteryHistoryViewController::reloadViews() {
    collectionView_->setItems(items_);
    emptyView_->setVisible(items_.empty());
    selectRange(BatteryHistoryChartView::TimeRange(segmentedControl_->selectedIndex()));
}

void BatteryHistoryViewController::selectRange(BatteryHistoryChartView::TimeRange range) {
    segmentedControl_->setSelectedIndex(int(range));
    chartView_->reload(range, items_);
}

void BatteryHistoryViewController::deleteRow(int row) {
    if (row < 0 || size_t(row) >= items_.size())
        return;
    const size_t index = items_.size() - 1 - size_t(row);
    logger_->deleteItemAt(int64_t(index));
    items_.erase(items_.begin() + ptrdiff_t(index));
    reloadViews();
}

void BatteryHistoryViewController::layoutContent() {
    const QRect area = contentRect();
    int y = area.top() + 4;
    segmentedControl_->setGeometry(kSide, y, area.width() - 2 * kSide,
                                   PageSegmentedControl::kHeight);
    y += PageSegmentedControl::kHeight + 4;
    chartView_->setGeometry(0, y, area.width(), kChartHeight);
    y += kChartHeight;
    separator_->setGeometry(0, y, area.width(), 1);
    const QRect list(0, y + 1, area.width(), std::max(0, area.bottom() + 1 - y - 1));
    collectionView_->setGeometry(list);
    emptyView_->setGeometry(list);
}
