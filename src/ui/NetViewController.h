#pragma once

#include "network/ActivityObserver.h"

#include <nlohmann/json.hpp>

#include <QPointer>
#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <vector>

class BatteryBox;
class DataUsageBox;
class DataUsageProvider;
class HomeFootView;
class NetBox;
class NetworkMonitor;
class StorageBox;
class TitleBox;
class TransitionController;
class WelcomeView;

// Where the home page gets what it shows. Null members: the process-wide objects.
struct NetViewSources {
    NetworkMonitor* monitor = nullptr;
    DataUsageProvider* dataUsage = nullptr;
    std::function<bool()> hasBattery; // empty: the battery report's answer
    std::function<std::vector<nlohmann::json>()> batteryDataset; // empty: the percentage log
};

// The first page of the panel: the network's name, the speeds, the hourly data usage, the
// optional storage and battery boxes and a footer. It takes the sampler's ticks only while it
// is on screen; the speed box takes them for the page's whole life, so its sparklines stay
// continuous. Detail pages slide up over it.
class NetViewController : public QWidget, public ActivityObserver {
    Q_OBJECT
public:
    static constexpr int kBaseHeight = 410;

    explicit NetViewController(NetViewSources sources = NetViewSources(),
                               QWidget* parent = nullptr);
    ~NetViewController() override;

    void networkActivityDidUpdate(const ActivityRecord& record) override;
    // Rebuilds the storage and battery boxes from the settings and sizes the page.
    void reloadWidgets();
    // Keeps the speed box's sparklines in the settings (before sleep).
    void storeFrequencies();

    // Present a detail page over this one unless a page of its kind is already up.
    void showStatusViewController();
    void showSettingsViewController();
    void showBatteryHealthViewController();
    void showAppDataUsageViewController();
    void showFloatingWindowSettingsViewController();

    // Page factories and actions the application wires. A missing factory shows nothing.
    std::function<TransitionController*()> makeStatusPage;
    std::function<TransitionController*()> makeSettingsPage;
    std::function<TransitionController*()> makeBatteryHealthPage;
    std::function<TransitionController*()> makeAppUsagePage;
    std::function<TransitionController*()> makeFloatingWindowSettingsPage;
    std::function<void()> toggleFloatWindow;
    // Restarts per-app tracking (when "WantsAppDataUsageTracking" is set) after the page
    // found the sampler stopped.
    std::function<void()> restartAppTracking;

    TitleBox* titleBox() const { return titleBox_; }
    NetBox* netBox() const { return netBox_; }
    DataUsageBox* dataUsageBox() const { return dataUsageBox_; }
    QWidget* widgetContainer() const { return widgetContainer_; }
    StorageBox* storageBox() const;
    BatteryBox* batteryBox() const;
    HomeFootView* footView() const { return footView_; }
    WelcomeView* welcomeView() const;
    bool hasBattery() const { return hasBattery_; }

    // Whether the n-th first appearance asks for a review: the 10th, 25th and 60th only.
    static bool shouldRequestReview(int64_t n);
    // Counts one first appearance under "app.count.appReviewRequest"; true when this one would
    // ask for a review (there is no store to ask, so nothing is shown).
    static bool runReviewRequestStep();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void presentPage(const QString& kind, const std::function<TransitionController*()>& make);
    void layoutBoxes();

    NetworkMonitor* monitor_;
    bool hasBattery_;
    std::function<std::vector<nlohmann::json>()> batteryDataset_;
    bool onceViewDidAppear_ = false;
    bool observing_ = false;
    TitleBox* titleBox_;
    NetBox* netBox_;
    DataUsageBox* dataUsageBox_;
    QWidget* widgetContainer_;
    QPointer<StorageBox> storageBox_;
    QPointer<BatteryBox> batteryBox_;
    HomeFootView* footView_;
    QPointer<WelcomeView> welcomeView_;
};
