#include "NetAppViewController.h"

#include "NetAppListView.h"
#include "NetAppToggleView.h"
#include "NetAppWelcomeView.h"
#include "PageSegmentedControl.h"
#include "TitleView.h"
#include "appusage/AppUsageReport.h"
#include "appusage/NetAppProvider.h"
#include "appusage/NettopScriptRunner.h"
#include "menubar/MenuDrawing.h"
#include "network/DataUsageProvider.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QAbstractButton>

#include <QLabel>
#include <QTimer>

int NetAppViewController::switchLockMilliseconds = 1000;

namespace {

constexpr int kSide = 15;
constexpr int kSegmentsTop = 56;
constexpr int kListTop = 240;

} // namespace

NetAppPageSources NetAppPageSources::system() {
    NetAppPageSources s;
    s.loadSnapshot = [](Completion done) { DataProvider::shared().loadSnapshot(std::move(done)); };
    s.lastLoadedTime = [] { return DataProvider::shared().lastLoadedTime(); };
    s.isRunning = [] { return NettopScriptRunner::shared().isRunning(); };
    s.canRunScript = [] { return NettopScriptRunner::shared().canRunScript(); };
    s.startTracking = [](std::function<void()> launched) {
        NetAppProvider::shared().startTrackingWithTaskLaunchedHandler(std::move(launched));
    };
    s.pauseTracking = [] { NetAppProvider::shared().pauseTracking(); };
    s.iconName = [](const QString& bundleIdentifier) {
        return NetAppProvider::shared().iconName(bundleIdentifier);
    };
    s.notAttributed = [](NetAppChartView::DateRange range, const DataSnapshot& snapshot) {
        const auto report = AppUsageReport::make(range == NetAppChartView::DateRange::Week
                                                     ? AppUsageReport::Period::Week
                                                     : AppUsageReport::Period::Today,
                                                 snapshot, DataUsageProvider::shared());
        return std::optional<int64_t>(report.notAttributed.bytesIn + report.notAttributed.bytesOut);
    };
    return s;
}

NetAppViewController::NetAppViewController(NetAppPageSources sources, QWidget* parent)
    : TransitionController(parent), sources_(std::move(sources)),
      segmentedControl_(new PageSegmentedControl(
          {Language::getLocalizedString(QStringLiteral("dataUsage.segments.today")),
           Language::getLocalizedString(QStringLiteral("dataUsage.segments.week"))},
          this)),
      separator_(new QWidget(this)), collectionView_(new NetAppListView(sources_.iconName, this)),
      chartView_(new NetAppChartView(this)), emptyView_(new QLabel(this)),
      toggleView_(new NetAppToggleView(this)) {
    setObjectName(QStringLiteral("NetAppViewController"));
    setTitle(Language::getLocalizedString(QStringLiteral("dataUsage.name")));
    segmentedControl_->selectionHandler = [this](int index) {
        setDateRange(index == 0 ? DateRange::Day : DateRange::Week);
    };
    separator_->setAutoFillBackground(true);
    emptyView_->setAlignment(Qt::AlignCenter);
    emptyView_->setWordWrap(true);
    emptyView_->setFont(MenuDrawing::systemFont(20, QFont::Bold));
    const auto applyAppearance = [this] {
        QPalette palette = separator_->palette();
        palette.setColor(QPalette::Window, DynamicColor::dynamicSeparatorColor());
        separator_->setPalette(palette);
        palette = emptyView_->palette();
        palette.setColor(QPalette::WindowText, DynamicColor::dynamicSecondaryTextColor());
        emptyView_->setPalette(palette);
    };
    applyAppearance();
    DynamicAppearance::addChanged(this,
                                  [applyAppearance](const Notification&) { applyAppearance(); });
    connect(toggleView_, &NetAppToggleView::toggled, this, &NetAppViewController::toggleTracking);

    toggleView_->setRunning(sources_.isRunning && sources_.isRunning());
    const bool canRun = sources_.canRunScript && sources_.canRunScript();
    if (!(SettingsDomain::standard().boolValue(SettingsKey::AppDataUsageTrackWelcome) && canRun)) {
        welcomeView_ = new NetAppWelcomeView(canRun, this);
        connect(welcomeView_, &NetAppWelcomeView::dismissed, this, [] {
            SettingsDomain::standard().setBool(SettingsKey::AppDataUsageTrackWelcome, true);
        });
    }
    updateEmptyState();
    if (sources_.loadSnapshot) {
        QPointer<NetAppViewController> self(this);
        sources_.loadSnapshot([self](const DataSnapshot& snapshot) {
            if (self)
                self->snapshotDidLoad(snapshot);
        });
    }
}

