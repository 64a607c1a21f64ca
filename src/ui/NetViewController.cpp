#include "NetViewController.h"

#include "BatteryBox.h"
#include "DataUsageBox.h"
#include "HomeFootView.h"
#include "MenuPopoverWindow.h"
#include "NetBox.h"
#include "StorageBox.h"
#include "TitleBox.h"
#include "TransitionController.h"
#include "WelcomeView.h"
#include "network/DataUsageProvider.h"
#include "network/NetworkMonitor.h"
#include "power/YYSystemBatteryReport.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QPainter>
#include <QPropertyAnimation>
#include <QVBoxLayout>

NetViewController::NetViewController(NetViewSources sources, QWidget* parent)
    : QWidget(parent), monitor_(sources.monitor ? sources.monitor : &NetworkMonitor::shared()),
      hasBattery_(sources.hasBattery ? sources.hasBattery() : YYSystemBatteryReport::hasBattery()),
      batteryDataset_(std::move(sources.batteryDataset)), titleBox_(new TitleBox(this)),
      netBox_(new NetBox(this)), dataUsageBox_(new DataUsageBox(sources.dataUsage, this)),
      widgetContainer_(new QWidget(this)), footView_(new HomeFootView(hasBattery_, this)) {
    setObjectName(QStringLiteral("NetViewController"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    auto* layout = new QVBoxLayout(widgetContainer_);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->setAlignment(Qt::AlignTop);

    titleBox_->buttonHandler = [this] { showStatusViewController(); };
    dataUsageBox_->buttonHandler = [this] { showAppDataUsageViewController(); };
    footView_->floatingWindowHandler = [this] {
        if (toggleFloatWindow)
            toggleFloatWindow();
    };
    footView_->settingsHandler = [this] { showSettingsViewController(); };
    footView_->batteryHandler = [this] { showBatteryHealthViewController(); };

    // The speed box follows the sampler for the page's life.
    monitor_->addActivityObserver(netBox_);

    auto& center = NotificationCenter::defaultCenter();
    for (const char* name : {SettingsNotification::ShowsHomepageStorageUsage,
                             SettingsNotification::ShowsHomepageBatteryUsage})
        center.addObserver(this, QString::fromLatin1(name),
                           [this](const Notification&) { reloadWidgets(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
    reloadWidgets();
}

NetViewController::~NetViewController() {
    if (observing_)
        monitor_->removeActivityObserver(this);
    monitor_->removeActivityObserver(netBox_);
}

StorageBox* NetViewController::storageBox() const {
    return storageBox_;
}
BatteryBox* NetViewController::batteryBox() const {
    return batteryBox_;
}
WelcomeView* NetViewController::welcomeView() const {
    return welcomeView_;
}

void NetViewController::reloadWidgets() {
    delete storageBox_;
    delete batteryBox_;
    const Settings& settings = Settings::shared();
    const QSize size = MenuPopoverWindow::homePanelContentSize(
        settings.showsHomepageStorageUsage(), settings.showsHomepageBatteryUsage(), hasBattery_);
    setFixedSize(size);
    widgetContainer_->setFixedHeight(size.height() - kBaseHeight);
    auto* layout = static_cast<QVBoxLayout*>(widgetContainer_->layout());
    if (settings.showsHomepageStorageUsage()) {
        storageBox_ = new StorageBox(widgetContainer_);
        layout->addWidget(storageBox_);
    }
    if (settings.showsHomepageBatteryUsage() && hasBattery_) {
        batteryBox_ = new BatteryBox(batteryDataset_, widgetContainer_);
        layout->addWidget(batteryBox_);
    }
    layoutBoxes();
}

void NetViewController::layoutBoxes() {
    const int w = width();
    int y = 0;
    for (QWidget* box : {static_cast<QWidget*>(titleBox_), static_cast<QWidget*>(netBox_),
                         static_cast<QWidget*>(dataUsageBox_), widgetContainer_}) {
        box->setGeometry(0, y, w, box->height());
        y += box->height();
    }
    footView_->setGeometry(0, height() - HomeFootView::kHeight, w, HomeFootView::kHeight);
}

void NetViewController::resizeEvent(QResizeEvent*) {
    layoutBoxes();
}

void NetViewController::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), DynamicColor::dynamicContentBackgroundColor());
}

void NetViewController::storeFrequencies() {
    netBox_->storeFrequencies();
}

bool NetViewController::shouldRequestReview(int64_t n) {
    return n == 10 || n == 25 || n == 60;
}

bool NetViewController::runReviewRequestStep() {
    SettingsDomain& standard = SettingsDomain::standard();
    const int64_t n = standard.integerValue(SettingsKey::AppReviewRequestCount) + 1;
    standard.setInteger(SettingsKey::AppReviewRequestCount, n);
    return shouldRequestReview(n);
}

void NetViewController::showEvent(QShowEvent*) {
    if (!observing_) {
        monitor_->addActivityObserver(this);
        observing_ = true;
    }
    footView_->sizeBatteryImage();
    // A panel window left see-through (it closed mid-fade) fades back in.
    QWidget* window = this->window();
    if (window != this && window->windowOpacity() < 1.0) {
        auto* fade = new QPropertyAnimation(window, "windowOpacity", window);
        fade->setDuration(200);
        fade->setEndValue(1.0);
        fade->start(QAbstractAnimation::DeleteWhenStopped);
    }
    if (!monitor_->isRunning()) {
        monitor_->startMonitoring();
        if (Settings::shared().wantsAppDataUsageTracking() && restartAppTracking)
            restartAppTracking();
    }
    if (onceViewDidAppear_)
        return;
    onceViewDidAppear_ = true;
    SettingsDomain& standard = SettingsDomain::standard();
    if (!welcomeView_ && !standard.boolValue(SettingsKey::WelcomeShown)) {
        standard.setBool(SettingsKey::WelcomeShown, true);
        welcomeView_ = new WelcomeView(this);
        welcomeView_->show();
        welcomeView_->raise();
    }
    runReviewRequestStep();
}

void NetViewController::hideEvent(QHideEvent*) {
    if (observing_) {
        monitor_->removeActivityObserver(this);
        observing_ = false;
    }
}

void NetViewController::networkActivityDidUpdate(const ActivityRecord& record) {
    titleBox_->applyRecord(*record, Settings::shared().homepageSubtitleType());
    if (storageBox_)
        storageBox_->reloadData();
    for (TransitionController* page :
         findChildren<TransitionController*>(QString(), Qt::FindDirectChildrenOnly))
        page->activityDidUpdate(*record);
}

void NetViewController::presentPage(const QString& kind,
                                    const std::function<TransitionController*()>& make) {
    for (TransitionController* page :
         findChildren<TransitionController*>(QString(), Qt::FindDirectChildrenOnly))
        if (page->objectName() == kind && !page->isDismissing())
            return;
    if (!make)
        return;
    TransitionController* page = make();
    if (!page)
        return;
    page->setObjectName(kind);
    page->present(this);
}

void NetViewController::showStatusViewController() {
    presentPage(QStringLiteral("StatusViewController"), makeStatusPage);
}
void NetViewController::showSettingsViewController() {
    presentPage(QStringLiteral("SettingsViewController"), makeSettingsPage);
}
void NetViewController::showBatteryHealthViewController() {
    presentPage(QStringLiteral("BatteryHealthViewController"), makeBatteryHealthPage);
}
void NetViewController::showAppDataUsageViewController() {
    presentPage(QStringLiteral("AppDataUsageViewController"), makeAppUsagePage);
}
void NetViewController::showFloatingWindowSettingsViewController() {
    presentPage(QStringLiteral("FloatingWindowSettingsViewController"),
                makeFloatingWindowSettingsPage);
}
