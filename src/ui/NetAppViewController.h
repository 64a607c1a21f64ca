#pragma once

#include "NetAppChartView.h"
#include "NetAppWelcomeView.h"
#include "TransitionController.h"

#include <QPointer>

#include <functional>
#include <optional>

class NetAppListView;
class NetAppToggleView;
class PageSegmentedControl;
class QLabel;

// Where the per-app usage page gets its data and starts and stops tracking.
struct NetAppPageSources {
    using Completion = std::function<void(const DataSnapshot&)>;
    // Asks for a snapshot; the answer comes at once or later on the main thread.
    std::function<void(Completion)> loadSnapshot;
    // Seconds since 1970 of the last build; 0 before the first.
    std::function<double()> lastLoadedTime;
    // Whether the traffic tool's process runs, and whether the tool is installed.
    std::function<bool()> isRunning;
    std::function<bool()> canRunScript;
    // Tracking's start (launched: called on the main thread once the tool runs) and pause.
    std::function<void(std::function<void()> launched)> startTracking;
    std::function<void()> pauseTracking;
    // The icon name of an application's desktop entry.
    std::function<QString(const QString& bundleIdentifier)> iconName;
    // What the links moved in the snapshot's day or week beyond everything the traffic tool
    // reported (`lumenstat --apps`'s "not attributed"), in bytes; empty: not shown.
    std::function<std::optional<int64_t>(NetAppChartView::DateRange, const DataSnapshot&)>
        notAttributed;

    // The process-wide snapshot provider, traffic tool, per-app provider and link totals.
    static NetAppPageSources system();
};

// The per-app usage page: today's or this week's usage per application, as a chart and a
// two-section list, with the tracking switch at the bottom and, on first use, an overlay
// saying what tracking records. The snapshot is asked for once per load of the page.
class NetAppViewController : public TransitionController {
    Q_OBJECT
public:
    using DateRange = NetAppChartView::DateRange;
    // How long the switch ignores taps after each change, in milliseconds.
    static int switchLockMilliseconds;

    explicit NetAppViewController(NetAppPageSources sources = NetAppPageSources::system(),
                                  QWidget* parent = nullptr);

    DateRange dateRange() const { return dateRange_; }
    void setDateRange(DateRange range);
    const std::optional<DataSnapshot>& dataSnapshot() const { return dataSnapshot_; }

    PageSegmentedControl* segmentedControl() const { return segmentedControl_; }
    NetAppChartView* chartView() const { return chartView_; }
    NetAppListView* collectionView() const { return collectionView_; }
    NetAppToggleView* toggleView() const { return toggleView_; }
    QLabel* emptyView() const { return emptyView_; }
    // Null when not shown.
    NetAppWelcomeView* welcomeView() const { return welcomeView_; }

    // The switch's action: starts tracking, or stops it; either way the switch takes no
    // taps for a second.
    void toggleTracking();
    // The links' bytes of the range no process accounts for; absent without a snapshot.
    std::optional<int64_t> notAttributedBytes() const;

protected:
    void layoutContent() override;

private:
    void snapshotDidLoad(const DataSnapshot& snapshot);
    void reloadList();
    void updateEmptyState();
    void unlockSwitchLater();

    NetAppPageSources sources_;
    DateRange dateRange_ = DateRange::Day;
    PageSegmentedControl* segmentedControl_;
    QWidget* separator_;
    NetAppListView* collectionView_;
    NetAppChartView* chartView_;
    QLabel* emptyView_;
    NetAppToggleView* toggleView_;
    QPointer<NetAppWelcomeView> welcomeView_;
    std::optional<DataSnapshot> dataSnapshot_;
};