void NetAppViewController::snapshotDidLoad(const DataSnapshot& snapshot) {
    dataSnapshot_ = snapshot;
    chartView_->setDataSnapshot(snapshot);
    chartView_->setLastLoadedTime(sources_.lastLoadedTime ? sources_.lastLoadedTime() : 0);
    chartView_->setNotAttributed(notAttributedBytes());
    reloadList();
    updateEmptyState();
}

void NetAppViewController::setDateRange(DateRange range) {
    dateRange_ = range;
    segmentedControl_->setSelectedIndex(range == DateRange::Day ? 0 : 1);
    chartView_->setDateRange(range);
    chartView_->setNotAttributed(notAttributedBytes());
    reloadList();
    updateEmptyState();
}

std::optional<int64_t> NetAppViewController::notAttributedBytes() const {
    if (!dataSnapshot_ || !sources_.notAttributed)
        return std::nullopt;
    return sources_.notAttributed(dateRange_, *dataSnapshot_);
}

void NetAppViewController::reloadList() {
    if (!dataSnapshot_) {
        collectionView_->setSections({}, {});
        return;
    }
    const bool week = dateRange_ == DateRange::Week;
    collectionView_->setSections(week ? dataSnapshot_->weekApps : dataSnapshot_->apps,
                                 week ? dataSnapshot_->weekOthers : dataSnapshot_->others);
}

void NetAppViewController::updateEmptyState() {
    emptyView_->setText(Language::getLocalizedString(
        dataSnapshot_ ? QStringLiteral("common.noData") : QStringLiteral("dataUsage.dataLoading")));
    bool empty = true;
    if (dataSnapshot_) {
        const bool week = dateRange_ == DateRange::Week;
        empty = (week ? dataSnapshot_->weekApps : dataSnapshot_->apps).empty() &&
                (week ? dataSnapshot_->weekOthers : dataSnapshot_->others).empty();
    }
    emptyView_->setVisible(empty);
    collectionView_->setVisible(!empty);
}

void NetAppViewController::toggleTracking() {
    QAbstractButton* control = toggleView_->toggleControl();
    if (!control->isEnabled())
        return;
    control->setEnabled(false);
    if (!(sources_.isRunning && sources_.isRunning())) {
        QPointer<NetAppViewController> self(this);
        if (sources_.startTracking)
            sources_.startTracking([self] {
                if (!self)
                    return;
                self->toggleView_->toggleControl()->setEnabled(false);
                self->toggleView_->animate();
            });
    } else {
        SettingsDomain::standard().setBool(SettingsKey::WantsAppDataUsageTracking, false);
        if (sources_.pauseTracking)
            sources_.pauseTracking();
    }
    unlockSwitchLater();
}

void NetAppViewController::unlockSwitchLater() {
    QTimer::singleShot(switchLockMilliseconds, this, [this] {
        toggleView_->toggleControl()->setEnabled(true);
        toggleView_->setRunning(sources_.isRunning && sources_.isRunning());
    });
}

void NetAppViewController::layoutContent() {
    const int w = width();
    segmentedControl_->setGeometry(kSide, kSegmentsTop, w - 2 * kSide,
                                   PageSegmentedControl::kHeight);
    const int chartTop = kSegmentsTop + PageSegmentedControl::kHeight;
    chartView_->setGeometry(0, chartTop, w, kListTop - chartTop);
    const int listBottom = height() - NetAppToggleView::kHeight;
    separator_->setGeometry(0, kListTop, w, 1);
    const QRect list(0, kListTop + 1, w, std::max(0, listBottom - kListTop - 1));
    collectionView_->setGeometry(list);
    emptyView_->setGeometry(list.adjusted(16, 0, -16, 0));
    toggleView_->setGeometry(0, listBottom, w, NetAppToggleView::kHeight);
    if (welcomeView_) {
        welcomeView_->setGeometry(0, TitleView::kHeight, w, height() - TitleView::kHeight);
        welcomeView_->raise();
    }
}
